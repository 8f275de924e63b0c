#pragma once

#include <cstdint>
#include <vector>

#include "avfile/IAvPacketBuffer.h"

namespace velar_test {

// An IAvPacketBuffer that records each writeData call: its bytes and its flush flag.
class RecordingPacketBuffer : public avfile::IAvPacketBuffer {
public:
    struct Write {
        std::vector<uint8_t> bytes;
        bool flush;
        bool operator==(const Write& other) const {
            return bytes == other.bytes && flush == other.flush;
        }
    };

    void writeData(const uint8_t* data, size_t size, bool flush) override {
        writes.push_back(Write{std::vector<uint8_t>(data, data + size), flush});
    }

    void discardData(bool) override {}

    std::vector<Write> writes;
};

}  // namespace velar_test
