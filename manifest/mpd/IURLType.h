#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/ISegment.h"

namespace dash {
namespace mpd {

// A URLType element: Initialization, RepresentationIndex or BitstreamSwitching of a
// SegmentBase, SegmentList or SegmentTemplate (ISO/IEC 23009-1 5.3.9.2.2).
class IURLType {
public:
    virtual ~IURLType() {}
    // @sourceURL as written; empty when absent (the request then goes to the base URL itself).
    virtual const std::string& GetSourceURL() const = 0;
    // @range ("first-last"), empty when absent.
    virtual const std::string& GetRange() const = 0;
    // A new segment for this element, resolved against `baseUrls` (the effective list, outermost
    // first) and the MPD location. The caller owns the result.
    virtual ISegment* ToSegment(const std::vector<IBaseUrl*>& baseUrls) const = 0;
};

}  // namespace mpd
}  // namespace dash
