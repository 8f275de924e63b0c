#pragma once

#include <cstdint>
#include <string>

#include "manifest/mpd/IURLType.h"

namespace dash {
namespace mpd {

// SegmentBase information (ISO/IEC 23009-1 5.3.9.2). Also the common part of SegmentList and
// SegmentTemplate. Values absent at this level are inherited from the element of the same kind
// at the enclosing AdaptationSet / Period (5.3.9.1); what is absent everywhere reads as the
// schema default.
class ISegmentBase {
public:
    virtual ~ISegmentBase() {}
    // @timescale in units per second; 1 when absent (a written 0 is refused and reads 1).
    virtual uint32_t GetTimescale() const = 0;
    // @presentationTimeOffset in timescale units; 0 when absent.
    virtual uint64_t GetPresentationTimeOffset() const = 0;
    // @indexRange ("first-last"), empty when absent.
    virtual const std::string& GetIndexRange() const = 0;
    virtual bool IsIndexRangeExact() const = 0;
    // @availabilityTimeOffset as written ("INF" is legal), empty when absent.
    virtual const std::string& GetAvailabilityTimeOffset() const = 0;
    // Initialization and RepresentationIndex elements; null when absent.
    virtual const IURLType* GetInitialization() const = 0;
    virtual const IURLType* GetRepresentationIndex() const = 0;
};

}  // namespace mpd
}  // namespace dash
