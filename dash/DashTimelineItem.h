#pragma once

#include <cstdint>

namespace dash {

// One expanded entry of a SegmentTimeline (ISO/IEC 23009-1, 5.3.9.6), in the timescale of its
// representation. Kept in a std::set ordered by startTime alone: two items with one start time
// cannot both be in the set.
struct DashTimelineItem {
    uint64_t startTime = 0;  // timescale units
    uint32_t reserved = 0;   // always 0
    uint32_t duration = 0;   // timescale units

    bool operator<(const DashTimelineItem& other) const { return startTime < other.startTime; }
};

}  // namespace dash
