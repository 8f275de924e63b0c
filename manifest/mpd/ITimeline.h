#pragma once

#include <cstdint>

namespace dash {
namespace mpd {

// One S element of a SegmentTimeline (ISO/IEC 23009-1 5.3.9.6), values as written, in the
// timescale of the enclosing SegmentList or SegmentTemplate.
class ITimeline {
public:
    virtual ~ITimeline() {}
    // @t; 0 when absent (HasStartTime tells the two apart).
    virtual uint64_t GetStartTime() const = 0;
    virtual bool HasStartTime() const = 0;
    // @d (always > 0: S elements without a usable @d are dropped by the parser).
    virtual uint64_t GetDuration() const = 0;
    // @r; 0 when absent, -1 for "repeat until the next S or the end of the Period".
    virtual int32_t GetRepeatCount() const = 0;
};

}  // namespace mpd
}  // namespace dash
