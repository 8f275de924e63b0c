#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/ISegment.h"

namespace dash {
namespace mpd {

// A SegmentURL of a SegmentList (ISO/IEC 23009-1 5.3.9.3.2).
class ISegmentURL {
public:
    virtual ~ISegmentURL() {}
    virtual const std::string& GetMediaURI() const = 0;    // @media, empty when absent
    virtual const std::string& GetMediaRange() const = 0;  // @mediaRange, empty when absent
    virtual const std::string& GetIndexURI() const = 0;    // @index
    virtual const std::string& GetIndexRange() const = 0;  // @indexRange
    // New media / index segments resolved against `baseUrls` and the MPD location; caller owns.
    virtual ISegment* ToMediaSegment(const std::vector<IBaseUrl*>& baseUrls) const = 0;
    virtual ISegment* ToIndexSegment(const std::vector<IBaseUrl*>& baseUrls) const = 0;
};

}  // namespace mpd
}  // namespace dash
