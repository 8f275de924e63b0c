#include "avfile/AvPacketBuffer.h"

#include <cstring>

#include "mpeg4_parsing/PackHeader.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvPacketBuffer")

namespace avfile {

AvPacketBuffer::AvPacketBuffer(std::shared_ptr<ContigMemBuffer> buffer)
    : mBuffer(std::move(buffer)), mFill(0), mStaging(nullptr), mDiscarding(false) {
    mStaging = mBuffer->getContigMem().data;
}

void AvPacketBuffer::writeData(const uint8_t* data, size_t size, bool flush) {
    if (mDiscarding.load()) {
        return;
    }
    if (size != 0) {
        std::memcpy(mStaging + mFill, data, size);
        mFill += static_cast<uint32_t>(size);
    }
    if (!flush || mFill == 0) {
        return;
    }
    mBuffer->waitForFreeSpace(mFill, 0);
    if (mBuffer->writeFromSource(0, mFill, false) != mFill) {
        ZUN_LOG(0, "Failed to write data.");
    }
    mFill = 0;
}

void AvPacketBuffer::discardData(bool discard) {
    mBuffer->clear();
    mDiscarding.store(discard);
    if (!discard) {
        uint8_t pack[ISO::PackHeader::kSize];
        const unsigned int length = ISO::PackHeader().write(pack);
        mBuffer->write(pack, length);
    }
}

}  // namespace avfile
