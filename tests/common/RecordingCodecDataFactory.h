#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "avfile/IAvCodecDataFactory.h"

namespace velar_test {

// Codec-data factory double for the file tests: records every request (codec name and codec
// private bytes) and answers a marker object for "avc1" and "aac", nothing for other codecs.
// Thread-safe.
class RecordingCodecDataFactory : public avfile::IAvCodecDataFactory {
public:
    struct Call {
        std::string codec;
        std::vector<unsigned char> extraData;
    };
    class Marker : public avfile::IAvCodecData {};

    static std::shared_ptr<RecordingCodecDataFactory> create() {
        return std::make_shared<RecordingCodecDataFactory>();
    }

    std::shared_ptr<avfile::IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>& extraData) const override {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back({codec, extraData});
        if (codec == "avc1" || codec == "aac") {
            return std::make_shared<Marker>();
        }
        return nullptr;
    }

    std::vector<Call> calls() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

private:
    mutable std::mutex mMutex;
    mutable std::vector<Call> mCalls;
};

}  // namespace velar_test
