#include "avfile/FfmpegFormatContext.h"

#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/FfmpegFormatContext")

namespace avfile {

FfmpegFormatContext::~FfmpegFormatContext() { reset(); }

FfmpegFormatContext::FfmpegFormatContext(FfmpegFormatContext&& other) noexcept
    : mContext(std::exchange(other.mContext, nullptr)),
      mOpened(std::exchange(other.mOpened, false)) {}

FfmpegFormatContext& FfmpegFormatContext::operator=(FfmpegFormatContext&& other) noexcept {
    if (this != &other) {
        reset();
        mContext = std::exchange(other.mContext, nullptr);
        mOpened = std::exchange(other.mOpened, false);
    }
    return *this;
}

FfmpegFormatContext FfmpegFormatContext::allocate() {
    FfmpegFormatContext owner;
    owner.mContext = avformat_alloc_context();
    if (owner.mContext == nullptr) {
        ZUN_LOG(0, "avformat_alloc_context failed");
    }
    return owner;
}

int FfmpegFormatContext::openInput(const std::string& url) {
    if (mOpened) {
        reset();
    }
    // On failure avformat_open_input frees the context (also one we allocated) and nulls it.
    const int result = avformat_open_input(&mContext, url.c_str(), nullptr, nullptr);
    mOpened = result >= 0 && mContext != nullptr;
    return result;
}

void FfmpegFormatContext::reset() {
    if (mContext == nullptr) {
        return;
    }
    if (mOpened) {
        avformat_close_input(&mContext);
    } else {
        avformat_free_context(mContext);
    }
    mContext = nullptr;
    mOpened = false;
}

}  // namespace avfile
