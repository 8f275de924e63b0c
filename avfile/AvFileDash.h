#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "avfile/AvSampleFilter.h"
#include "avfile/AvStatus.h"
#include "avfile/AvTrack.h"
#include "avfile/IAvDashInfo.h"
#include "avfile/IAvFile.h"
#include "avfile/IAvFileFactory.h"
#include "dash/IDashDownloadCommand.h"

namespace avfile {

// A DASH presentation as an IAvFile. The download command fetches segments per adaptation set in
// the background; this file takes one complete segment (initialisation bytes plus media bytes) at a
// time per track, opens it as an in-memory MP4 through its own file factory (openMemory) and
// delivers the samples of all tracks interleaved by decode time. Time stamps are 90 kHz ticks as
// the segments carry them (ISO/IEC 23009-1 media segments share the presentation's time line);
// positions and durations are milliseconds on the presentation time line.
//
// Ownership: holds its file factory (a copy made for it) and the download command. The destructor
// cancels the command before releasing it, so the downloader thread is joined when the file goes.
//
// Construction:
// - starts the command (start()) and logs the answer. The downloader stores a final status when it
//   cannot start, and the wait below maps it. If start() answered false and the status is still a
//   running one (0 to 2), the command never ran: "Unknown error" at once, so that the constructor
//   never waits on it;
// - polls the status every 100 microseconds until it is no longer NotEnoughData (BUFFERING at
//   1000 thousandths counts as not ready). The wait has no time-out of its own: the downloader ends
//   it with a final status when its downloads fail;
// - every failure of the construction cancels the command before the exception leaves: error
//   statuses as in the table of convertDashStatus, COMPLETED or CANCELLED before any segment as
//   AvBaseException "Unknown error", a missing first segment as std::runtime_error "Dash download
//   is in wrong state", and what openMemory throws;
// - capability entries are taken in order; an entry of type "application/dash+xml" is skipped with
//   a log line, as are entries whose type the factory answers Unknown and repeated types.
//
// Tracks: one track per accepted adaptation set, numbered by its position (the id of its AvTrack,
// the `track` and the trackInfo id of its samples). An adaptation set carries one media component,
// so a segment is read on its stream 0 only: the track's description is the segment's first
// AvTrack (a segment that lists none is skipped like one that does not open), and samples of other
// streams of a multiplexed segment are passed over. Samples keep the segment's own AvTrack
// otherwise, so codec data follow a change of representation.
//
// Behaviours kept on purpose:
// - interleaving: the first track not yet started is taken at once; otherwise the lowest last dts
//   wins and a tie goes to the later track. An ended track keeps the choice unless a later track
//   qualifies, so the presentation ends with the track of the lowest position;
// - discontinuity: the low 32 bits of the new dts and of the last dts of the whole file are
//   compared as a signed 32-bit difference; more than 90000 ticks restarts the interleaving;
// - a dts of 0x7FFFFFFFFFFFFFFF or with its top bit set is delivered but moves no last dts;
// - jumpToTime and getIFramePosition refuse only a track greater than the number of descriptions;
//   getIFramePosition on a track equal to it throws std::out_of_range;
// - jumpToTime with KeyFramesOnly before any non-key sample aims at the segment start, and the
//   replaced target stays in force for the tracks after it; every segment file is jumped on its
//   track 0;
// - getActiveDuration answers the first description's duration whatever the track.
//
// Decisions where the behaviour was open:
// - when a track's segment has ended and the command has no next segment although its status is
//   ready: if the command's capability entry of the track reports the end of its segments with
//   nothing queued, the track is ended (an on-demand presentation that was played to its end keeps
//   the session status READY, so the status alone would never end it); otherwise getNextSample
//   answers NotEnoughData instead of trying again at once, so one call never spins on the command,
//   and the caller retries;
// - a segment that fails to open leaves the track's previous segment file in place (the track is
//   ended by the failure; a later jump works on the file it has);
// - the extent of a loaded segment (the "outside the loaded segment" tests and the clamps of
//   jumpToTime and getIFramePosition) is the segment file's own length, the longest index span of
//   its tracks, not its getDuration(): FFmpeg gives a fragment's container duration as the end of
//   the fragment on the presentation time line, which would make a segment starting at 7 s look
//   8 s long;
// - getIFramePosition answers the position itself when the command finds no segment for it;
// - the log lines of the clamped jumps name the target and the segment's start or end on the
//   presentation time line (ms); "Jump to time failed for pos: %llu" names the target.
//
// Threads: like every IAvFile, driven from one thread at a time (set-up on a host thread, then the
// streamer thread). The waits poll getStatus with no lock held. getDashCapability (IAvDashInfo) may
// be called from any thread at any time: it reads only the download command, which is set at
// construction and never changed. setPlaybackRate is the exception to the one thread: the streamer
// passes it on without its lock, so it may meet the streamer thread's getNextSample or a host's
// jumpToTime; the rate it stores is atomic for that.
class AvFileDash : public IAvFile, public IAvDashInfo {
public:
    // One per accepted adaptation set.
    struct Track {
        std::shared_ptr<IAvFile> file;   // the in-memory file of the segment being read
        std::string mimeType;            // the adaptation set's MIME type, key of every command call
        uint64_t lastDts = 0;            // 90 kHz; dts of the last sample delivered from this track
        uint64_t segmentStartMs = 0;     // presentation time of the loaded segment's start
        bool started = false;            // a sample was delivered since the last jump or discontinuity
        bool ended = false;              // the track delivers nothing more
        int32_t capabilityIndex = 0;     // position of the track's entry in the capability list
    };

    static constexpr int32_t kDiscontinuityThreshold = 90000;  // 90 kHz ticks: one second
    static constexpr uint64_t kErroneousDts = 0x7FFFFFFFFFFFFFFFULL;
    static constexpr unsigned kPollMicroseconds = 100;

    // Starts the command and waits for its first segments (see above). Throws the exceptions of the
    // status table, AvBaseException "Unknown error" or std::runtime_error.
    AvFileDash(std::shared_ptr<IAvFileFactory> factory,
               std::shared_ptr<dash::IDashDownloadCommand> command);
    ~AvFileDash() override;
    AvFileDash(const AvFileDash&) = delete;
    AvFileDash& operator=(const AvFileDash&) = delete;

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

    dash::DashCapability getDashCapability() const override;

private:
    void open();
    // The command's status as a file status; throws for the error statuses.
    AvStatus convertDashStatus(bool waitWhileBuffering) const;
    // Polls convertDashStatus(true) every 100 microseconds while it answers NotEnoughData.
    AvStatus waitForData() const;
    // Takes the track's next segment from the command; false when there was none.
    bool getNextSegment(Track& track);
    AvStatus tryLoadNextSegment(Track& track);
    // The set of that MIME type has delivered everything it will (end of an on-demand presentation).
    bool segmentsEnded(const std::string& mimeType) const;
    size_t chooseTrack() const;
    void updateMetadata() const;

    std::shared_ptr<IAvFileFactory> mFactory;
    const std::shared_ptr<dash::IDashDownloadCommand> mCommand;
    bool mActive = false;
    mutable uint32_t mMetadataVersion = 0;
    mutable uint64_t mEarliestPositionMs = 0;
    uint64_t mLastDts = 0;  // 90 kHz; dts of the last sample delivered from any track
    std::vector<Track> mTracks;
    mutable std::vector<AvTrack> mTrackDescriptions;
    AvSampleFilter mFilter = AvSampleFilter::AllSamples;
    int32_t mDiscontinuityThreshold = kDiscontinuityThreshold;
    bool mNonKeySeen = false;
    std::atomic<int32_t> mPlaybackRate{1000};  // thousandths
};

}  // namespace avfile
