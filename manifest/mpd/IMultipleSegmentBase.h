#pragma once

#include <cstdint>

#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/ISegmentTimeline.h"

namespace dash {
namespace mpd {

// The part shared by SegmentList and SegmentTemplate (ISO/IEC 23009-1 5.3.9.2.1).
class IMultipleSegmentBase : public ISegmentBase {
public:
    // @duration in timescale units; 0 when absent.
    virtual uint32_t GetDuration() const = 0;
    // @startNumber; 1 when absent.
    virtual uint32_t GetStartNumber() const = 0;
    // SegmentTimeline child; null when absent.
    virtual const ISegmentTimeline* GetSegmentTimeline() const = 0;
    // BitstreamSwitching child; null when absent.
    virtual const IURLType* GetBitstreamSwitching() const = 0;
};

}  // namespace mpd
}  // namespace dash
