#include "avfile/FfmpegIoContext.h"

#include <utility>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/mem.h>
}

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/FfmpegIoContext")

namespace avfile {

FfmpegIoContext::FfmpegIoContext(int bufferSize, void* opaque, ReadCallback read,
                                 SeekCallback seek) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<size_t>(bufferSize)));
    if (buffer == nullptr) {
        ZUN_LOG(0, "av_malloc of %i bytes failed", bufferSize);
        return;
    }
    mContext = avio_alloc_context(buffer, bufferSize, 0 /* read only */, opaque, read, nullptr,
                                  seek);
    if (mContext == nullptr) {
        ZUN_LOG(0, "avio_alloc_context failed");
        av_free(buffer);
    }
}

FfmpegIoContext::~FfmpegIoContext() { reset(); }

FfmpegIoContext::FfmpegIoContext(FfmpegIoContext&& other) noexcept
    : mContext(std::exchange(other.mContext, nullptr)) {}

FfmpegIoContext& FfmpegIoContext::operator=(FfmpegIoContext&& other) noexcept {
    if (this != &other) {
        reset();
        mContext = std::exchange(other.mContext, nullptr);
    }
    return *this;
}

void FfmpegIoContext::reset() {
    if (mContext == nullptr) {
        return;
    }
    av_freep(&mContext->buffer);
    avio_context_free(&mContext);
}

}  // namespace avfile
