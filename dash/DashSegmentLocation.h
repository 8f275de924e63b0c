#pragma once

#include <cstdint>
#include <set>
#include <vector>

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
    // Search index of `timeline`, rebuilt by the timeline scheme whenever it replaces the timeline:
    // per item in start order, its start and duration and the largest item end up to it.
    struct Reach {
        uint64_t startTime;
        uint64_t reach;
        uint32_t duration;
    };
    std::vector<Reach> timelineIndex;
    bool endReached = false;    // the position has passed the last segment
    bool beginReached = false;  // the position has gone before the first segment (rewinding)
};

}  // namespace dash
