#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dash/DashException.h"
#include "dash/IDashDownloader.h"
#include "dash/IDashFactory.h"
#include "manifest/IDASHManager.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"

namespace dash {

// Owns one DASH presentation: fetches its MPD through the manifest library, builds one adaptation
// set per media type ("video/mp4" required, "audio/mp4" optional), and runs a thread of its own
// that keeps every set downloading until its queue holds the configured maximum of segments or its
// segments end, refreshes the MPD of a live presentation (@type "dynamic", ISO/IEC 23009-1 5.4)
// every update period, and computes the session status. Driven by DashDownloadCommand.
//
// Units: positions and durations in milliseconds on the presentation time line, the update period
// in milliseconds, rates in bits per second, heights in lines.
//
// Threads. The controlling thread (the command: init, startDownload, getStatus, seek,
// setTrickMode, cancel, getCapability) and the downloader thread (main). Segment transfers run on
// the manifest library's threads. Locks, always taken in this order:
//   mMutex      the aborted check of the loop, the live refresh (MPD fetch included), seek and
//               setTrickMode;
//   mSetsMutex  the vector of sets (replaced only by init and reset) and every call that changes a
//               set's representations or position (download start and processing, refresh, seek,
//               trick mode), so that getCapability reads the representations' figures while
//               nothing changes them; never held while waiting for a transfer;
//   the sets' own locks.
// The flags read across threads (finished, aborted, status, live, version) are atomics.
//
// Decisions of this implementation:
// - init() may run once and before startDownload. A failed MPD load stores FAIL_INVALID_MPD
//   (after "MPD is null, most likely invalid URL or connection issue"), raises no event and sets
//   the finished flag so that startDownload refuses; a presentation without video stores
//   FAIL_INVALID_ADAPTATION ("No video adaptationSet. Mpd must have at least one video
//   adaptationSet."); a DashException while building the sets goes to handleException (its status
//   stored, DOWNLOAD_ERROR, finished); any other std::exception is handled as FAIL_UNKNOWN_ERROR.
//   After a false init the status is always a final one.
// - "No video" means that the first Period lists no Representation of type "video/mp4" (on the
//   AdaptationSet or the Representation). A video set whose representations are all refused (too
//   tall or too short) fails with the set's own FAIL_INVALID_REP.
// - The loop catches DashException (refresh, sets) and hands it to handleException; any other
//   std::exception (or other throw) becomes FAIL_UNKNOWN_ERROR. Nothing escapes the thread.
// - A segment's future is awaited in slices of 10 ms with the aborted flag checked between them;
//   on abort the loop leaves the transfer to its set, whose destructor aborts and joins it, so
//   cancel() and destruction end within bounded time even while a server stalls. The aborted flag
//   is also checked between the sets of one pass.
// - The one-second pause of a live set with nothing new is a wait on a condition variable that
//   abort() wakes. The 50 ns and 10 ns sleeps of the loop are kept: a near-busy wait is the design.
// - getStatus before init has built any set answers the stored status (NO_SEGMENT) instead of a
//   minimum over no sets. A configuration that cannot be loaded is handled like a caught
//   DashException (FAIL_UNKNOWN_ERROR).
// - The running statuses follow the formula of the session lifecycle exactly, including its
//   asymmetry: with the finished flag clear (or set with every set at its end) the minimum buffered
//   count over the sets not at their end decides NO_SEGMENT / BUFFERING / READY; sets at their end
//   do not count, so a presentation whose sets have all ended answers READY even once drained.
//   With the flag set and a set not at its end, a minimum above 0 is READY and 0 stores COMPLETED
//   (DOWNLOAD_COMPLETED raised once). The flag is set by finish(), by abort and by handleException.
// - abort() stores CANCELLED whatever was stored before, then raises the aborted flag; an
//   exception caught after that is only logged (the session stays CANCELLED, no error event). A
//   cancel() called on the downloader thread itself (from a listener) does not join; the thread
//   ends at its next check. A downloader must not be destroyed on its own thread.
// - seek() answers true when a set of that MIME type took the seek (whatever position it answers,
//   0 included); false when there is none ("No adaptationSet for mime %s") or its seek threw a
//   DashException (logged; the status is not changed). setTrickMode logs and swallows a
//   DashException of a set the same way.
// - Exceptions of event listeners (an empty std::function) are logged and go no further.
// - The live update period is @minimumUpdatePeriod saturated to the 32-bit range (an MPD without
//   it gives DashUtil's 6000 ms); the constructor's value is used until a live MPD is loaded.
// - A refresh whose MPD does not load leaves the previous MPD, its base URLs and the sets as they
//   were.
// - getCapability: version 1 after the first successful MPD load, plus one per successful refresh
//   (MPD and sets); per set: durationMs on demand is the MPD's @mediaPresentationDuration when it
//   is present and readable (the presentation's declared length; a SegmentList's count times
//   duration overshoots a short last segment and a SegmentBase knows its length only once its
//   index is read), else the current representation's totalDurationMs; live it is the current
//   representation's lastSegmentTimeMs + segmentDurationMs (the live edge). The text
//   "Video : Available representation bandwidth:" with the video set's bandwidths is logged by the
//   first call after each MPD load (hosts take snapshots several times a second); "Size of
//   capability is ZERO\n" when there is no set.
// - Destruction: abort (joins the thread) unless already aborted, then reset().
class DashDownloader : public IDashDownloader {
public:
    // Live update period until a live MPD says otherwise, ms.
    static constexpr int32_t kDefaultUpdatePeriodMs = 6000;

    // `manager` fetches and parses the MPD at `url`; the factory is the process's
    // (DashFactoryBuilder). Nothing is fetched before init().
    DashDownloader(std::string url, std::shared_ptr<IDASHManager> manager, int32_t updatePeriodMs);
    ~DashDownloader() override;
    DashDownloader(const DashDownloader&) = delete;
    DashDownloader& operator=(const DashDownloader&) = delete;

    bool init() override;
    std::shared_ptr<IDashAdaptationSet> getAdaptationSet(std::string mimeType) override;
    bool startDownload() override;
    DashDownloadStatus getStatus() override;
    bool cancel() override;
    bool seek(std::string mimeType, uint64_t ms) override;
    DashCapability getCapability() override;
    void setTrickMode(int rate) override;

    // Stops further downloads: the thread idles until aborted, and the session completes once the
    // queues of the sets not at their end are drained (see getStatus above). Any thread.
    void finish();

private:
    void main();
    // One pass over the sets (steps 4 and 5 of the loop). Throws what the refresh or a set throws.
    void downloadPass();
    // Waits for a transfer in slices, checking the aborted flag. False when aborted first.
    bool waitForDownload(std::future<bool>& done);
    void pauseForLiveSegments();
    bool adaptationSetsComplete();
    bool bufferFull(const std::shared_ptr<IDashAdaptationSet>& set);
    // Loads the MPD into mMpd / mBaseUrls; false (after its log lines) when none came. Throws what
    // reading its attributes throws.
    bool initMpd();
    void reinit();
    void createAdaptationSets();
    void abort();
    void reset();
    void handleException(const DashException& exception);
    // FAIL_UNKNOWN_ERROR with the text, through DashUtil, to handleException.
    void handleUnknown(const std::string& text);
    void notify(DashDownloadEvent event);
    std::vector<std::shared_ptr<IDashAdaptationSet>> sets();

    const std::string mUrl;
    std::shared_ptr<IDASHManager> mManager;
    std::shared_ptr<mpd::IMPD> mMpd;              // downloader thread after start (refresh)
    std::vector<mpd::IBaseUrl*> mBaseUrls;        // owned by mMpd
    std::atomic<int32_t> mUpdatePeriodMs;
    std::atomic<bool> mLive{false};
    std::atomic<bool> mFinished{false};
    std::chrono::steady_clock::time_point mLastRefresh;
    std::atomic<bool> mAborted{false};
    std::thread mThread;
    std::vector<std::shared_ptr<IDashAdaptationSet>> mAdaptationSets;  // under mSetsMutex
    std::shared_ptr<IDashFactory> mFactory;
    std::atomic<uint64_t> mPublishTimeS{0};
    std::atomic<uint64_t> mAvailabilityStartS{0};
    std::atomic<DashDownloadStatus> mStatus{NO_SEGMENT};
    std::mutex mMutex;
    std::mutex mSetsMutex;
    // The live pause: abort() wakes it.
    std::mutex mPauseMutex;
    std::condition_variable mPauseWake;
    bool mInitDone = false;
    std::atomic<uint32_t> mVersion{0};
    uint32_t mLoggedCapabilityVersion = 0;  // under mSetsMutex
    std::atomic<uint64_t> mPresentationDurationMs{0};  // @mediaPresentationDuration, 0 when none
};

}  // namespace dash
