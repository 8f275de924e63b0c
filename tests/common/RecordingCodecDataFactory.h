#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "avfile/IAvCodecDataFactory.h"

namespace velar_test {

// Codec-data factory double for the file tests: counts the requests and answers a marker object
// for "avc1" and "aac", nothing for other codecs. Thread-safe.
class RecordingCodecDataFactory : public avfile::IAvCodecDataFactory {
public:
    class Marker : public avfile::IAvCodecData {};

    static std::shared_ptr<RecordingCodecDataFactory> create() {
        return std::make_shared<RecordingCodecDataFactory>();
    }

    std::shared_ptr<avfile::IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>&) const override {
        ++mCalls;
        return codec == "avc1" || codec == "aac" ? std::make_shared<Marker>() : nullptr;
    }

    int calls() const { return mCalls; }

private:
    mutable std::atomic<int> mCalls{0};
};

}  // namespace velar_test
