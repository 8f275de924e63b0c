#pragma once

#include <cstdint>
#include <vector>

#include "avfile/IAvPacketBuffer.h"

namespace velar_test {

// An IAvPacketBuffer that records every call: the bytes and flush flag of each writeData, the
// argument of each discardData, and the packets as a real packet buffer would commit them (the
// bytes staged since the previous flush, on each flush with something staged).
class RecordingPacketBuffer : public avfile::IAvPacketBuffer {
public:
    struct Write {
        std::vector<uint8_t> bytes;
        bool flush;
    };

    void writeData(const uint8_t* data, size_t size, bool flush) override {
        writes.push_back(Write{std::vector<uint8_t>(data, data + size), flush});
        staged.insert(staged.end(), data, data + size);
        if (flush && !staged.empty()) {
            packets.push_back(staged);
            staged.clear();
        }
    }

    void discardData(bool discard) override { discards.push_back(discard); }

    std::vector<Write> writes;
    std::vector<bool> discards;
    std::vector<std::vector<uint8_t>> packets;  // committed packets, in order
    std::vector<uint8_t> staged;                // staged, not yet flushed
};

}  // namespace velar_test
