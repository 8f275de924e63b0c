#pragma once

#include <vector>

#include "manifest/mpd/ITimeline.h"

namespace dash {
namespace mpd {

// A SegmentTimeline element: its S entries in document order.
class ISegmentTimeline {
public:
    virtual ~ISegmentTimeline() {}
    virtual const std::vector<ITimeline*>& GetTimelines() const = 0;
};

}  // namespace mpd
}  // namespace dash
