#include "avfile/AvPesBuffer.h"

#include <algorithm>

namespace avfile {

AvPesBuffer::AvPesBuffer(std::shared_ptr<IAvPacketBuffer> packetBuffer)
    : mPacketBuffer(std::move(packetBuffer)) {
    mPayload.reserve(kMaxPacketBytes);
}

void AvPesBuffer::setPesHeader(const ISO::PesHeader& header) { mHeader = header; }

void AvPesBuffer::writeData(const uint8_t* data, size_t size, bool endOfUnit) {
    while (size != 0) {
        // The same bound as PesHeader::setPayloadSize, so a packet never fails it.
        const size_t limit = static_cast<uint16_t>(kMaxPacketBytes - mHeader.headerLength());
        const size_t room = limit > mPayload.size() ? limit - mPayload.size() : 0;
        const size_t n = std::min(room, size);
        mPayload.insert(mPayload.end(), data, data + n);
        data += n;
        size -= n;
        if (size == 0 && !endOfUnit) {
            return;
        }
        mHeader.setPayloadSize(static_cast<unsigned short>(mPayload.size()));
        mPacketBuffer->writeData(mHeader.data(), mHeader.headerLength(), false);
        mPacketBuffer->writeData(mPayload.data(), mPayload.size(), true);
        mHeader.setDataAlignmentIndicator(false);
        mHeader.setPtsDtsFlags(false, false);
        mPayload.clear();
    }
}

}  // namespace avfile
