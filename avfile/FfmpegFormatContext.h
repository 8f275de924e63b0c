#pragma once

#include <string>

struct AVFormatContext;

namespace avfile {

// Owns one libavformat demuxer context (AVFormatContext).
//
// A context is either only allocated (avformat_alloc_context, for example to receive a custom
// AVIOContext before opening) or opened (avformat_open_input). The owner releases it the matching
// way: avformat_close_input for an opened context, avformat_free_context otherwise. A custom
// AVIOContext set in `pb` is never freed here (libavformat leaves it to its owner, see
// FfmpegIoContext); close the format context before the AVIOContext it reads from.
//
// Move-only. Not thread-safe: one thread at a time.
class FfmpegFormatContext {
public:
    FfmpegFormatContext() = default;
    ~FfmpegFormatContext();
    FfmpegFormatContext(FfmpegFormatContext&& other) noexcept;
    FfmpegFormatContext& operator=(FfmpegFormatContext&& other) noexcept;
    FfmpegFormatContext(const FfmpegFormatContext&) = delete;
    FfmpegFormatContext& operator=(const FfmpegFormatContext&) = delete;

    // A context from avformat_alloc_context; null when the allocation failed.
    static FfmpegFormatContext allocate();

    // avformat_open_input on `url` with no forced input format and no options, into the allocated
    // context held (if any) or a new one. Returns FFmpeg's result (0 or a negative AVERROR); on
    // failure libavformat has freed the context and this owner is empty.
    int openInput(const std::string& url);

    AVFormatContext* get() const { return mContext; }
    AVFormatContext* operator->() const { return mContext; }
    explicit operator bool() const { return mContext != nullptr; }
    bool isOpened() const { return mOpened; }

    // Releases the context (closing it when opened); the owner is empty afterwards.
    void reset();

private:
    AVFormatContext* mContext = nullptr;
    bool mOpened = false;
};

}  // namespace avfile
