#include "avfile/AvPesBuffer.h"

#include <algorithm>
#include <cstddef>

namespace avfile {

AvPesBuffer::AvPesBuffer(std::shared_ptr<IAvPacketBuffer> packetBuffer)
    : mPacketBuffer(std::move(packetBuffer)) {
    mPayload.reserve(kMaxPacketBytes);
}

void AvPesBuffer::setPesHeader(const ISO::PesHeader& header) { mHeader = header; }

void AvPesBuffer::writeData(const uint8_t* data, size_t size, bool endOfUnit) {
    while (size != 0) {
        // Payload bytes a packet under the current header carries: 65532 - (9 + h), h the
        // header's PES_header_data_length (10 with PTS and DTS, 5 with PTS, 0 without).
        const size_t limit = static_cast<uint16_t>(kMaxPacketBytes - mHeader.headerLength());
        if (mPayload.size() > limit) {
            // Pending bytes of a unit cut short, gathered under a continuation header, can be up
            // to 10 more than a packet under this unit's header carries: the first `limit` of them
            // go out as a packet of their own, so no packet is longer than its length field says.
            emitPacket(limit);
            continue;
        }
        const size_t n = std::min(limit - mPayload.size(), size);
        mPayload.insert(mPayload.end(), data, data + n);
        data += n;
        size -= n;
        if (size == 0 && !endOfUnit) {
            return;  // the bytes wait for the next write (a start code joins its NAL unit)
        }
        emitPacket(mPayload.size());
    }
}

void AvPesBuffer::emitPacket(size_t count) {
    mHeader.setPayloadSize(static_cast<unsigned short>(count));
    mPacketBuffer->writeData(mHeader.data(), mHeader.headerLength(), false);
    mPacketBuffer->writeData(mPayload.data(), count, true);
    mHeader.setDataAlignmentIndicator(false);
    mHeader.setPtsDtsFlags(false, false);
    mPayload.erase(mPayload.begin(), mPayload.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace avfile
