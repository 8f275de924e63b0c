#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "avfile/IAvPacketBuffer.h"
#include "avfile/IAvPesBuffer.h"
#include "mpeg4_parsing/PesHeader.h"

namespace avfile {

// Wraps an access unit's bytes in PES packets behind the header the feeder set, cutting at the
// PES length limit (65523 - PES_header_data_length payload bytes per packet); packets after the
// first of a unit are continuation packets (9-byte header, no time stamps, no alignment flag).
// Each packet goes to the packet buffer as header (staged) + payload (flushed). Streamer thread
// only; the payload vector is reserved once and reused.
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
    std::vector<uint8_t> mPayload;
};

}  // namespace avfile
