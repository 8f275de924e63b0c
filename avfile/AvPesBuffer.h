#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "avfile/IAvPacketBuffer.h"
#include "avfile/IAvPesBuffer.h"
#include "mpeg4_parsing/PesHeader.h"

namespace avfile {

// Wraps an access unit's bytes in PES packets (ISO/IEC 13818-1, 2.4.3.6) behind the header the
// feeder set, cutting at the PES length limit (65523 - PES_header_data_length payload bytes per
// packet); packets after the first of a unit are continuation packets (9-byte header, no time
// stamps, no alignment flag). Each packet goes to the packet buffer as two staged writes, header
// then payload, and the second flushes it, so it reaches the host's ring as one committed packet.
//
// Copies: PES_packet_length is known only when the packet is emitted, so every payload byte is
// appended to the pending vector first and the whole packet then goes to the packet buffer in two
// writes, the header (no flush) and the payload (flush). Those two writes per packet are the
// packet buffer's contract with its callers; the vector copy is what keeps it.
//
// Bad input: pending bytes of a unit cut short (a feeder that failed half-way) can exceed what a
// packet under the next unit's header may carry; they then go out first as a packet of their
// own, so that no packet's PES_packet_length disagrees with its bytes.
//
// Streamer thread only. The pending vector is reserved once (65532 bytes) and reused: nothing is
// allocated per packet. A write's bytes are copied or staged before it returns; the caller's
// memory is not kept.
class AvPesBuffer : public IAvPesBuffer {
public:
    static const size_t kMaxPacketBytes = 65532;

    explicit AvPesBuffer(std::shared_ptr<IAvPacketBuffer> packetBuffer);

    // A write of 0 bytes does nothing, even with `endOfUnit` (feeders end a unit with bytes).
    void writeData(const uint8_t* data, size_t size, bool endOfUnit) override;
    void setPesHeader(const ISO::PesHeader& header) override;

private:
    std::shared_ptr<IAvPacketBuffer> mPacketBuffer;
    ISO::PesHeader mHeader;
    // Emits the first `count` pending bytes as one packet behind the current header, then turns the
    // header into a continuation header.
    void emitPacket(size_t count);

    std::vector<uint8_t> mPayload;  // the open packet's payload, not yet emitted
};

}  // namespace avfile
