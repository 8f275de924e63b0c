#pragma once

#include <cstdint>

namespace dash {

// Snapshot an adaptation set hands its bit-rate strategy after each downloaded segment.
struct DashAbrData {
    uint32_t bufferedSegments = 0;     // segments of the set now queued
    int32_t currentBandwidth = 0;      // bandwidth of the representation in use, bits per second
    uint32_t lastDownloadRate = 0;     // rate of the last measured segment, bits per second
    uint32_t averageDownloadRate = 0;  // mean of the last rates, bits per second
    int32_t segmentDuration = 0;       // playback duration of the segment just downloaded, ms
    int32_t downloadTime = 0;          // time its download took, ms
    int32_t playbackRate = 1000;       // trick-play rate in thousandths; 1000 is normal speed
};

}  // namespace dash
