#pragma once

#include <cstdint>

struct AVIOContext;

namespace avfile {

// Owns one custom libavformat byte source: an AVIOContext (avio_alloc_context) together with its
// I/O buffer (av_malloc). libavformat may replace the buffer while reading, so the buffer freed at
// the end is the one the context holds then, not the one it was made with.
//
// The callbacks receive `opaque`, which must outlive this owner. A demuxer context reading from
// this source must be closed before the owner is destroyed.
//
// Move-only. Not thread-safe: one thread at a time.
class FfmpegIoContext {
public:
    using ReadCallback = int (*)(void* opaque, uint8_t* buffer, int size);
    using SeekCallback = int64_t (*)(void* opaque, int64_t offset, int whence);

    FfmpegIoContext() = default;
    // A read-only source over `opaque` with an I/O buffer of `bufferSize` bytes. Empty (false)
    // when an allocation failed.
    FfmpegIoContext(int bufferSize, void* opaque, ReadCallback read, SeekCallback seek);
    ~FfmpegIoContext();
    FfmpegIoContext(FfmpegIoContext&& other) noexcept;
    FfmpegIoContext& operator=(FfmpegIoContext&& other) noexcept;
    FfmpegIoContext(const FfmpegIoContext&) = delete;
    FfmpegIoContext& operator=(const FfmpegIoContext&) = delete;

    AVIOContext* get() const { return mContext; }
    explicit operator bool() const { return mContext != nullptr; }

    // Frees the buffer and the context; the owner is empty afterwards.
    void reset();

private:
    AVIOContext* mContext = nullptr;
};

}  // namespace avfile
