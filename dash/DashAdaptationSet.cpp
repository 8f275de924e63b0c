#include "dash/DashAdaptationSet.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <utility>

#include <sys/types.h>

#include "dash/DashAbrCbrAlgorithm.h"
#include "dash/DashAbrPDRatioAlgorithm.h"
#include "dash/DashConfiguration.h"
#include "dash/DashUtil.h"
#include "manifest/mpd/IPeriod.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashAdaptationSet")

namespace dash {

namespace {

const char* const kVideo = "video/mp4";
const char* const kAudio = "audio/mp4";

// Settings values are signed; a negative one counts as 0.
uint32_t nonNegative(int value) { return value < 0 ? 0u : static_cast<uint32_t>(value); }

int32_t toInt32(uint64_t value) {
    return static_cast<int32_t>(std::min<uint64_t>(value, std::numeric_limits<int32_t>::max()));
}

}  // namespace

DashAdaptationSet::DashAdaptationSet(std::shared_ptr<mpd::IMPD> mpd, const std::vector<mpd::IBaseUrl*>& baseUrls,
                                     const std::string& mimeType, std::shared_ptr<IDashFactory> factory)
    : mMpd(mpd), mMimeType(mimeType), mFactory(std::move(factory)), mLocation(std::make_shared<DashSegmentLocation>()) {
    DashUtil::throwIfTrue(mFactory == nullptr, FAIL_UNKNOWN_ERROR, "No factory");
    std::shared_ptr<IDashConfiguration> config = mFactory->getDashConfiguration(DashConfiguration::settingsPath());
    DashUtil::throwIfTrue(config == nullptr, FAIL_UNKNOWN_ERROR, "No configuration");
    mMaxBufferedSegments = config->getMaxBufferedSegment();
    mMinBufferedSegments = config->getMinBufferedSegment();
    mLive = mpd != nullptr && DashUtil::isMPDLive(mpd);
    if (mLive) {
        mMaxResolution = nonNegative(config->getMaxResolutionLive());
        mMinResolution = nonNegative(config->getMinResolutionLive());
    } else {
        mMaxResolution = nonNegative(config->getMaxResolution());
        mMinResolution = nonNegative(config->getMinResolution());
    }
    if (mMimeType != kVideo) {
        // Audio never moves down for lack of bandwidth.
        mAbrAlgorithm = std::make_shared<DashAbrCbrAlgorithm>(std::numeric_limits<int32_t>::max());
    } else {
        mAbrAlgorithm = std::make_shared<DashAbrPDRatioAlgorithm>(nonNegative(mMinBufferedSegments));
    }
    mDownloadObserver = mFactory->getDashDownloadObserver(this);
    DashUtil::throwIfTrue(mDownloadObserver == nullptr, FAIL_UNKNOWN_ERROR, "No download observer");
    std::shared_ptr<IDashAbrAlgorithm> algorithm = mAbrAlgorithm;
    mAbrStrategy = [algorithm](const DashAbrData& data) { return algorithm->adjustAbr(data); };
    initAdaptationSet(mpd, baseUrls);
}

DashAdaptationSet::~DashAdaptationSet() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    dropDownload();
}

void DashAdaptationSet::dropDownload() {
    std::shared_ptr<mpd::ISegment> segment = std::move(mCurrentSegment);
    mCurrentSegment.reset();
    if (segment != nullptr) {
        // Once detached the transfer no longer calls the observer, hence not this set.
        segment->DetachDownloadObserver(mDownloadObserver.get());
        segment->AbortDownload();
        segment.reset();  // joins the transfer thread
    }
    std::lock_guard<std::mutex> lock(mPendingMutex);
    if (mPendingResult != nullptr) {
        complete(*mPendingResult, false);
    }
}

// --- representation choice ---

bool DashAdaptationSet::validRepresentation(const mpd::IRepresentation& representation,
                                            const mpd::IAdaptationSet& /*adaptationSet*/,
                                            const std::string& mimeType) const {
    if (mimeType == kVideo) {
        const uint32_t height = representation.GetHeight();
        return mMinResolution <= height && height <= mMaxResolution;
    }
    if (mimeType == kAudio) {
        return true;
    }
    ZUN_LOG(0, "Not supported mimeType %s", mimeType.c_str());
    return false;
}

void DashAdaptationSet::initAdaptationSet(std::shared_ptr<mpd::IMPD> mpd, const std::vector<mpd::IBaseUrl*>& baseUrls) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    DashUtil::throwIfTrue(mpd == nullptr || mpd->GetPeriods().empty() || mpd->GetPeriods().front() == nullptr,
                          FAIL_INVALID_MPD, "Unknown reason");
    // Only the first Period is used.
    const mpd::IPeriod& period = *mpd->GetPeriods().front();
    const std::vector<mpd::IBaseUrl*> periodUrls = DashUtil::addBaseURLs(baseUrls, period.GetBaseURLs());
    std::vector<DashContentProtection> protections;
    for (const mpd::IAdaptationSet* adaptationSet : period.GetAdaptationSets()) {
        if (adaptationSet == nullptr) {
            continue;
        }
        const std::vector<mpd::IBaseUrl*> urls = DashUtil::addBaseURLs(periodUrls, adaptationSet->GetBaseURLs());
        bool setProtectionsTaken = false;
        for (const mpd::IRepresentation* representation : adaptationSet->GetRepresentation()) {
            DashUtil::throwIfTrue(representation == nullptr, FAIL_INVALID_REP, "Unknown reason");
            if (adaptationSet->GetMimeType() != mMimeType && representation->GetMimeType() != mMimeType) {
                continue;
            }
            if (!setProtectionsTaken) {
                addContentProtections(protections, adaptationSet->GetContentProtection());
                setProtectionsTaken = true;
            }
            addContentProtections(protections, representation->GetContentProtection());
            if (!validRepresentation(*representation, *adaptationSet, mMimeType)) {
                continue;
            }
            auto known = std::find_if(mRepresentations.begin(), mRepresentations.end(),
                                      [&](const std::shared_ptr<IDashRepresentation>& r) {
                                          return r->getData()->id == representation->GetId();
                                      });
            if (known != mRepresentations.end()) {
                // Updated in place: the current representation stays current.
                (*known)->initRepresentation(mpd, *adaptationSet, *representation, urls);
                mSourceMpds[known->get()] = mpd;
                continue;
            }
            std::shared_ptr<IDashRepresentation> created =
                mFactory->createDashRepresentation(mpd, *adaptationSet, *representation, urls, mLocation);
            if (created == nullptr) {
                ZUN_LOG(0, "Representation %s could not be made, skipped", representation->GetId().c_str());
                continue;
            }
            mRepresentations.push_back(created);
            mSourceMpds[created.get()] = mpd;
        }
    }
    DashUtil::throwIfTrue(mRepresentations.empty(), FAIL_INVALID_REP, "No representation");
    mMpd = mpd;
    mContentProtections = std::move(protections);

    std::sort(mRepresentations.begin(), mRepresentations.end(),
              [](const std::shared_ptr<IDashRepresentation>& a, const std::shared_ptr<IDashRepresentation>& b) {
                  const std::shared_ptr<DashRepresentationData> da = a->getData();
                  const std::shared_ptr<DashRepresentationData> db = b->getData();
                  return da->language < db->language ||
                         (da->language == db->language && da->bandwidth < db->bandwidth);
              });

    std::ostringstream available;
    available << "Available representation bandwidth:";
    for (const std::shared_ptr<IDashRepresentation>& r : mRepresentations) {
        available << ' ' << r->getData()->bandwidth << " id:" << r->getData()->id;
    }
    ZUN_LOG(0, "%s", available.str().c_str());

    if (mCurrentRepresentation == nullptr) {
        DashAbrAdjustment first;
        first.action = DashAbrAdjustment::ABR_NONE;
        changeRepresentation(first);
        if (mMimeType == kAudio) {
            for (const std::shared_ptr<IDashRepresentation>& r : mRepresentations) {
                if (r->getData()->language == mLanguage) {
                    mCurrentRepresentation = r;
                    break;
                }
            }
        }
    }
}

void DashAdaptationSet::changeRepresentation(DashAbrAdjustment adjustment) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    const uint32_t kind = static_cast<uint32_t>(adjustment.action);
    const uint32_t recommended = nonNegative(adjustment.bandwidth);
    switch (kind) {
        case 0:
            mCurrentRepresentation = mRepresentations.front();
            break;
        case 1:
        case 3: {
            std::shared_ptr<IDashRepresentation> chosen = mRepresentations.front();
            for (auto it = mRepresentations.rbegin(); it != mRepresentations.rend(); ++it) {
                const std::shared_ptr<DashRepresentationData> data = (*it)->getData();
                if (data->bandwidth <= recommended && (mMimeType == kVideo || data->language == mLanguage)) {
                    chosen = *it;
                    break;
                }
            }
            mCurrentRepresentation = chosen;
            break;
        }
        case 2:
            return;
        case 4:
            mCurrentRepresentation = mRepresentations.back();
            break;
        default:
            DashUtil::throwException(FAIL_UNKNOWN_ERROR, "Unhandled Adjustment");
    }
    const std::shared_ptr<DashRepresentationData> data = mCurrentRepresentation->getData();
    ZUN_LOG(0, "Adjust : %u Estimated bandwidth: %u Resolution : %u Bandwidth : %u", kind, recommended,
            data->resolution, data->bandwidth);
}

std::shared_ptr<IDashRepresentation> DashAdaptationSet::getRepresentation() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mCurrentRepresentation;
}

std::shared_ptr<DashRepresentationData> DashAdaptationSet::getPlayingRepresentation() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mPlayingRepresentation;
}

std::shared_ptr<DashRepresentationData> DashAdaptationSet::getCurrentRepresentation() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mCurrentRepresentation == nullptr ? nullptr : mCurrentRepresentation->getData();
}

const std::string& DashAdaptationSet::getMimeType() const { return mMimeType; }

void DashAdaptationSet::setAbrStrategy(std::function<DashAbrAdjustment(const DashAbrData&)> strategy) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    mAbrStrategy = std::move(strategy);
}

std::vector<std::shared_ptr<IDashRepresentation>> DashAdaptationSet::getRepresentations() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mRepresentations;
}

// --- segment queue, download and seek ---

void DashAdaptationSet::complete(PendingResult& pending, bool value) {
    if (!pending.done) {
        pending.done = true;
        pending.promise.set_value(value);
    }
}

std::future<bool> DashAdaptationSet::downloadNextSegment() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mCurrentSegment != nullptr) {
        // The previous download was never processed; it is given up.
        ZUN_LOG(0, "Unprocessed download dropped: %s", mCurrentSegment->GetUrl().c_str());
        dropDownload();
    }
    auto pending = std::make_shared<PendingResult>();
    std::future<bool> future = pending->promise.get_future();

    std::shared_ptr<DashRepresentationData> data = mCurrentRepresentation->getData();
    DashAbrData abr;
    abr.bufferedSegments = static_cast<uint32_t>(mQueue.size());
    abr.currentBandwidth = toInt32(data->bandwidth);
    abr.lastDownloadRate = static_cast<uint32_t>(mDownloadObserver->getLastDownloadRate());
    abr.averageDownloadRate = static_cast<uint32_t>(mDownloadObserver->getAverageHistoricDownloadRate());
    abr.segmentDuration = static_cast<int32_t>(static_cast<uint32_t>(mSegmentDurationMs));
    abr.downloadTime = mDownloadObserver->getLastDownloadTime();
    abr.playbackRate = mPlaybackRate;
    changeRepresentation(mAbrStrategy(abr));

    data = mCurrentRepresentation->getData();
    std::shared_ptr<mpd::ISegment> segment;
    if (!data->hasInitBuffer) {
        segment = mCurrentRepresentation->getInitSegment();
        if (segment == nullptr) {
            ZUN_LOG(0, "No initialization segment... not actually fatal but unusual");
            return downloadNextSegment();
        }
        ZUN_LOG(0, "Init segment:%s", segment->GetUrl().c_str());
    } else if (endOfSegments()) {
        complete(*pending, false);
        setPending(pending);
        return future;
    } else {
        segment = mCurrentRepresentation->getNextSegment(mForward);
        mSegmentStartMs = data->currentSegmentTimeMs;
        mSegmentDurationMs = data->segmentDurationMs;
        if (segment == nullptr) {
            if (!mLive) {
                ZUN_LOG(0, "No Segment in representation");
                DashUtil::throwException(FAIL_INVALID_MPD, "No Segment in representation");
            }
            complete(*pending, false);
            ZUN_LOG(0, "All live segments consumed.");
            setPending(pending);
            return future;
        }
        ZUN_LOG(0, "Fetching url %s segmentStartTime:%llu", segment->GetUrl().c_str(),
                static_cast<unsigned long long>(mSegmentStartMs));
    }

    // The promise is in place before the transfer can report.
    setPending(pending);
    mCurrentSegment = segment;
    segment->AttachDownloadObserver(mDownloadObserver.get());
    if (!segment->StartDownload()) {
        // No transfer will report: handled like a failed download (empty bytes).
        ZUN_LOG(0, "Download could not be started: %s", segment->GetUrl().c_str());
        handleCompleteSegment();
    }
    return future;
}

void DashAdaptationSet::setPending(const std::shared_ptr<PendingResult>& pending) {
    std::lock_guard<std::mutex> lock(mPendingMutex);
    mPendingResult = pending;
}

void DashAdaptationSet::handleCompleteSegment() const {
    std::lock_guard<std::mutex> lock(mPendingMutex);
    if (mPendingResult != nullptr) {
        complete(*mPendingResult, true);
    }
}

void DashAdaptationSet::processCompleteSegment() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mCurrentSegment == nullptr) {
        ZUN_LOG(0, "No finished download to process");
        return;
    }
    std::vector<uint8_t> bytes = mCurrentSegment->GetBytes();
    if (mCurrentSegment->GetState() != dash::network::COMPLETED && !bytes.empty()) {
        // A transfer cut short or stalled: what arrived is not the segment.
        ZUN_LOG(0, "Segment download failed after %zu bytes, the bytes are dropped", bytes.size());
        bytes.clear();
    }
    mCurrentSegment.reset();  // joins the finished transfer; no download in flight any more

    const std::shared_ptr<DashRepresentationData> data = mCurrentRepresentation->getData();
    if (!data->hasInitBuffer) {
        mCurrentRepresentation->setInitBuffer(bytes);
        mDiscardNext = false;
        return;
    }
    DashQueuedSegment segment;
    segment.representation = data;
    segment.data = std::move(bytes);
    segment.resolution = data->resolution;
    segment.bandwidth = data->bandwidth;
    segment.posMs = mSegmentStartMs;
    segment.durationMs = mSegmentDurationMs;
    if (segment.data.empty()) {
        ZUN_LOG(0, "Segment is empty! Segment can't be empty, possible connection issue.");
        DashUtil::throwIfTrue(!mDiscardNext, FAIL_BAD_CONNECTION, "Empty segment.");
        mDiscardNext = false;
        return;
    }
    const uint64_t posMs = segment.posMs;
    pushDashQueueSegment(std::move(segment));
    if (mLocation->endReached) {
        ZUN_LOG(0, "Dash download completed %s, %zd segments remain in buffer just pushed %llu", mMimeType.c_str(),
                static_cast<ssize_t>(mQueue.size()), static_cast<unsigned long long>(posMs));
    } else {
        ZUN_LOG(0, "Dash segment queue: %zd segment in buffer just pushed %llu", static_cast<ssize_t>(mQueue.size()),
                static_cast<unsigned long long>(posMs));
    }
}

void DashAdaptationSet::pushDashQueueSegment(DashQueuedSegment segment) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mDiscardNext) {
        ZUN_LOG(0, "Discarding segment at posMs: %llu", static_cast<unsigned long long>(segment.posMs));
        mDiscardNext = false;
        return;
    }
    if (mQueue.empty() || mQueue.back().posMs < segment.posMs) {
        mQueue.push_back(std::move(segment));
    } else {
        mQueue.push_front(std::move(segment));
    }
    if (mSegmentReadyCallback) {
        mSegmentReadyCallback(static_cast<int>(std::min<size_t>(mQueue.size(), std::numeric_limits<int>::max())));
    }
}

bool DashAdaptationSet::getBufferedSegment(DashQueuedSegment& segment) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mQueue.empty()) {
        ZUN_LOG(0, "No queued segments");
        return false;
    }
    if (mForward) {
        segment = std::move(mQueue.front());
        mQueue.pop_front();
    } else {
        segment = std::move(mQueue.back());
        mQueue.pop_back();
    }
    mLastPositionMs = segment.posMs;
    mDelivered = true;
    mPlayingRepresentation = segment.representation;
    return true;
}

bool DashAdaptationSet::endOfSegments() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mCurrentSegment != nullptr) {
        return false;
    }
    return mForward ? mLocation->endReached : mLocation->beginReached;
}

size_t DashAdaptationSet::getNumberOfBufferedSegments() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mQueue.size();
}

uint64_t DashAdaptationSet::seek(uint64_t positionMs) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    const unsigned long long position = positionMs;
    mLastPositionMs = positionMs;
    bool cleared = false;
    if (!mQueue.empty()) {
        const DashQueuedSegment& back = mQueue.back();
        if (positionMs < mQueue.front().posMs) {
            ZUN_LOG(0, "Seeking on %s to position %llu, seeking backwards. Remove all segments", mMimeType.c_str(),
                    position);
            mQueue.clear();
            cleared = true;
        } else if (positionMs >= back.posMs + back.durationMs) {
            ZUN_LOG(0, "Seeking on %s to position %llu, seeking forwards. Remove all segments", mMimeType.c_str(),
                    position);
            mQueue.clear();
            cleared = true;
        }
    }
    if (!mQueue.empty()) {
        // The target is within the cache: drop what lies before it in the playing direction.
        uint64_t dropped = 0;
        if (mForward) {
            while (!mQueue.empty() && mQueue.front().posMs + mQueue.front().durationMs < positionMs) {
                dropped = mQueue.front().posMs + mQueue.front().durationMs;
                mQueue.pop_front();
            }
        } else {
            while (!mQueue.empty() && mQueue.back().posMs > positionMs) {
                dropped = mQueue.back().posMs;
                mQueue.pop_back();
            }
        }
        if (mQueue.empty()) {
            ZUN_LOG(0, "Was seeking on %s within segments, but no segments remain... THIS IS A BUG!", mMimeType.c_str());
            return dropped;
        }
        ZUN_LOG(0, "Seeking on %s within cache to position %llu, New front is %llu", mMimeType.c_str(), position,
                static_cast<unsigned long long>(mQueue.front().posMs));
        return mQueue.front().posMs;
    }
    if (mCurrentSegment == nullptr) {
        if (!cleared) {
            ZUN_LOG(0, "Seeking on %s to position %llu, No queued segments", mMimeType.c_str(), position);
        }
        return mCurrentRepresentation->seek(positionMs);
    }
    if (!mDiscardNext && mSegmentStartMs <= positionMs && positionMs < mSegmentStartMs + mSegmentDurationMs) {
        ZUN_LOG(0, "Seeking on %s to segment at position %llu that is downloading already", mMimeType.c_str(),
                position);
        return positionMs;
    }
    if (!cleared) {
        ZUN_LOG(0, "Seeking on %s to position %llu, No queued segments", mMimeType.c_str(), position);
    }
    mDiscardNext = true;
    return mCurrentRepresentation->seek(positionMs);
}

bool DashAdaptationSet::findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mCurrentRepresentation->findSegmentPosition(positionMs, segmentDurationMs);
}

void DashAdaptationSet::setTrickMode(int rate) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (rate != 0) {
        mPlaybackRate = rate;
    }
    const bool forward = rate >= 0;
    if (forward == mForward) {
        return;
    }
    mForward = forward;
    if (mCurrentSegment != nullptr) {
        mDiscardNext = true;
    }
    mQueue.clear();
    if (mDelivered) {
        seek(mLastPositionMs);
        // One step past the segment handed out last; the segment itself is not wanted.
        mCurrentRepresentation->getNextSegment(true);
    }
}

void DashAdaptationSet::setSegmentReadyCallback(std::function<void(int)> callback) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    mSegmentReadyCallback = std::move(callback);
}


std::vector<DashContentProtection> DashAdaptationSet::getContentProtections() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mContentProtections;
}

int32_t DashAdaptationSet::getLastDownloadRate() const {
    // The observer's figures are atomics: no lock needed.
    return mDownloadObserver != nullptr ? mDownloadObserver->getLastDownloadRate() : 0;
}

void DashAdaptationSet::addContentProtections(std::vector<DashContentProtection>& protections,
                                              const std::vector<mpd::IDescriptor*>& descriptors) {
    for (const mpd::IDescriptor* descriptor : descriptors) {
        if (descriptor == nullptr) {
            continue;
        }
        DashContentProtection record = DashContentProtection::fromDescriptor(*descriptor);
        const bool known = std::any_of(protections.begin(), protections.end(), [&](const DashContentProtection& p) {
            return p.schemeIdUri == record.schemeIdUri && p.value == record.value && p.defaultKid == record.defaultKid &&
                   p.pssh == record.pssh && p.pro == record.pro;
        });
        if (!known) {
            protections.push_back(std::move(record));
        }
    }
}

}  // namespace dash
