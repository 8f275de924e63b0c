#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "avfile/AvSampleFilter.h"
#include "avfile/AvStatus.h"
#include "avfile/AvTrack.h"
#include "avfile/FfmpegFormatContext.h"
#include "avfile/FfmpegPacket.h"
#include "avfile/IAvCodecDataFactory.h"
#include "avfile/IAvFile.h"

struct AVStream;

namespace avfile {

// An MP4 file on local disk, demultiplexed by libavformat.
//
// Samples come out exactly as stored (no parsers, side data kept), in file order, with time
// stamps rescaled from each stream's time base to 90 kHz ticks (round to nearest). A stamp that
// is negative in the container (the dts of the first frames of a stream with B-frames and an edit
// list) is delivered as its two's-complement unsigned value: the PES layer keeps the low 33 bits,
// so it stays consistent modulo 2^33 (see getDifferenceBetweenPts). A packet without pts takes its
// dts.
//
// The file may still be growing (a download running beside the player): the index tells where the
// complete file ends (`expectedSize`, bytes), and a read that fails before that point answers
// NotEnoughData while the file is smaller than that (isActive), EndOfFile once it is not.
//
// Track numbers: operations taking a track refuse only numbers greater than the stream count, so
// a number equal to the count passes that check. There is no stream behind it; such a track is
// answered as a stream without index entries (log "Index entries is null, probably mov file
// corruption", answer 0 or false; getActiveDuration answers 0) rather than touching memory past
// the stream table.
//
// Seeking: jumpToTime gives libavformat the first index entry's time stamp (a decode time) plus
// the position. The MP4 demuxer takes a seek target as a presentation time, so in a stream with
// B-frames a position just after a key frame (within the B-frame delay) lands on the key frame
// before it; the landing point is always a key frame at or before the position. getIFramePosition
// searches the index by decode time and may name the later key frame.
//
// Resuming a growing file: when a read stops at the current end of a growing file, libavformat
// has already taken the sample cut there (it comes out partial and flagged corrupt, and is
// dropped) and its byte reader stays at end of file. So after a NotEnoughData the file remembers
// the input size; the next getNextSample answers NotEnoughData again at once (same log lines)
// while the size has not changed, and once it has grown it seeks the demuxer back to the key
// frame at or before the earliest last-delivered sample and skips, per stream, every packet whose
// dts is not after the one last delivered. Nothing is lost or delivered twice, and firstSample is
// not set again (this is not a jump).
//
// With the KeyFramesOnly filter, every skipped packet is released before the next is read
// (libavformat 59 requires a blank packet for av_read_frame).
//
// Copies and allocations: getNextSample copies the packet's payload into the caller's record once
// (the record owns its bytes as a vector, and the packet is released before returning). The
// record's capacity is kept, and grown by doubling when a larger sample comes, so a caller that
// reuses one record sees a few reallocations per stream, not one per sample. libavformat
// allocates each packet's buffer itself; that is outside this class's control.
//
// Errors: construction throws AvFileNotFoundException (path missing) or AvParseErrorException
// (demuxer refused the file); getNextSample throws AvBaseException "Format context is null" when
// there is no demuxer. Everything else reports through results.
//
// Threads: not locked. Set-up on a host thread, then one thread at a time (the streamer thread
// calls getNextSample, jumpToTime and setSampleFilter). Not copyable: the demuxer may hold a
// pointer to this object (AvFileFfmpegMemory).
class AvFileFfmpeg : public IAvFile {
public:
    // Per-stream delivery state, one per stream in stream order.
    struct Track {
        bool firstSamplePending = true;  // the next sample of the stream is marked firstSample
    };

    // No path and no demuxer; a derived class sets up the input and runs open().
    explicit AvFileFfmpeg(std::shared_ptr<IAvCodecDataFactory> codecDataFactory);
    // Opens the local file `path` (its existence is checked on the file system first).
    AvFileFfmpeg(std::shared_ptr<IAvCodecDataFactory> codecDataFactory, const std::string& path);
    ~AvFileFfmpeg() override;
    AvFileFfmpeg(const AvFileFfmpeg&) = delete;
    AvFileFfmpeg& operator=(const AvFileFfmpeg&) = delete;

    // Opens the demuxer on the path (or the custom input prepared by a derived class), reads the
    // stream information and builds the track list. Throws AvParseErrorException.
    void open();

    // Wrap-aware signed difference a - b of two 90 kHz time stamps, in 90 kHz ticks: the
    // magnitude is reduced modulo 2^33 (the width of an MPEG time stamp, ISO/IEC 13818-1 2.4.3.7)
    // and taken as the nearest difference, so a stamp that wrapped still gives a small value
    // (a = 5, b = 2^33 - 5 gives 10).
    static int64_t getDifferenceBetweenPts(uint64_t a, uint64_t b);

    uint64_t getDuration() const override;
    bool isActive() const override;
    uint64_t getActiveDuration(uint32_t track) const override;
    uint64_t getEarliestAvailablePosition() const override;
    int64_t getPositionFromPts(uint64_t pts) const override;
    uint64_t getIFramePosition(uint32_t track, uint64_t positionMs) const override;
    bool jumpToTime(uint32_t track, uint64_t positionMs) override;
    AvStatus getNextSample(AvSample& sample) override;
    void setSampleFilter(AvSampleFilter filter) override;
    std::vector<AvTrack> getTracks() const override;
    void setPlaybackRate(int rate) override;

protected:
    void setPath(const std::string& path) { mPath = path; }
    const std::string& getPath() const { return mPath; }
    bool hasFormatContext() const { return static_cast<bool>(mFormatContext); }
    uint32_t getStreamCount() const;
    // Hands a prepared (allocated, not yet opened) demuxer context to this file before open().
    void setFormatContext(FfmpegFormatContext&& context);
    // Closes the demuxer. A derived class owning the demuxer's byte source calls it in its
    // destructor, before the source goes away.
    void closeFormatContext();
    // The size of the input now (avio_size), bytes; 0 without an input.
    int64_t getInputSize() const;

private:
    // The stream of a track number, null when there is none.
    AVStream* streamAt(uint32_t track) const;
    AvStatus endOfReadableData();
    // Repositions the demuxer after a stall once the input has grown (see above).
    void resumeAfterStall();

    std::string mPath;
    std::vector<Track> mTrackStates;
    std::vector<AvTrack> mTracks;
    FfmpegFormatContext mFormatContext;
    int64_t mExpectedSize = 0;  // bytes: end of the last index entry over all streams
    uint64_t mDuration = 0;     // milliseconds
    std::shared_ptr<IAvCodecDataFactory> mCodecDataFactory;
    AvSampleFilter mFilter = AvSampleFilter::AllSamples;
    FfmpegPacket mPacket;  // reused by every getNextSample
    // Per stream: dts (stream time base) of the last sample delivered; AV_NOPTS_VALUE for none.
    std::vector<int64_t> mLastDts;
    bool mStalled = false;      // the last getNextSample answered NotEnoughData
    int64_t mStallSize = 0;     // input size then, bytes
    bool mSkipDelivered = false;  // after a resume: drop packets not after mLastDts
};

}  // namespace avfile
