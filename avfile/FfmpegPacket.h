#pragma once

struct AVPacket;

namespace avfile {

// Owns one AVPacket record (av_packet_alloc / av_packet_free). The record is reused: unref()
// releases the payload reference of the packet last read into it and leaves it blank, as
// av_read_frame requires.
//
// Move-only. Not thread-safe: one thread at a time.
class FfmpegPacket {
public:
    // Allocates the record; throws std::bad_alloc when FFmpeg cannot.
    FfmpegPacket();
    ~FfmpegPacket();
    FfmpegPacket(FfmpegPacket&& other) noexcept;
    FfmpegPacket& operator=(FfmpegPacket&& other) noexcept;
    FfmpegPacket(const FfmpegPacket&) = delete;
    FfmpegPacket& operator=(const FfmpegPacket&) = delete;

    AVPacket* get() const { return mPacket; }
    AVPacket* operator->() const { return mPacket; }

    void unref();

private:
    AVPacket* mPacket = nullptr;
};

}  // namespace avfile
