#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/ISegmentList.h"
#include "manifest/mpd/ISegmentTemplate.h"

namespace dash {
namespace mpd {

// A Period element (ISO/IEC 23009-1 5.3.2). Owned by the MPD object.
class IPeriod {
public:
    virtual ~IPeriod() {}
    virtual const std::string& GetId() const = 0;
    virtual const std::string& GetStart() const = 0;     // xs:duration text, empty when absent
    virtual const std::string& GetDuration() const = 0;  // xs:duration text, empty when absent
    virtual const std::vector<IBaseUrl*>& GetBaseURLs() const = 0;
    virtual const ISegmentBase* GetSegmentBase() const = 0;
    virtual const ISegmentList* GetSegmentList() const = 0;
    virtual const ISegmentTemplate* GetSegmentTemplate() const = 0;
    virtual const std::vector<IAdaptationSet*>& GetAdaptationSets() const = 0;
};

}  // namespace mpd
}  // namespace dash
