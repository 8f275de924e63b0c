#include "avfile/AvPacketBuffer.h"

#include <cstring>

#include "mpeg4_parsing/PackHeader.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvPacketBuffer")

namespace avfile {

AvPacketBuffer::AvPacketBuffer(std::shared_ptr<ContigMemBuffer> buffer)
    : mBuffer(std::move(buffer)),
      mFill(0),
      mStaging(nullptr),
      mStagingSize(0),
      mOverflow(false),
      mDiscarding(false) {
    const ContigMemBuffer::ContigMem staging = mBuffer->getContigMem();
    mStaging = staging.data;
    mStagingSize = staging.size;
}

void AvPacketBuffer::writeData(const uint8_t* data, size_t size, bool flush) {
    if (mDiscarding.load()) {
        return;
    }
    if (size > mStagingSize - mFill) {
        mOverflow = true;
    } else if (size != 0 && !mOverflow) {
        std::memcpy(mStaging + mFill, data, size);
        mFill += static_cast<uint32_t>(size);
    }
    if (!flush) {
        return;
    }
    if (mOverflow) {
        ZUN_LOG(0, "Failed to write data.");
        mOverflow = false;
        mFill = 0;
        return;
    }
    if (mFill == 0) {
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
