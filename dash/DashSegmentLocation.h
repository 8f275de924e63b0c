#pragma once

#include <cstdint>
#include <set>

#include "dash/DashTimelineItem.h"

namespace dash {

// The playing position of one adaptation set, shared by all its representations so that a switch
// of representation continues at the same place. Written only by the representation current at
// the time, under the adaptation set's lock.
struct DashSegmentLocation {
    uint64_t segmentNumber = 0;  // 0-based segment index (list and template schemes)
    // Start of the position: ms for the list and template schemes, timescale units for the
    // timeline scheme (where it, not segmentNumber, is the position).
    uint64_t segmentTime = 0;
    std::set<DashTimelineItem> timeline;  // the expanded SegmentTimeline of the timeline scheme
    bool endReached = false;    // the position has passed the last segment
    bool beginReached = false;  // the position has gone before the first segment (rewinding)
};

}  // namespace dash
