#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IDescriptor.h"
#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/IRepresentationBase.h"
#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/ISegmentList.h"
#include "manifest/mpd/ISegmentTemplate.h"

namespace dash {
namespace mpd {

// An AdaptationSet element (ISO/IEC 23009-1 5.3.3). Owned by the MPD object. The common
// attributes and descriptors (mimeType, codecs, width, height, ContentProtection, ...) come from
// IRepresentationBase.
class IAdaptationSet : public IRepresentationBase {
public:
    // @id as written: the schema says unsignedInt, real MPDs also use words.
    virtual const std::string& GetId() const = 0;
    virtual const std::string& GetContentType() const = 0;
    virtual const std::string& GetLang() const = 0;  // empty when absent
    virtual uint32_t GetMaxHeight() const = 0;
    virtual const std::vector<IDescriptor*>& GetRole() const = 0;
    virtual const std::vector<IDescriptor*>& GetAccessibility() const = 0;
    virtual const std::vector<IBaseUrl*>& GetBaseURLs() const = 0;
    // Segment information of this level (merged with the Period's); null when absent here.
    virtual const ISegmentBase* GetSegmentBase() const = 0;
    virtual const ISegmentList* GetSegmentList() const = 0;
    virtual const ISegmentTemplate* GetSegmentTemplate() const = 0;
    // The Representations in document order.
    virtual const std::vector<IRepresentation*>& GetRepresentation() const = 0;
};

}  // namespace mpd
}  // namespace dash
