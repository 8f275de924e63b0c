#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMultipleSegmentBase.h"
#include "manifest/mpd/ISegment.h"

namespace dash {
namespace mpd {

// A SegmentTemplate element (ISO/IEC 23009-1 5.3.9.4).
//
// The segment-producing calls expand the template identifiers of 5.3.9.4.4: $RepresentationID$,
// $Bandwidth$, $Number$, $Time$, $SubNumber$ (as 0) and $$, each numeric one with an optional
// printf format tag such as $Number%05d$. They return a new segment owned by the caller, or null
// (with a log line) when the template is absent or cannot be expanded (an unknown or unterminated
// identifier, or an identifier whose value is not known for that call). When a media template
// carries both $Number$ and $Time$, the missing one of the two is worked out from the
// SegmentTimeline (number = startNumber + index of the S entry that covers the time).
class ISegmentTemplate : public IMultipleSegmentBase {
public:
    virtual const std::string& GetMediaTemplate() const = 0;               // @media
    virtual const std::string& GetInitializationTemplate() const = 0;      // @initialization
    virtual const std::string& GetIndexTemplate() const = 0;               // @index
    virtual const std::string& GetBitstreamSwitchingTemplate() const = 0;  // @bitstreamSwitching

    virtual ISegment* ToInitializationSegment(const std::vector<IBaseUrl*>& baseUrls,
                                              const std::string& representationID,
                                              uint32_t bandwidth) const = 0;
    virtual ISegment* ToBitstreamSwitchingSegment(const std::vector<IBaseUrl*>& baseUrls,
                                                  const std::string& representationID,
                                                  uint32_t bandwidth) const = 0;
    // `number` is the value put into $Number$ (startNumber already added by the caller).
    virtual ISegment* GetMediaSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                                const std::string& representationID,
                                                uint32_t bandwidth, uint64_t number) const = 0;
    virtual ISegment* GetIndexSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                                const std::string& representationID,
                                                uint32_t bandwidth, uint64_t number) const = 0;
    // `time` is the value put into $Time$, in timescale units.
    virtual ISegment* GetMediaSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                              const std::string& representationID,
                                              uint32_t bandwidth, uint64_t time) const = 0;
    virtual ISegment* GetIndexSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                              const std::string& representationID,
                                              uint32_t bandwidth, uint64_t time) const = 0;
};

}  // namespace mpd
}  // namespace dash
