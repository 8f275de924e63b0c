#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IDescriptor.h"
#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/ISegmentList.h"
#include "manifest/mpd/ISegmentTemplate.h"

namespace dash {
namespace mpd {

// A Representation element (ISO/IEC 23009-1 5.3.5). Owned by the MPD object. The common
// attributes (width, height, frameRate, audioSamplingRate, mimeType, codecs, sar) read the
// Representation's own value, else the AdaptationSet's (5.3.7).
class IRepresentation {
public:
    virtual ~IRepresentation() {}
    virtual const std::string& GetId() const = 0;  // empty when absent
    virtual uint32_t GetBandwidth() const = 0;     // bits per second; 0 when absent
    virtual uint32_t GetWidth() const = 0;         // 0 when absent at both levels
    virtual uint32_t GetHeight() const = 0;        // 0 when absent at both levels
    virtual const std::string& GetFrameRate() const = 0;          // "25", "30000/1001"
    virtual const std::string& GetAudioSamplingRate() const = 0;  // "48000"
    virtual const std::string& GetMimeType() const = 0;
    virtual const std::string& GetCodecs() const = 0;
    virtual const std::string& GetSar() const = 0;
    virtual const std::vector<std::string>& GetDependencyId() const = 0;
    virtual const std::vector<IBaseUrl*>& GetBaseURLs() const = 0;
    virtual const std::vector<IDescriptor*>& GetContentProtection() const = 0;
    virtual const std::vector<IDescriptor*>& GetEssentialProperty() const = 0;
    virtual const std::vector<IDescriptor*>& GetSupplementalProperty() const = 0;
    virtual const std::vector<IDescriptor*>& GetAudioChannelConfiguration() const = 0;
    // Segment information written on this Representation, merged with that of the enclosing
    // AdaptationSet and Period (5.3.9.1); null when this Representation has no such element.
    virtual const ISegmentBase* GetSegmentBase() const = 0;
    virtual const ISegmentList* GetSegmentList() const = 0;
    virtual const ISegmentTemplate* GetSegmentTemplate() const = 0;
};

}  // namespace mpd
}  // namespace dash
