#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"

namespace dash {

// What a representation knows about itself; handed out by shared pointer so that the adaptation
// set and queued segments read it without copying. Times are ms on the presentation time line.
struct DashRepresentationData {
    std::string id;                          // Representation@id
    std::vector<mpd::IBaseUrl*> baseUrls;    // base URLs in force (owned by the MPD object)
    uint64_t totalSegments = 0;              // segments in the list (1 for SegmentBase)
    uint64_t firstSegmentTimeMs = 0;         // start of the first available segment
    uint64_t lastSegmentTimeMs = 0;          // start of the last available segment
    uint32_t resolution = 0;                 // Representation@height, lines
    uint64_t totalDurationMs = 0;            // total duration as the scheme reckons it
    uint64_t currentSegmentTimeMs = 0;       // start of the segment last handed out
    uint64_t segmentDurationMs = 0;          // one segment (timeline: the one last handed out)
    uint32_t bandwidth = 0;                  // Representation@bandwidth, bits per second
    std::vector<uint8_t> initBuffer;         // the downloaded initialisation segment
    bool hasInitBuffer = false;              // initBuffer has been set
    std::string language = "eng";            // AdaptationSet@lang, "eng" when absent or empty
};

}  // namespace dash
