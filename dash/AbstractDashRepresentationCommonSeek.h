#pragma once

#include <cstdint>
#include <memory>

#include "dash/AbstractDashRepresentation.h"
#include "dash/SeekPosition.h"

namespace dash {

// Seeking for the schemes that address segments by number (SegmentList, SegmentTemplate): both
// operations run the scheme's findSegmentNumber, which clamps a time into the available segments.
//
// seek moves the shared cursor's segmentNumber and flags the ends: before the first segment sets
// beginReached (live or not); past the last sets endReached only on demand, because a live edge
// moves on with the next MPD refresh. findSegmentPosition touches neither the cursor nor its flags.
class AbstractDashRepresentationCommonSeek : public AbstractDashRepresentation {
public:
    explicit AbstractDashRepresentationCommonSeek(std::shared_ptr<DashSegmentLocation> location);

    // Returns the start (ms) of the segment reached, also when clamped to either end.
    uint64_t seek(uint64_t positionMs) override;
    // True when positionMs lies within the available segments; positionMs and segmentDurationMs
    // describe the (clamped) segment in every case.
    bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) override;

    // Moves positionMs to the start of the segment holding it and writes that segment's number and
    // duration (ms): BeforeStart (clamped to the first segment) before firstSegmentTimeMs, PastEnd
    // (clamped to the last segment) at or after the end of the last segment, else InRange. Pure.
    virtual SeekPosition findSegmentNumber(uint64_t& positionMs, uint64_t& segmentNumber,
                                           uint64_t& segmentDurationMs) const = 0;

protected:
    // The search of findSegmentNumber for segments of one fixed duration (segmentDurationMs)
    // between firstSegmentTimeMs and the end of the segment at lastSegmentTimeMs. A time inside the
    // last segment is InRange. Before initRepresentation (duration 0) it answers the first segment.
    SeekPosition findFixedDurationSegment(uint64_t& positionMs, uint64_t& segmentNumber,
                                          uint64_t& segmentDurationMs) const;
    // After the segment of number `index` was handed out: its start becomes currentSegmentTimeMs and
    // the cursor steps one segment forward or back (segmentNumber and its start segmentTime, ms).
    void stepFrom(uint64_t index, bool forward);
};

}  // namespace dash
