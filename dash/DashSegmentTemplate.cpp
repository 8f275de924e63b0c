#include "dash/DashSegmentTemplate.h"

#include <cmath>
#include <limits>

#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashSegmentTemplate")

namespace dash {

DashSegmentTemplate::DashSegmentTemplate(std::shared_ptr<DashSegmentLocation> location)
    : AbstractDashRepresentationCommonSeek(std::move(location)),
      mSegmentTemplate(nullptr),
      mFirstSegment(0),
      mLastSegment(0) {}

void DashSegmentTemplate::initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                                             const mpd::IRepresentation& representation,
                                             const std::vector<mpd::IBaseUrl*>& baseUrls) {
    AbstractDashRepresentation::initRepresentation(mpd, adaptationSet, representation, baseUrls);
    mSegmentTemplate = DashUtil::getSegmentTemplate(mpd, adaptationSet, representation);
    DashUtil::throwIfTrue(mSegmentTemplate == nullptr, FAIL_INVALID_REP, "No segment template");

    const uint32_t duration = mSegmentTemplate->GetDuration();
    const uint32_t timescale = mSegmentTemplate->GetTimescale();
    DashUtil::throwIfTrue(duration == 0, FAIL_INVALID_REP, "Segment template without duration");
    DashUtil::throwIfTrue(timescale == 0, FAIL_INVALID_REP, "Timescale is 0");
    // Both at least 1, so segmentMs is positive and finite.
    const double segmentSeconds = static_cast<double>(duration) / static_cast<double>(timescale);
    const double segmentMs = segmentSeconds * 1000.0;

    uint64_t presentationMs = 0;
    uint64_t first = 0;
    uint64_t last = 0;
    if (mLive) {
        const int64_t publishMs = DashUtil::getPublishTime(mpd);
        const uint64_t availabilityMs = DashUtil::getAvailabilityStartTime(mpd);
        DashUtil::throwIfTrue(publishMs < 0 || static_cast<uint64_t>(publishMs) < availabilityMs, FAIL_INVALID_MPD,
                              "Publish time before availability start time");
        const uint64_t elapsedMs = static_cast<uint64_t>(publishMs) - availabilityMs;
        const std::string& depth = mpd->GetTimeShiftBufferDepth();
        if (depth.empty()) {
            presentationMs = elapsedMs;
            first = 0;
        } else {
            presentationMs = DashUtil::convertISO8601DurationToMs(depth);
            const uint64_t windowEnd = DashUtil::saturatingAdd(elapsedMs, DashUtil::getUpdatePeriodMs(mpd));
            const uint64_t windowStart = windowEnd > presentationMs ? windowEnd - presentationMs : 0;
            first = DashUtil::saturatingToU64(static_cast<double>(windowStart) / segmentMs);
        }
        last = DashUtil::saturatingToU64(std::floor(static_cast<double>(elapsedMs) / segmentMs) - 1.0);
    } else {
        const std::string& mediaDuration = mpd->GetMediaPresentationDuration();
        DashUtil::throwIfTrue(mediaDuration.empty(), FAIL_INVALID_MPD, "No mediaPresentationDuration");
        presentationMs = DashUtil::convertISO8601DurationToMs(mediaDuration);
        first = 0;
        last = DashUtil::saturatingToU64(static_cast<double>(presentationMs) / segmentMs - 1.0);
    }
    mFirstSegment = first;
    mLastSegment = last;
    mData->totalSegments = DashUtil::saturatingToU64(std::ceil(static_cast<double>(presentationMs) / segmentSeconds / 1000.0));
    mData->totalDurationMs = presentationMs;
    mData->firstSegmentTimeMs = DashUtil::saturatingToU64(static_cast<double>(mFirstSegment) * segmentMs);
    mData->lastSegmentTimeMs = DashUtil::saturatingToU64(static_cast<double>(mLastSegment) * segmentMs);

    if (mLocation->segmentNumber == 0) {
        if (mLive) {
            mLocation->segmentNumber = mFirstSegment;
        }
    } else if (mLocation->segmentNumber < mFirstSegment) {
        mLocation->segmentNumber = mFirstSegment;
    }
    mData->segmentDurationMs = DashUtil::convertScaledTimeToMs(duration, timescale);

    ZUN_LOG(0,
            "DashSegmentTemplate currentSegment = %llu, firstSegment = %llu(%llums) lastSegment = %llu "
            "totalSegments = %llu",
            static_cast<unsigned long long>(mLocation->segmentNumber), static_cast<unsigned long long>(mFirstSegment),
            static_cast<unsigned long long>(mData->firstSegmentTimeMs), static_cast<unsigned long long>(mLastSegment),
            static_cast<unsigned long long>(mData->totalSegments));
}

std::shared_ptr<mpd::ISegment> DashSegmentTemplate::getInitSegment() const {
    if (mSegmentTemplate == nullptr) {
        return nullptr;
    }
    return std::shared_ptr<mpd::ISegment>(
        mSegmentTemplate->ToInitializationSegment(mData->baseUrls, mData->id, mData->bandwidth));
}

std::shared_ptr<mpd::ISegment> DashSegmentTemplate::getNextSegment(bool forward) {
    const uint64_t index = mLocation->segmentNumber;
    std::shared_ptr<mpd::ISegment> segment;
    const uint64_t startNumber = mSegmentTemplate != nullptr ? mSegmentTemplate->GetStartNumber() : 0;
    if (mSegmentTemplate != nullptr && index >= mFirstSegment && index <= mLastSegment &&
        index <= std::numeric_limits<uint64_t>::max() - startNumber) {
        segment.reset(mSegmentTemplate->GetMediaSegmentFromNumber(mData->baseUrls, mData->id, mData->bandwidth,
                                                                  startNumber + index));
        stepFrom(index, forward);
    }
    updateRepData(segment.get());
    return segment;
}

SeekPosition DashSegmentTemplate::findSegmentNumber(uint64_t& positionMs, uint64_t& segmentNumber,
                                                    uint64_t& segmentDurationMs) const {
    const SeekPosition result = findFixedDurationSegment(positionMs, segmentNumber, segmentDurationMs);
    if (result == BeforeStart) {
        ZUN_LOG(0, "Attempt to seek past beginning of segments");
    } else if (result == PastEnd) {
        ZUN_LOG(0, "Attempt to seek past end of segments");
    }
    return result;
}

}  // namespace dash
