#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/ContigMemBuffer.h"

namespace velar_test {

// A real host ring (ContigMemBuffer) for pipeline tests, with a reader that drains it and splits
// the program stream back into its units: a pack header (00 00 01 BA, 14 bytes) or a PES packet
// (6 + PES_packet_length bytes). Anything else is reported as an error.
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
    // a pack header or a PES packet, or on a unit cut short.
    std::vector<std::vector<uint8_t>> drainUnits() { return split(drain()); }

    static std::vector<std::vector<uint8_t>> split(const std::vector<uint8_t>& bytes) {
        std::vector<std::vector<uint8_t>> units;
        size_t pos = 0;
        while (pos < bytes.size()) {
            if (bytes.size() - pos < 6 || bytes[pos] != 0 || bytes[pos + 1] != 0 ||
                bytes[pos + 2] != 1) {
                throw std::runtime_error("no start code in the ring output");
            }
            size_t length = bytes[pos + 3] == 0xBA
                                ? 14
                                : 6 + ((size_t(bytes[pos + 4]) << 8) | bytes[pos + 5]);
            if (bytes.size() - pos < length) {
                throw std::runtime_error("unit cut short in the ring output");
            }
            units.emplace_back(bytes.begin() + pos, bytes.begin() + pos + length);
            pos += length;
        }
        return units;
    }

    // PES header length (9 + PES_header_data_length) of a PES packet.
    static size_t pesHeaderLength(const std::vector<uint8_t>& packet) { return 9u + packet.at(8); }

    // The header bytes, and the payload bytes, of a PES packet.
    static std::vector<uint8_t> pesHeader(const std::vector<uint8_t>& packet) {
        return std::vector<uint8_t>(packet.begin(), packet.begin() + pesHeaderLength(packet));
    }
    static std::vector<uint8_t> pesPayload(const std::vector<uint8_t>& packet) {
        return std::vector<uint8_t>(packet.begin() + pesHeaderLength(packet), packet.end());
    }

    std::shared_ptr<ContigMemBuffer> buffer;
};

}  // namespace velar_test
