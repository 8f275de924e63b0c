#include "avfile/FfmpegPacket.h"

#include <new>
#include <utility>

extern "C" {
#include <libavcodec/packet.h>
}

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/FfmpegPacket")

namespace avfile {

FfmpegPacket::FfmpegPacket() : mPacket(av_packet_alloc()) {
    if (mPacket == nullptr) {
        throw std::bad_alloc();
    }
}

FfmpegPacket::~FfmpegPacket() { av_packet_free(&mPacket); }

FfmpegPacket::FfmpegPacket(FfmpegPacket&& other) noexcept
    : mPacket(std::exchange(other.mPacket, nullptr)) {}

FfmpegPacket& FfmpegPacket::operator=(FfmpegPacket&& other) noexcept {
    if (this != &other) {
        av_packet_free(&mPacket);
        mPacket = std::exchange(other.mPacket, nullptr);
    }
    return *this;
}

void FfmpegPacket::unref() {
    if (mPacket != nullptr) {
        av_packet_unref(mPacket);
    }
}

}  // namespace avfile
