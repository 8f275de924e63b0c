#include "dash/DashSegmentBase.h"

#include <iostream>
#include <string>

#include "dash/DashUtil.h"
#include "manifest/mpd/Segment.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashSegmentBase")

namespace dash {

DashSegmentBase::DashSegmentBase(std::shared_ptr<DashSegmentLocation> location)
    : AbstractDashRepresentation(std::move(location)), mSegmentBase(nullptr) {}

void DashSegmentBase::initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                                         const mpd::IRepresentation& representation,
                                         const std::vector<mpd::IBaseUrl*>& baseUrls) {
    AbstractDashRepresentation::initRepresentation(mpd, adaptationSet, representation, baseUrls);
    DashUtil::throwIfTrue(mLive, FEATURE_NOT_SUPPORTED, "Unknown reason");
    mSegmentBase = representation.GetSegmentBase();
    mData->totalSegments = 1;
    mData->totalDurationMs = 1;
}

std::shared_ptr<mpd::ISegment> DashSegmentBase::getInitSegment() const {
    DashUtil::throwIfTrue(mSegmentBase == nullptr || mSegmentBase->GetInitialization() == nullptr, FAIL_INVALID_REP,
                          "SegmentBase without Initialization");
    return std::shared_ptr<mpd::ISegment>(mSegmentBase->GetInitialization()->ToSegment(mData->baseUrls));
}

std::shared_ptr<mpd::ISegment> DashSegmentBase::getNextSegment(bool /*forward*/) {
    std::string range;
    if (mSegmentBase != nullptr) {
        const std::string& indexRange = mSegmentBase->GetIndexRange();
        const size_t hyphen = indexRange.find('-');
        if (hyphen != std::string::npos) {
            range = indexRange.substr(0, hyphen + 1);
        }
    }
    std::cout << "Range" << range << std::endl;

    std::shared_ptr<mpd::Segment> segment = std::make_shared<mpd::Segment>();
    const bool made = segment->Init(mData->baseUrls, "", range, mpd::TransactionType::MediaSegment);
    mLocation->endReached = true;
    if (!made) {
        ZUN_LOG(0, "No URL for the media of representation %s", mData->id.c_str());
        return nullptr;
    }
    return segment;
}

uint64_t DashSegmentBase::seek(uint64_t /*positionMs*/) {
    DashUtil::throwException(FEATURE_NOT_SUPPORTED, "Unknown reason");
}

bool DashSegmentBase::findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) {
    positionMs = 0;
    segmentDurationMs = mData->totalDurationMs;
    return true;
}

}  // namespace dash
