#include "dash/DashSegmentList.h"

#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashSegmentList")

namespace dash {

DashSegmentList::DashSegmentList(std::shared_ptr<DashSegmentLocation> location)
    : AbstractDashRepresentationCommonSeek(std::move(location)), mSegmentList(nullptr) {}

void DashSegmentList::initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                                         const mpd::IRepresentation& representation,
                                         const std::vector<mpd::IBaseUrl*>& baseUrls) {
    AbstractDashRepresentation::initRepresentation(mpd, adaptationSet, representation, baseUrls);
    DashUtil::throwIfTrue(mLive, FEATURE_NOT_SUPPORTED, "Unknown reason");
    mSegmentList = representation.GetSegmentList();
    DashUtil::throwIfTrue(mSegmentList == nullptr, FAIL_INVALID_REP, "Unknown reason");
    DashUtil::throwIfTrue(mSegmentList->GetSegmentURLs().empty(), FAIL_INVALID_REP, "SegmentList without SegmentURL");

    mData->totalSegments = mSegmentList->GetSegmentURLs().size();
    mLocation->segmentNumber = 0;

    const uint32_t duration = mSegmentList->GetDuration() != 0 ? mSegmentList->GetDuration() : kDefaultDuration;
    mData->segmentDurationMs = DashUtil::convertScaledTimeToMs(duration, mSegmentList->GetTimescale());
    mData->totalDurationMs = DashUtil::saturatingMultiply(mData->totalSegments, mData->segmentDurationMs);
    mData->firstSegmentTimeMs = 0;
    mData->lastSegmentTimeMs = mData->totalDurationMs - mData->segmentDurationMs;
}

std::shared_ptr<mpd::ISegment> DashSegmentList::getInitSegment() const {
    DashUtil::throwIfTrue(mSegmentList == nullptr || mSegmentList->GetInitialization() == nullptr, FAIL_INVALID_REP,
                          "SegmentList without Initialization");
    return std::shared_ptr<mpd::ISegment>(mSegmentList->GetInitialization()->ToSegment(mData->baseUrls));
}

std::shared_ptr<mpd::ISegment> DashSegmentList::getNextSegment(bool forward) {
    DashUtil::throwIfTrue(mSegmentList == nullptr, FAIL_INVALID_REP, "Unknown reason");
    const uint64_t index = mLocation->segmentNumber;
    const mpd::ISegmentURL* url = mSegmentList->GetSegmentURLs().at(index);
    std::shared_ptr<mpd::ISegment> segment(url != nullptr ? url->ToMediaSegment(mData->baseUrls) : nullptr);
    stepFrom(index, forward);
    updateRepData(segment.get());
    return segment;
}

SeekPosition DashSegmentList::findSegmentNumber(uint64_t& positionMs, uint64_t& segmentNumber,
                                                uint64_t& segmentDurationMs) const {
    return findFixedDurationSegment(positionMs, segmentNumber, segmentDurationMs);
}

}  // namespace dash
