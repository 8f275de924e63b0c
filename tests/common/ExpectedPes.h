#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace velar_test {

// Whole PES packets as the pipeline must emit them, spelled field by field, for the tests of the
// feeders and the PES buffer. The time stamps are those of the test samples: PTS 90000 (0x15F90),
// DTS 87000 (0x153D8).
class ExpectedPes {
public:
    using Bytes = std::vector<uint8_t>;

    static Bytes concat(std::initializer_list<Bytes> parts) {
        Bytes out;
        for (const Bytes& part : parts) {
            out.insert(out.end(), part.begin(), part.end());
        }
        return out;
    }

    // First packet of an H.264 access unit: video stream 0, PTS and DTS.
    static Bytes video(const Bytes& payload) {
        return packet(0xE0, {0x84, 0xC0, 0x0A,               // aligned, PTS_DTS_flags 11, 10 bytes
                             0x31, 0x00, 0x05, 0xBF, 0x21,   // '0011' PTS with markers
                             0x11, 0x00, 0x05, 0xA7, 0xB1},  // '0001' DTS with markers
                      payload);
    }

    // Packet of an AAC frame: audio stream 0, PTS only.
    static Bytes audio(const Bytes& payload) {
        return packet(0xC0, {0x84, 0x80, 0x05,               // aligned, PTS_DTS_flags 10, 5 bytes
                             0x21, 0x00, 0x05, 0xBF, 0x21},  // '0010' PTS with markers
                      payload);
    }

    // Every further packet of a unit: no alignment flag, no time stamps, no header data.
    static Bytes continuation(uint8_t streamId, const Bytes& payload) {
        return packet(streamId, {0x80, 0x00, 0x00}, payload);
    }

private:
    // Start code, stream_id, PES_packet_length, then the fields after it and the payload.
    static Bytes packet(uint8_t streamId, const Bytes& fields, const Bytes& payload) {
        const size_t length = fields.size() + payload.size();
        return concat({{0x00, 0x00, 0x01, streamId, uint8_t(length >> 8), uint8_t(length)},
                       fields, payload});
    }
};

}  // namespace velar_test
