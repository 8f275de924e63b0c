#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/DashRepresentationData.h"

namespace dash {

// A downloaded media segment waiting in its adaptation set's queue.
struct DashQueuedSegment {
    std::shared_ptr<DashRepresentationData> representation;  // its initBuffer precedes `data`
    std::vector<uint8_t> data;                               // the segment's bytes
    uint32_t resolution = 0;  // representation's height (lines) when the segment was queued
    uint32_t bandwidth = 0;   // representation's bandwidth (bits per second) when queued
    uint64_t posMs = 0;       // start on the presentation time line, ms
    uint64_t durationMs = 0;  // ms
};

}  // namespace dash
