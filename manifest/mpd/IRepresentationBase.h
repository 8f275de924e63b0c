#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IDescriptor.h"

namespace dash {
namespace mpd {

// The attributes and descriptors common to AdaptationSet and Representation, the
// RepresentationBaseType of ISO/IEC 23009-1 5.3.7. On a Representation each attribute reads the
// Representation's own value, else its AdaptationSet's (5.3.7.1); descriptors are those written at
// that level only. Owned by the MPD object like the element that carries it.
class IRepresentationBase {
public:
    virtual ~IRepresentationBase() {}
    virtual uint32_t GetWidth() const = 0;                        // pixels; 0 when absent
    virtual uint32_t GetHeight() const = 0;                       // lines; 0 when absent
    virtual const std::string& GetSar() const = 0;                // "1:1"
    virtual const std::string& GetFrameRate() const = 0;          // "25", "30000/1001"
    virtual const std::string& GetAudioSamplingRate() const = 0;  // "48000"
    virtual const std::string& GetMimeType() const = 0;           // "video/mp4"
    virtual const std::string& GetCodecs() const = 0;             // "avc1.64001f"
    virtual const std::vector<IDescriptor*>& GetContentProtection() const = 0;
    virtual const std::vector<IDescriptor*>& GetEssentialProperty() const = 0;
    virtual const std::vector<IDescriptor*>& GetSupplementalProperty() const = 0;
    virtual const std::vector<IDescriptor*>& GetAudioChannelConfiguration() const = 0;
};

}  // namespace mpd
}  // namespace dash
