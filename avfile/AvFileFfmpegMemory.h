#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "avfile/AvFileFfmpeg.h"
#include "avfile/FfmpegIoContext.h"

namespace avfile {

// An MP4 image held in memory (a downloaded DASH segment with its initialisation bytes),
// demultiplexed by libavformat through a custom byte source over a private copy of the bytes.
// Demuxing, sample delivery, seeking and index queries are those of AvFileFfmpeg; the path text
// is "AvFileFfmpegMemory". The image never grows: isActive is always false.
//
// Construction throws a plain std::runtime_error "Data is zero sized" for an empty block (not an
// AvBaseException: callers catching only that family let it pass), and AvFileFfmpeg's
// AvParseErrorException when the demuxer refuses the bytes.
//
// The byte source keeps a 32-bit read position: a seek uses only the low 32 bits of its offset
// and is not range-checked; a read from a position at or past the end copies nothing and returns
// 0. There is no seek from the end (whence 2 is logged as unknown and leaves the position).
//
// libavformat 59 no longer takes 0 from a read callback as the end of the input: it asks again,
// and probing a block it cannot recognise never ends. So the callback given to it, memread,
// reports the end (a read of 0 bytes for a non-empty request) as AVERROR_EOF; read itself still
// answers 0.
//
// Threads: as AvFileFfmpeg. Not copyable or movable: libavformat holds a pointer to this object.
class AvFileFfmpegMemory : public AvFileFfmpeg {
public:
    static constexpr int kIoBufferSize = 4096;  // bytes; libavformat reads through it in pieces

    AvFileFfmpegMemory(std::shared_ptr<IAvCodecDataFactory> codecDataFactory,
                       const std::vector<unsigned char>& data);
    ~AvFileFfmpegMemory() override;

    bool isActive() const override;
    uint64_t getActiveDuration(uint32_t track) const override;

    // libavformat read callback: read() on the object; AVERROR_EOF at the end (see above).
    static int memread(void* opaque, uint8_t* buffer, int32_t size);
    // libavformat seek callback: seek() on the object.
    static int64_t memseek(void* opaque, int64_t offset, int32_t whence);

    // Copies up to `size` bytes from the read position into `buffer` and advances the position;
    // returns the count, 0 at (or past) the end of the block.
    int read(uint8_t* buffer, int32_t size);
    // whence 0: position = offset; 1: position += offset (both answer the new position);
    // AVSEEK_SIZE: answers the block size; anything else: logs "Unknown Seek whence %i" and
    // answers the unchanged position. Only the low 32 bits of the offset are used.
    int64_t seek(int64_t offset, int32_t whence);

private:

    std::vector<unsigned char> mData;
    uint32_t mPosition = 0;  // read offset into mData, bytes
    FfmpegIoContext mIoContext;
};

}  // namespace avfile
