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
// stamps, no alignment flag). Each packet goes to the packet buffer as staged writes, header
// first, and the last write flushes it, so it reaches the host's ring as one committed packet.
//
// Copies: PES_packet_length is known only when the packet is emitted, so bytes of a write that
// does not emit (a start code, ADTS header, parameter set, a NAL unit other than a sample's last,
// a write of 0 bytes that ends the unit) are copied into the pending vector and wait there. The
// bytes of the write that emits are not copied here: they go from the caller's memory straight to
// the packet buffer's staging, after the header and the pending bytes. So the payload of a
// one-NAL H.264 sample or of an AAC frame is staged once, never held in between.
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
    std::vector<uint8_t> mPayload;  // the packet's bytes from earlier writes, not yet emitted
};

}  // namespace avfile
