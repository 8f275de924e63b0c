#include "avfile/AvFileFfmpegMemory.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvFileFfmpegMemory")

namespace avfile {

AvFileFfmpegMemory::AvFileFfmpegMemory(std::shared_ptr<IAvCodecDataFactory> codecDataFactory,
                                       const std::vector<unsigned char>& data)
    : AvFileFfmpeg(std::move(codecDataFactory)), mData(data), mPosition(0) {
    setPath("AvFileFfmpegMemory");
    if (mData.empty()) {
        ZUN_LOG(0, "Data is sized zero");
        throw std::runtime_error("Data is zero sized");
    }

    mIoContext = FfmpegIoContext(kIoBufferSize, this, &AvFileFfmpegMemory::memread,
                                 &AvFileFfmpegMemory::memseek);
    FfmpegFormatContext context = FfmpegFormatContext::allocate();
    if (!mIoContext || !context) {
        throw std::bad_alloc();
    }
    context->pb = mIoContext.get();
    setFormatContext(std::move(context));

    try {
        open();
    } catch (...) {
        closeFormatContext();
        mIoContext.reset();
        throw;
    }
}

AvFileFfmpegMemory::~AvFileFfmpegMemory() {
    // The demuxer reads through mIoContext: close it first.
    closeFormatContext();
}

bool AvFileFfmpegMemory::isActive() const { return false; }

uint64_t AvFileFfmpegMemory::getActiveDuration(uint32_t track) const {
    if (!hasFormatContext() || track > getStreamCount()) {
        return 0;
    }
    const std::vector<AvTrack> tracks = getTracks();
    return track < tracks.size() ? tracks[track].durationMs : 0;
}

int AvFileFfmpegMemory::memread(void* opaque, uint8_t* buffer, int32_t size) {
    const int count = static_cast<AvFileFfmpegMemory*>(opaque)->read(buffer, size);
    return count == 0 && size > 0 ? AVERROR_EOF : count;
}

int64_t AvFileFfmpegMemory::memseek(void* opaque, int64_t offset, int32_t whence) {
    return static_cast<AvFileFfmpegMemory*>(opaque)->seek(offset, whence);
}

int AvFileFfmpegMemory::read(uint8_t* buffer, int32_t size) {
    if (size <= 0 || mPosition >= mData.size()) {
        return 0;
    }
    size_t count = static_cast<size_t>(size);
    const size_t left = mData.size() - mPosition;
    if (left < count) {
        count = left;
    }
    std::memcpy(buffer, mData.data() + mPosition, count);
    mPosition += static_cast<uint32_t>(count);
    return static_cast<int>(count);
}

int64_t AvFileFfmpegMemory::seek(int64_t offset, int32_t whence) {
    const uint32_t low = static_cast<uint32_t>(offset);
    switch (whence) {
        case SEEK_SET:
            mPosition = low;
            return mPosition;
        case SEEK_CUR:
            mPosition += low;
            return mPosition;
        case AVSEEK_SIZE:
            return static_cast<int64_t>(mData.size());
        default:
            ZUN_LOG(0, "Unknown Seek whence %i", whence);
            return mPosition;
    }
}

}  // namespace avfile
