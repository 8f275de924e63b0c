#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dash/DashAbrAdjustment.h"
#include "dash/DashAbrData.h"
#include "dash/DashQueuedSegment.h"
#include "dash/DashRepresentationData.h"
#include "dash/DashSegmentLocation.h"
#include "dash/IDashAbrAlgorithm.h"
#include "dash/IDashAdaptationSet.h"
#include "dash/IDashDownloadObserver.h"
#include "dash/IDashFactory.h"
#include "dash/IDashRepresentation.h"
#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/ISegment.h"

namespace dash {

// One stream of a DASH presentation, "video/mp4" or "audio/mp4": the Representations of the first
// Period that carry the set's MIME type and suit the device, the current one, the bit-rate
// switching, and the download of one segment at a time into an ordered queue of finished
// segments that the DASH-backed file takes from.
//
// Representation choice. The Representations are gathered from every AdaptationSet of the first
// Period (later Periods are ignored) whose @mimeType, or the Representation's own, is the set's.
// Video needs minResolution <= @height <= maxResolution (lines; the settings' MaxResolution and
// 180 on demand, MaxResolutionLive and 180 for a live MPD); audio is always accepted; any other
// MIME type is refused. They are kept sorted by language (AdaptationSet@lang, byte-wise), then
// bandwidth (bits per second), with std::sort: representations equal in both keys have no defined
// order. A refreshed MPD updates the representations of known @id in place (the current one stays
// current) and appends new ones; none is ever removed. The first choice is the first
// representation, for audio then the first of the set's language ("eng").
// changeRepresentation kinds: 0 the first; 1 and 3 the last one (searching from the end) whose
// bandwidth is at most the recommended bandwidth and, for non-video sets, of the set's language,
// else the first; 2 nothing; 4 the last; 5 or more (negative ones included, read unsigned) throw
// FAIL_UNKNOWN_ERROR "Unhandled Adjustment".
//
// Downloads. downloadNextSegment asks the bit-rate strategy, may switch representation, then
// starts the initialisation segment of the current representation when it has none yet, else the
// next media segment in the playing direction; the future becomes true when the download finished
// or failed (the observer calls handleCompleteSegment), false at once when there is nothing to
// download. processCompleteSegment then stores the initialisation bytes in the representation or
// queues the segment. Queue positions and durations are milliseconds on the presentation time
// line. seek and setTrickMode reposition the queue and the shared DashSegmentLocation. A
// representation that yields no initialisation segment makes downloadNextSegment ask it again, with
// no end; every addressing scheme yields one.
//
// Failures: DashException through DashUtil. No MPD or no Period: FAIL_INVALID_MPD "Unknown reason";
// a null Representation: FAIL_INVALID_REP "Unknown reason"; nothing passes the filters:
// FAIL_INVALID_REP "No representation"; an on-demand representation without a next segment:
// FAIL_INVALID_MPD "No Segment in representation"; empty bytes for a media segment:
// FAIL_BAD_CONNECTION "Empty segment.". A failure leaves the queue and the representations as they
// were. An empty bit-rate strategy makes downloadNextSegment throw std::bad_function_call.
//
// Threads: the downloader thread runs downloadNextSegment / processCompleteSegment and live
// refreshes (initAdaptationSet); the streaming thread takes segments, seeks and changes the trick
// mode. Every public operation except handleCompleteSegment runs under one recursive mutex.
// handleCompleteSegment runs on the manifest library's download thread and takes only a small
// mutex of its own around the pending promise (never the set's mutex).
//
// Decisions of this implementation:
// - The factory is kept by std::shared_ptr: it holds no adaptation sets, so there is no cycle.
// - One download observer per set (factory->getDashDownloadObserver(this)), attached to every
//   segment download; the set owns it.
// - The pending promise is installed before the download starts, so that a download that ends at
//   once (a refused connection) cannot complete the previous, already satisfied promise. A second
//   completion report for one download is ignored (the promise is set once, guarded by a flag).
// - The bytes of a finished download are the segment's own GetBytes(), and none when the transfer
//   did not complete (cut short, reset, stalled until its time-out, refused): partial bytes are
//   not the segment, so such a media segment fails as an empty one ("Empty segment."). The segment is released
//   (currentSegment null again: no download in flight) once processCompleteSegment has run.
// - "Stopping" for an empty media segment means that the finished download was already marked to
//   be thrown away (discardNext, set by a seek or a change of direction): then the empty bytes are
//   not an error, discardNext is cleared and nothing is queued.
// - A completed initialisation segment also clears discardNext: it does not depend on the
//   position, so a seek made while it downloads must not cost the first media segment after it.
//   Its bytes are stored as they came (also empty ones), as the representation's init buffer.
// - The segment-ready callback receives the queue size after a segment was queued (not after a
//   discarded one). It runs on the downloader thread with the set's lock held: it may call back
//   into the set, but must not wait for another thread that uses the set.
// - A negative recommended bandwidth counts as 0 (the first representation for kinds 1 and 3).
// - The "Adjust : " line reads "Adjust : <kind> Estimated bandwidth: <recommended bit/s>
//   Resolution : <height in lines> Bandwidth : <bit/s>" for the representation chosen.
// - Each representation keeps alive the MPD it was last read from (it points into that model),
//   also after a refreshed MPD no longer lists it; an MPD no representation needs is released.
// - An unprocessed download still held when the next downloadNextSegment comes is given up as
//   on destruction (below) and its future becomes false.
// - A download whose StartDownload refuses (no URL) is reported complete at once, so it ends as a
//   failed download ("Empty segment.") instead of leaving the future open.
// - The preferred audio language is "eng"; nothing changes it.
// - Content protection: the ContentProtection descriptors of every AdaptationSet that contributes
//   representations, then those written on the Representations themselves, in document order;
//   a descriptor equal to one already taken (scheme, value, key id and data) is taken once. They
//   are re-read with each refreshed MPD.
// - Destruction with a download in flight: the observer is detached from the segment first (after
//   that the segment no longer calls into the set), the transfer is aborted and the segment is
//   released, whose destructor joins the transfer thread; the download's future becomes false if
//   it was still open. No thread outlives the set. Destroying the set from the observer's own
//   callback is not allowed.
class DashAdaptationSet : public IDashAdaptationSet {
public:
    // Reads the settings through factory->getDashConfiguration(DashConfiguration::settingsPath()),
    // makes the observer and the bit-rate algorithm and runs initAdaptationSet(mpd, baseUrls).
    // Throws what initAdaptationSet or the factory throws.
    DashAdaptationSet(std::shared_ptr<mpd::IMPD> mpd, const std::vector<mpd::IBaseUrl*>& baseUrls,
                      const std::string& mimeType, std::shared_ptr<IDashFactory> factory);
    ~DashAdaptationSet() override;
    DashAdaptationSet(const DashAdaptationSet&) = delete;
    DashAdaptationSet& operator=(const DashAdaptationSet&) = delete;

    // --- segment queue, download and seek ---
    bool getBufferedSegment(DashQueuedSegment& segment) override;
    bool endOfSegments() const override;
    size_t getNumberOfBufferedSegments() const override;
    std::future<bool> downloadNextSegment() override;
    void handleCompleteSegment() const override;
    void processCompleteSegment() override;
    uint64_t seek(uint64_t positionMs) override;
    bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) override;
    void setTrickMode(int rate) override;
    void setSegmentReadyCallback(std::function<void(int)> callback) override;

    // --- representation choice ---
    void initAdaptationSet(std::shared_ptr<mpd::IMPD> mpd, const std::vector<mpd::IBaseUrl*>& baseUrls) override;
    void changeRepresentation(DashAbrAdjustment adjustment) override;
    std::shared_ptr<IDashRepresentation> getRepresentation() const override;
    std::shared_ptr<DashRepresentationData> getCurrentRepresentation() const override;
    const std::string& getMimeType() const override;
    void setAbrStrategy(std::function<DashAbrAdjustment(const DashAbrData&)> strategy) override;
    std::vector<std::shared_ptr<IDashRepresentation>> getRepresentations() const override;

    // --- for the host ---
    std::vector<DashContentProtection> getContentProtections() const override;
    int32_t getLastDownloadRate() const override;
    std::shared_ptr<DashRepresentationData> getPlayingRepresentation() const override;

    // Whether `representation` suits a set of `mimeType` (video: height within the limits).
    bool validRepresentation(const mpd::IRepresentation& representation, const mpd::IAdaptationSet& adaptationSet,
                             const std::string& mimeType) const;

private:
    // The promise of one download, completed once.
    struct PendingResult {
        std::promise<bool> promise;
        bool done = false;
    };

    void pushDashQueueSegment(DashQueuedSegment segment);
    // Appends the records of `descriptors` that `protections` does not already hold.
    static void addContentProtections(std::vector<DashContentProtection>& protections,
                                      const std::vector<mpd::IDescriptor*>& descriptors);
    // Detaches, aborts and releases the download in flight; its future, if still open, becomes
    // false. Under mMutex.
    void dropDownload();
    void setPending(const std::shared_ptr<PendingResult>& pending);
    static void complete(PendingResult& pending, bool value);

    // Part of the representation choice.
    std::shared_ptr<mpd::IMPD> mMpd;
    std::vector<std::shared_ptr<IDashRepresentation>> mRepresentations;
    // The MPD each representation was last read from: representations point into its model.
    std::map<const IDashRepresentation*, std::shared_ptr<mpd::IMPD>> mSourceMpds;
    std::shared_ptr<IDashRepresentation> mCurrentRepresentation;
    std::string mMimeType;
    std::shared_ptr<IDashFactory> mFactory;
    std::shared_ptr<DashSegmentLocation> mLocation;
    int32_t mMaxBufferedSegments = 10;
    int32_t mMinBufferedSegments = 3;
    uint32_t mMaxResolution = 720;  // lines
    uint32_t mMinResolution = 180;  // lines
    bool mLive = false;
    bool mForward = true;
    std::string mLanguage = "eng";
    std::shared_ptr<IDashAbrAlgorithm> mAbrAlgorithm;
    std::function<DashAbrAdjustment(const DashAbrData&)> mAbrStrategy;

    // Part of the queue and the downloads.
    mutable std::recursive_mutex mMutex;
    std::deque<DashQueuedSegment> mQueue;  // ordered by posMs
    std::shared_ptr<mpd::ISegment> mCurrentSegment;  // the download in flight, null when none
    mutable std::mutex mPendingMutex;                // guards mPendingResult and its flag
    std::shared_ptr<PendingResult> mPendingResult;
    std::shared_ptr<IDashDownloadObserver> mDownloadObserver;
    uint64_t mSegmentStartMs = 0;
    uint64_t mSegmentDurationMs = 0;
    uint64_t mLastPositionMs = 0;
    bool mDelivered = false;
    std::shared_ptr<DashRepresentationData> mPlayingRepresentation;  // of the segment taken last
    bool mDiscardNext = false;
    int32_t mPlaybackRate = 1000;  // thousandths
    std::function<void(int)> mSegmentReadyCallback;
    std::vector<DashContentProtection> mContentProtections;
};

}  // namespace dash
