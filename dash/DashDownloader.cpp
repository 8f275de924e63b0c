#include "dash/DashDownloader.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <system_error>
#include <utility>

#include "dash/DashConfiguration.h"
#include "dash/DashFactoryBuilder.h"
#include "dash/DashUtil.h"
#include "manifest/mpd/IPeriod.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashDownloader")

namespace dash {

namespace {

const char* const kVideo = "video/mp4";
const char* const kAudio = "audio/mp4";
const char* const kNoVideo = "No video adaptationSet. Mpd must have at least one video adaptationSet.";

// How long one wait for a transfer lasts before the aborted flag is looked at again.
constexpr std::chrono::milliseconds kDownloadWaitSlice(10);
// The pause of a live set that had nothing new to download.
constexpr std::chrono::seconds kLivePause(1);

int32_t saturateToInt32(uint64_t value) {
    return static_cast<int32_t>(std::min<uint64_t>(value, std::numeric_limits<int32_t>::max()));
}

// Whether the first Period lists a Representation of `mimeType` (on its AdaptationSet or itself).
// An MPD without a usable Period answers true: the set's construction reports that case.
bool listsMimeType(const std::shared_ptr<mpd::IMPD>& mpd, const std::string& mimeType) {
    const std::vector<mpd::IPeriod*>& periods = mpd->GetPeriods();
    if (periods.empty() || periods.front() == nullptr) {
        return true;
    }
    for (const mpd::IAdaptationSet* set : periods.front()->GetAdaptationSets()) {
        if (set == nullptr) {
            continue;
        }
        for (const mpd::IRepresentation* representation : set->GetRepresentation()) {
            if (set->GetMimeType() == mimeType ||
                (representation != nullptr && representation->GetMimeType() == mimeType)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

DashDownloader::DashDownloader(std::string url, std::shared_ptr<IDASHManager> manager, int32_t updatePeriodMs)
    : mUrl(std::move(url)),
      mManager(std::move(manager)),
      mUpdatePeriodMs(updatePeriodMs),
      mLastRefresh(std::chrono::steady_clock::now()),
      mFactory(DashFactoryBuilder::getInstance()->getDashFactory()) {}

DashDownloader::~DashDownloader() {
    if (!mAborted) {
        abort();
    } else if (mThread.joinable()) {
        // Cancelled from the downloader thread itself: it has ended or ends at its next check.
        if (mThread.get_id() != std::this_thread::get_id()) {
            mThread.join();
        } else {
            mThread.detach();
        }
    }
    reset();
}

// --- set-up ---

bool DashDownloader::init() {
    if (mInitDone || mThread.joinable()) {
        ZUN_LOG(0, "end, Downloader is initialised already: %s", mUrl.c_str());
        return false;
    }
    mInitDone = true;
    try {
        if (!initMpd()) {
            mStatus = FAIL_INVALID_MPD;
            mFinished = true;
            return false;
        }
        mVersion = 1;
        createAdaptationSets();
        return true;
    } catch (const DashException& e) {
        ZUN_LOG(0, "end, Downloader init failed: %s", e.what());
        handleException(e);
    } catch (const std::exception& e) {
        ZUN_LOG(0, "end, Downloader init failed: %s", e.what());
        handleUnknown(e.what());
    }
    return false;
}

bool DashDownloader::initMpd() {
    ZUN_LOG(0, "Getting MPD at url:%s", mUrl.c_str());
    std::shared_ptr<mpd::IMPD> mpd = mManager != nullptr ? mManager->Open(mUrl) : nullptr;
    if (mpd == nullptr) {
        ZUN_LOG(0, "MPD is null, most likely invalid URL or connection issue");
        return false;
    }
    const bool live = DashUtil::isMPDLive(mpd);
    ZUN_LOG(0, "MPD Live:%d", live ? 1 : 0);
    std::vector<mpd::IBaseUrl*> documentBase;
    if (mpd->GetMPDPathBaseUrl() != nullptr) {
        documentBase.push_back(mpd->GetMPDPathBaseUrl());
    }
    std::vector<mpd::IBaseUrl*> baseUrls = DashUtil::addBaseURLs(documentBase, mpd->GetBaseURLs());
    const int32_t updatePeriodMs = live ? saturateToInt32(DashUtil::getUpdatePeriodMs(mpd)) : mUpdatePeriodMs.load();
    const int64_t publishMs = DashUtil::getPublishTime(mpd);
    const uint64_t availabilityMs = DashUtil::getAvailabilityStartTime(mpd);
    uint64_t durationMs = 0;
    if (!mpd->GetMediaPresentationDuration().empty()) {
        try {
            durationMs = DashUtil::convertISO8601DurationToMs(mpd->GetMediaPresentationDuration());
        } catch (const std::exception& e) {
            ZUN_LOG(0, "mediaPresentationDuration %s not used: %s", mpd->GetMediaPresentationDuration().c_str(),
                    e.what());
        }
    }
    // Everything read: commit.
    mMpd = mpd;
    mBaseUrls = std::move(baseUrls);
    mLive = live;
    mUpdatePeriodMs = updatePeriodMs;
    mPublishTimeS = publishMs > 0 ? static_cast<uint64_t>(publishMs) / 1000 : 0;
    mAvailabilityStartS = availabilityMs / 1000;
    mPresentationDurationMs = durationMs;
    mLastRefresh = std::chrono::steady_clock::now();
    return true;
}

void DashDownloader::createAdaptationSets() {
    std::vector<std::shared_ptr<IDashAdaptationSet>> created;
    for (const char* mimeType : {kVideo, kAudio}) {
        std::shared_ptr<IDashAdaptationSet> set;
        if (listsMimeType(mMpd, mimeType)) {
            set = mFactory->createDashAdaptationSet(mMpd, mBaseUrls, mimeType);
        }
        if (set != nullptr) {
            created.push_back(set);
        } else if (mimeType == kVideo) {
            ZUN_LOG(0, "%s", kNoVideo);
            DashUtil::throwException(FAIL_INVALID_ADAPTATION, kNoVideo);
        } else {
            ZUN_LOG(0, "No audio adaptationSet, unusual but OK. Audio might be embedded in video segments.");
        }
    }
    std::lock_guard<std::mutex> lock(mSetsMutex);
    mAdaptationSets = std::move(created);
}

std::shared_ptr<IDashAdaptationSet> DashDownloader::getAdaptationSet(std::string mimeType) {
    for (const std::shared_ptr<IDashAdaptationSet>& set : sets()) {
        if (set->getMimeType() == mimeType) {
            return set;
        }
    }
    ZUN_LOG(0, "No adaptationSet for mime %s", mimeType.c_str());
    return nullptr;
}

std::vector<std::shared_ptr<IDashAdaptationSet>> DashDownloader::sets() {
    std::lock_guard<std::mutex> lock(mSetsMutex);
    return mAdaptationSets;
}

// --- the session ---

bool DashDownloader::startDownload() {
    if (mFinished || mAborted) {
        ZUN_LOG(0, "Downloader failed to start status: %s", toString(getStatus()).c_str());
        return false;
    }
    if (mThread.joinable()) {
        ZUN_LOG(0, "end, Downloader has started already");
        return false;
    }
    try {
        mThread = std::thread([this] { main(); });
    } catch (const std::system_error& e) {
        ZUN_LOG(0, "end, Downloader thread could not be started: %s", e.what());
        handleUnknown(e.what());
        return false;
    }
    notify(DOWNLOAD_STARTED);
    return true;
}

bool DashDownloader::cancel() {
    if (mAborted) {
        ZUN_LOG(0, "Download has cancelled.");
    } else {
        abort();
    }
    return true;
}

void DashDownloader::abort() {
    ZUN_LOG(0, "Cancel request received. Stopping download.");
    // Stored first, so that the thread's last line reports it.
    mStatus = CANCELLED;
    {
        // Under the pause's mutex, so that a pause starting now cannot miss the wake-up.
        std::lock_guard<std::mutex> lock(mPauseMutex);
        mAborted = true;
    }
    mPauseWake.notify_all();
    if (mThread.joinable() && mThread.get_id() != std::this_thread::get_id()) {
        mThread.join();
    }
}

void DashDownloader::finish() {
    mFinished = true;
}

void DashDownloader::reset() {
    std::vector<std::shared_ptr<IDashAdaptationSet>> released;
    {
        std::lock_guard<std::mutex> lock(mSetsMutex);
        released.swap(mAdaptationSets);
    }
    mBaseUrls.clear();
    // The sets abort and join their transfers as they go, outside the lock.
    released.clear();
}

void DashDownloader::handleException(const DashException& exception) {
    if (mAborted) {
        // A consequence of the cancel: the session stays CANCELLED.
        ZUN_LOG(0, "end, After cancel: %s", exception.what());
        return;
    }
    ZUN_LOG(0, "end, %s", exception.what());
    mStatus = exception.getDownloadStatus();
    notify(DOWNLOAD_ERROR);
    mFinished = true;
}

void DashDownloader::handleUnknown(const std::string& text) {
    try {
        DashUtil::throwException(FAIL_UNKNOWN_ERROR, text);
    } catch (const DashException& e) {
        handleException(e);
    }
}

void DashDownloader::notify(DashDownloadEvent event) {
    try {
        mFactory->getDashEventNotifier()->notify(event);
    } catch (const std::exception& e) {
        ZUN_LOG(0, "end, A listener of event %d failed: %s", static_cast<int>(event), e.what());
    }
}

DashDownloadStatus DashDownloader::getStatus() {
    const DashDownloadStatus stored = mStatus;
    if (DashUtil::isCompletedStatus(stored)) {
        return stored;
    }
    const std::vector<std::shared_ptr<IDashAdaptationSet>> all = sets();
    if (all.empty()) {
        return stored;
    }
    std::shared_ptr<IDashConfiguration> config;
    try {
        config = mFactory->getDashConfiguration(DashConfiguration::settingsPath());
        DashUtil::throwIfTrue(config == nullptr, FAIL_UNKNOWN_ERROR, "No configuration");
    } catch (const DashException& e) {
        handleException(e);
        return mStatus;
    }
    int64_t minimum = config->getMaxBufferedSegment();
    bool allEnded = true;
    for (const std::shared_ptr<IDashAdaptationSet>& set : all) {
        if (!set->endOfSegments()) {
            allEnded = false;
            const size_t buffered = set->getNumberOfBufferedSegments();
            minimum = std::min<int64_t>(minimum, static_cast<int64_t>(std::min<size_t>(buffered, INT32_MAX)));
        }
    }
    if (!mFinished || allEnded) {
        if (minimum <= 0) {
            return NO_SEGMENT;
        }
        return minimum < config->getMinBufferedSegment() ? BUFFERING : READY;
    }
    if (minimum > 0) {
        return READY;
    }
    DashDownloadStatus expected = stored;
    if (mStatus.compare_exchange_strong(expected, COMPLETED)) {
        ZUN_LOG(0, "Dash download completed, every queue drained");
        notify(DOWNLOAD_COMPLETED);
    }
    return mStatus;
}

bool DashDownloader::seek(std::string mimeType, uint64_t ms) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFinished = false;
    for (const std::shared_ptr<IDashAdaptationSet>& set : sets()) {
        if (set->getMimeType() != mimeType) {
            continue;
        }
        try {
            uint64_t from = 0;
            {
                std::lock_guard<std::mutex> setsLock(mSetsMutex);
                from = set->seek(ms);
            }
            ZUN_LOG(0, "Seek on %s to %llu: segments from %llu", mimeType.c_str(), static_cast<unsigned long long>(ms),
                    static_cast<unsigned long long>(from));
            return true;
        } catch (const std::exception& e) {
            ZUN_LOG(0, "end, Seek on %s to %llu failed: %s", mimeType.c_str(), static_cast<unsigned long long>(ms),
                    e.what());
            return false;
        }
    }
    ZUN_LOG(0, "No adaptationSet for mime %s", mimeType.c_str());
    return false;
}

void DashDownloader::setTrickMode(int rate) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFinished = false;
    for (const std::shared_ptr<IDashAdaptationSet>& set : sets()) {
        try {
            std::lock_guard<std::mutex> setsLock(mSetsMutex);
            set->setTrickMode(rate);
        } catch (const std::exception& e) {
            ZUN_LOG(0, "end, Trick mode %d on %s failed: %s", rate, set->getMimeType().c_str(), e.what());
        }
    }
}

// --- the thread ---

void DashDownloader::main() {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            if (mAborted) {
                ZUN_LOG(0, "Downloader has aborted status: %s", toString(mStatus.load()).c_str());
                finish();
                return;
            }
        }
        if (mFinished || adaptationSetsComplete()) {
            std::this_thread::sleep_for(std::chrono::nanoseconds(50));
            continue;
        }
        std::this_thread::sleep_for(std::chrono::nanoseconds(10));
        try {
            downloadPass();
        } catch (const DashException& e) {
            handleException(e);
        } catch (const std::exception& e) {
            handleUnknown(e.what());
        } catch (...) {
            handleUnknown("Unknown exception in the download loop");
        }
    }
}

void DashDownloader::downloadPass() {
    if (mLive) {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto elapsed = std::chrono::steady_clock::now() - mLastRefresh;
        const int64_t elapsedMs = std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() / 1000000;
        if (elapsedMs >= mUpdatePeriodMs) {
            ZUN_LOG(0, "Reinitialize live MPD");
            reinit();
        }
    }
    for (const std::shared_ptr<IDashAdaptationSet>& set : sets()) {
        if (mAborted) {
            return;
        }
        if (bufferFull(set)) {
            continue;
        }
        std::future<bool> done;
        {
            std::lock_guard<std::mutex> lock(mSetsMutex);
            done = set->downloadNextSegment();
        }
        if (!waitForDownload(done)) {
            return;  // aborted: the set gives up the transfer when it is released
        }
        if (done.get()) {
            std::lock_guard<std::mutex> lock(mSetsMutex);
            set->processCompleteSegment();
        } else {
            ZUN_LOG(0, "All %s segments download completed", set->getMimeType().c_str());
            if (mLive) {
                ZUN_LOG(0, "No live segment. waiting for next MPD refresh.");
                pauseForLiveSegments();
            }
        }
    }
}

bool DashDownloader::waitForDownload(std::future<bool>& done) {
    DashUtil::throwIfTrue(!done.valid(), FAIL_UNKNOWN_ERROR, "No download result");
    while (done.wait_for(kDownloadWaitSlice) != std::future_status::ready) {
        if (mAborted) {
            return false;
        }
    }
    return true;
}

void DashDownloader::pauseForLiveSegments() {
    std::unique_lock<std::mutex> lock(mPauseMutex);
    mPauseWake.wait_for(lock, kLivePause, [this] { return mAborted.load(); });
}

bool DashDownloader::adaptationSetsComplete() {
    for (const std::shared_ptr<IDashAdaptationSet>& set : sets()) {
        if (!set->endOfSegments()) {
            return false;
        }
    }
    return true;
}

bool DashDownloader::bufferFull(const std::shared_ptr<IDashAdaptationSet>& set) {
    std::shared_ptr<IDashConfiguration> config = mFactory->getDashConfiguration(DashConfiguration::settingsPath());
    DashUtil::throwIfTrue(config == nullptr, FAIL_UNKNOWN_ERROR, "No configuration");
    const int64_t buffered = static_cast<int64_t>(std::min<size_t>(set->getNumberOfBufferedSegments(), INT32_MAX));
    return buffered >= config->getMaxBufferedSegment();
}

void DashDownloader::reinit() {
    std::shared_ptr<mpd::IMPD> previous = mMpd;
    std::vector<mpd::IBaseUrl*> previousUrls = mBaseUrls;
    mMpd.reset();
    mBaseUrls.clear();
    bool loaded = false;
    try {
        loaded = initMpd();
    } catch (...) {
        mMpd = previous;
        mBaseUrls = previousUrls;
        throw;
    }
    if (!loaded) {
        ZUN_LOG(0, "initMpd failed, most likely connection or invalid URL.");
        mMpd = previous;
        mBaseUrls = previousUrls;
        DashUtil::throwException(FAIL_INVALID_MPD, "Reinit() invalid mpd");
    }
    std::lock_guard<std::mutex> lock(mSetsMutex);
    for (const std::shared_ptr<IDashAdaptationSet>& set : mAdaptationSets) {
        set->initAdaptationSet(mMpd, mBaseUrls);
    }
    ++mVersion;
}

// --- for the host ---

DashCapability DashDownloader::getCapability() {
    DashCapability capability;
    capability.status = getStatus();
    std::ostringstream videoText;
    std::lock_guard<std::mutex> lock(mSetsMutex);
    capability.version = mVersion;
    capability.live = mLive;
    for (const std::shared_ptr<IDashAdaptationSet>& set : mAdaptationSets) {
        DashRepCapability entry;
        entry.mimeType = set->getMimeType();
        for (const std::shared_ptr<IDashRepresentation>& representation : set->getRepresentations()) {
            const std::shared_ptr<DashRepresentationData> data = representation->getData();
            entry.bandwidths.push_back(saturateToInt32(data->bandwidth));
            if (std::find(entry.languages.begin(), entry.languages.end(), data->language) == entry.languages.end()) {
                entry.languages.push_back(data->language);
            }
        }
        if (const std::shared_ptr<DashRepresentationData> current = set->getCurrentRepresentation()) {
            entry.currentBandwidth = saturateToInt32(current->bandwidth);
            entry.currentLanguage = current->language;
            entry.currentRepresentationId = current->id;
            entry.currentHeight = current->resolution;
            entry.earliestPositionMs = current->firstSegmentTimeMs;
            if (capability.live) {
                entry.durationMs = DashUtil::saturatingAdd(current->lastSegmentTimeMs, current->segmentDurationMs);
            } else {
                const uint64_t declared = mPresentationDurationMs;
                entry.durationMs = declared != 0 ? declared : current->totalDurationMs;
            }
        }
        entry.endOfSegments = set->endOfSegments();  // first: see DashRepCapability
        entry.bufferedSegments = static_cast<uint32_t>(std::min<size_t>(set->getNumberOfBufferedSegments(), UINT32_MAX));
        entry.lastDownloadRate = set->getLastDownloadRate();
        if (const std::shared_ptr<DashRepresentationData> playing = set->getPlayingRepresentation()) {
            entry.playingBandwidth = saturateToInt32(playing->bandwidth);
            entry.playingRepresentationId = playing->id;
        }
        entry.contentProtections = set->getContentProtections();
        if (entry.mimeType == kVideo && mLoggedCapabilityVersion != capability.version) {
            // Logged once per MPD load: hosts take snapshots several times a second.
            videoText << "Video : Available representation bandwidth:";
            for (int32_t bandwidth : entry.bandwidths) {
                videoText << ' ' << bandwidth;
            }
            ZUN_LOG(0, "%s", videoText.str().c_str());
            mLoggedCapabilityVersion = capability.version;
        }
        capability.entries.push_back(std::move(entry));
    }
    if (capability.entries.empty()) {
        ZUN_LOG(0, "Size of capability is ZERO\n");
    }
    return capability;
}

}  // namespace dash
