#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IRepresentationBase.h"
#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/ISegmentList.h"
#include "manifest/mpd/ISegmentTemplate.h"

namespace dash {
namespace mpd {

// A Representation element (ISO/IEC 23009-1 5.3.5). Owned by the MPD object. The common
// attributes of IRepresentationBase (width, height, frameRate, audioSamplingRate, mimeType,
// codecs, sar) read the Representation's own value, else the AdaptationSet's (5.3.7).
class IRepresentation : public IRepresentationBase {
public:
    virtual const std::string& GetId() const = 0;  // empty when absent
    virtual uint32_t GetBandwidth() const = 0;     // bits per second; 0 when absent
    virtual const std::vector<std::string>& GetDependencyId() const = 0;
    virtual const std::vector<IBaseUrl*>& GetBaseURLs() const = 0;
    // Segment information written on this Representation, merged with that of the enclosing
    // AdaptationSet and Period (5.3.9.1); null when this Representation has no such element.
    virtual const ISegmentBase* GetSegmentBase() const = 0;
    virtual const ISegmentList* GetSegmentList() const = 0;
    virtual const ISegmentTemplate* GetSegmentTemplate() const = 0;
};

}  // namespace mpd
}  // namespace dash
