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
    // The open packet is mPayload followed by `taken` bytes at `data` (this write's, not copied).
    size_t taken = 0;
    while (size != 0) {
        // The same bound as PesHeader::setPayloadSize, so a packet never fails it.
        const size_t limit = static_cast<uint16_t>(kMaxPacketBytes - mHeader.headerLength());
        if (mPayload.size() > limit) {
            // Pending bytes of a unit cut short, gathered under a continuation header, can be up
            // to 10 more than a packet under this unit's header carries: the first `limit` of them
            // go out as a packet of their own, so no packet is longer than its length field says.
            mHeader.setPayloadSize(static_cast<unsigned short>(limit));
            mPacketBuffer->writeData(mHeader.data(), mHeader.headerLength(), false);
            mPacketBuffer->writeData(mPayload.data(), limit, true);
            mHeader.setDataAlignmentIndicator(false);
            mHeader.setPtsDtsFlags(false, false);
            mPayload.erase(mPayload.begin(), mPayload.begin() + static_cast<std::ptrdiff_t>(limit));
            continue;
        }
        const size_t open = mPayload.size() + taken;
        const size_t room = limit > open ? limit - open : 0;
        const size_t n = std::min(room, size);
        taken += n;
        size -= n;
        if (size == 0 && !endOfUnit) {
            mPayload.insert(mPayload.end(), data, data + taken);  // waits for the next write
            return;
        }
        mHeader.setPayloadSize(static_cast<unsigned short>(mPayload.size() + taken));
        mPacketBuffer->writeData(mHeader.data(), mHeader.headerLength(), false);
        if (!mPayload.empty()) {
            mPacketBuffer->writeData(mPayload.data(), mPayload.size(), taken == 0);
        }
        if (taken != 0) {
            mPacketBuffer->writeData(data, taken, true);
        }
        mHeader.setDataAlignmentIndicator(false);
        mHeader.setPtsDtsFlags(false, false);
        mPayload.clear();
        data += taken;
        taken = 0;
    }
}

}  // namespace avfile
