// Plays one presentation through the library's service into velar-play's output, as a host does:
// openPath, a check of the tracks, createStreamer over a ring velar-play owns, a listener, the
// first setPosition (which starts the streamer thread where the file stands), then the main thread
// drains the ring into the output until the stream ends.
//
// Decisions taken here (the library leaves them to the host):
// - A video or audio track in a codec the library does not convert (anything but H.264 and AAC,
//   for example MPEG-4 Part 2 video) makes the whole input unplayable (exit 1): the library would
//   silently drop that track's samples, and a player that quietly loses a track is worse than one
//   that says so.
// - --seek is a second setPosition right after the first (the first ignores its position). The
//   ring is not read in between, so the output starts with the pack header of the seek and holds
//   nothing from before it.
// - --keyframes on a presentation with a video track is key-frame trick play: after each key frame
//   (state KeyframeSent) the ring is drained and the streamer positioned again where
//   KeyFrameStepper says; stretches that repeat a key frame are dropped, so the output carries
//   each chosen key frame once, in order, each behind its own pack header. At a --rate other than
//   1000 the position steps by |rate| milliseconds per key frame (what a host showing one key
//   frame per second of wall time at that rate would show), forwards or backwards, from --seek
//   (else 0 forwards, the end of the video track backwards; a target at or past that end is
//   not asked for); at rate 1000 every key frame is written once. velar-play
//   writes as fast as the stream converts and paces nothing. Without a video track the filter
//   alone applies and the stream plays to its end.
// - --rate is handed to setPlaybackRate (which passes it to the file) before the first
//   positioning; a local MP4 ignores it, a DASH file passes it on to its downloader as trick mode.
// - The end is EndOfFile with the ring empty (nothing is written after EndOfFile).
// - A local file that stays in Buffering (the library's NotEnoughData) without growing for
//   kStallMs is taken as truncated: exit 1. A file that is still being written keeps growing, and
//   playback goes on as long as it does. A DASH presentation in Buffering waits for the network:
//   the stall rule does not apply, the library's statuses end it (a failed download puts the
//   streamer in Error).
// - A DASH presentation is recognised by the file's IAvDashInfo interface (a dynamic_cast across
//   the dlopen boundary; the interface is header-only, so its type information is compared by
//   name). Its figures go into every --stats line; an openPath that throws or answers nothing is a
//   one-line error naming the input. The last --stats line carries the time from just before
//   openPath to the first byte taken from the ring.
// - --duration stops the streamer once its position passes the limit, then drains the ring until
//   it has been quiet for kQuietMs.
// - --release-check: release() lets go of the streamer (its destructor empties the ring, stops and
//   joins its thread), then of the file (a DASH file cancels its download command: the downloader
//   thread is joined and its transfers aborted), then of the ring, as a host closing a channel
//   does. The threads and descriptors are counted just before openPath and after that release;
//   the last --stats reading is held back and written after the release with these figures. The
//   streamer thread sleeps up to one second between polls in Buffering, EndOfFile and Error, so a
//   release can take that long.
//
// Threads: run() is called on the main thread; the library calls the listener on the streamer
// thread. The file object is touched from the main thread only while the streamer thread leaves it
// alone (before the first setPosition, and in KeyframeSent, where the streamer does nothing).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "avfile/IAvDashInfo.h"
#include "avfile/IAvFile.h"
#include "avfile/IAvStreamer.h"
#include "platform/ContigMemBuffer.h"
#include "tools/OutputStream.h"
#include "tools/PlaybackFigures.h"
#include "tools/PlayerListener.h"
#include "tools/PlayerOptions.h"
#include "tools/ProcessCounts.h"
#include "velar/IMp4Service.h"

namespace velar_play {

class KeyFrameStepper;
class ProgressLine;
class RingDrainer;
class StatsWriter;

class Player {
public:
    // Why the input could not be played; what() is velar-play's one-line error text.
    class PlayError : public std::runtime_error {
    public:
        explicit PlayError(const std::string& message) : std::runtime_error(message) {}
    };

    static constexpr uint32_t kStallMs = 5000;      // no growth while Buffering: the file is truncated
    static constexpr uint32_t kQuietMs = 200;       // after stop(): the ring is done when quiet this long
    static constexpr uint32_t kReadWaitMs = 50;     // longest wait for ring data per loop turn
    static constexpr uint32_t kReportEveryMs = 250; // statistics and progress line period

    Player(const PlayerOptions& options, velar::IMp4Service& service, OutputStream& output);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Plays to the end. Throws PlayError (or std::runtime_error from the output) when the input
    // cannot be played or written.
    void run();

    // With --release-check: releases the pipeline (see above) and writes the last --stats line with
    // the release figures; does nothing without the option or when called again. Call it after
    // run() returned or threw, on the main thread.
    void release();

private:
    void open();
    void checkTracks();
    void start();
    void loop();
    bool trickStep();
    void stopAndDrain();
    void failWithStreamerError();
    bool stalled(avfile::AvStreamerState state, size_t drained);
    void report(avfile::AvStreamerState state, bool force, bool last = false);
    PlaybackFigures figures(avfile::AvStreamerState state, bool last) const;
    uint64_t elapsedMs() const;
    int64_t inputSize() const;

    const PlayerOptions& mOptions;
    velar::IMp4Service& mService;
    OutputStream& mOutput;

    std::shared_ptr<avfile::IAvFile> mFile;
    avfile::IAvDashInfo* mDashInfo = nullptr;  // mFile's DASH view; null for other input
    std::shared_ptr<ContigMemBuffer> mRing;
    PlayerListener mListener;  // declared before the streamer: it must outlive it
    std::shared_ptr<avfile::IAvStreamer> mStreamer;

    std::unique_ptr<RingDrainer> mDrainer;
    std::unique_ptr<StatsWriter> mStats;
    std::unique_ptr<ProgressLine> mProgress;
    std::unique_ptr<KeyFrameStepper> mStepper;

    avfile::AvSampleFilter mFilter = avfile::AvSampleFilter::AllSamples;
    bool mHasVideo = false;
    uint64_t mDurationMs = 0;
    // Where key-frame trick play ends: the first video track's duration (the presentation's when
    // the track gives none), milliseconds.
    uint64_t mVideoEndMs = 0;
    std::chrono::steady_clock::time_point mOpenStart;  // just before openPath
    std::chrono::steady_clock::time_point mStart;
    std::chrono::steady_clock::time_point mLastReport;
    std::chrono::steady_clock::time_point mLastActivity;
    int64_t mLastSize = -1;

    // --release-check
    ProcessCounts mBeforeOpen;
    bool mHasLastFigures = false;
    PlaybackFigures mLastFigures;  // the last reading, held back until release()
    bool mReleased = false;
};

}  // namespace velar_play
