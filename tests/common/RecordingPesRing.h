#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/ContigMemBuffer.h"

namespace velar_test {

// A real host ring (ContigMemBuffer) for pipeline tests, with a reader that drains it and splits
// the program stream back into its units: a pack header (00 00 01 BA, 14 bytes) or a PES packet
// (6 + PES_packet_length bytes).
class RecordingPesRing {
public:
    explicit RecordingPesRing(size_t ringBytes = 1 << 20)
        : buffer(std::make_shared<ContigMemBuffer>(ringBytes)) {}

    // Every unread byte of the ring.
    std::vector<uint8_t> drain() {
        std::vector<uint8_t> out(buffer->size());
        out.resize(buffer->read(out.data(), out.size(), 0));
        return out;
    }

    // Drains the ring and splits it into units; throws std::runtime_error on bytes that are not
    // a whole pack header or PES packet.
    std::vector<std::vector<uint8_t>> drainUnits() {
        const std::vector<uint8_t> bytes = drain();
        std::vector<std::vector<uint8_t>> units;
        for (size_t pos = 0; pos < bytes.size();) {
            const size_t length = bytes.size() - pos < 6 ? 0
                                  : bytes[pos + 3] == 0xBA
                                      ? 14
                                      : 6 + ((size_t(bytes[pos + 4]) << 8) | bytes[pos + 5]);
            if (length == 0 || bytes.size() - pos < length || bytes[pos] != 0 ||
                bytes[pos + 1] != 0 || bytes[pos + 2] != 1) {
                throw std::runtime_error("no whole pack header or PES packet in the ring output");
            }
            units.emplace_back(bytes.begin() + pos, bytes.begin() + pos + length);
            pos += length;
        }
        return units;
    }

    std::shared_ptr<ContigMemBuffer> buffer;
};

}  // namespace velar_test
