#include "dash/AbstractDashRepresentationCommonSeek.h"

#include "dash/DashUtil.h"
#include "platform/zun_log.h"

// The seek logs belong to the representation base's log source.
ZUN_LOG_SOURCE("dash/AbstractDashRepresentation")

namespace dash {

AbstractDashRepresentationCommonSeek::AbstractDashRepresentationCommonSeek(
    std::shared_ptr<DashSegmentLocation> location)
    : AbstractDashRepresentation(std::move(location)) {}

uint64_t AbstractDashRepresentationCommonSeek::seek(uint64_t positionMs) {
    mLocation->endReached = false;
    mLocation->beginReached = false;
    uint64_t segmentDurationMs = 0;
    const SeekPosition result = findSegmentNumber(positionMs, mLocation->segmentNumber, segmentDurationMs);
    if (const char* text = markSeekEnd(result)) {
        ZUN_LOG(0, "%s", text);
    }
    return positionMs;
}

bool AbstractDashRepresentationCommonSeek::findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) {
    uint64_t segmentNumber = 0;
    return findSegmentNumber(positionMs, segmentNumber, segmentDurationMs) == InRange;
}

SeekPosition AbstractDashRepresentationCommonSeek::findFixedDurationSegment(uint64_t& positionMs,
                                                                         uint64_t& segmentNumber,
                                                                         uint64_t& segmentDurationMs) const {
    SeekPosition result = InRange;
    if (positionMs < mData->firstSegmentTimeMs) {
        positionMs = mData->firstSegmentTimeMs;
        result = BeforeStart;
    }
    if (positionMs > mData->lastSegmentTimeMs && positionMs - mData->lastSegmentTimeMs >= mData->segmentDurationMs) {
        positionMs = mData->lastSegmentTimeMs;
        result = PastEnd;
    }
    segmentNumber = mData->segmentDurationMs != 0 ? positionMs / mData->segmentDurationMs : 0;
    segmentDurationMs = mData->segmentDurationMs;
    positionMs = segmentNumber * mData->segmentDurationMs;
    return result;
}

void AbstractDashRepresentationCommonSeek::stepFrom(uint64_t index, bool forward) {
    mData->currentSegmentTimeMs = DashUtil::saturatingMultiply(index, mData->segmentDurationMs);
    mLocation->segmentNumber = forward ? index + 1 : index - 1;
    mLocation->segmentTime = DashUtil::saturatingMultiply(mLocation->segmentNumber, mData->segmentDurationMs);
}

}  // namespace dash
