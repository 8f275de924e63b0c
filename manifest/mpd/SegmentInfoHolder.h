#pragma once

#include <memory>
#include <vector>

#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/SegmentBase.h"
#include "manifest/mpd/SegmentList.h"
#include "manifest/mpd/SegmentTemplate.h"

namespace dash {
namespace mpd {

// The BaseURL elements and the segment information (SegmentBase, SegmentList, SegmentTemplate)
// that Period, AdaptationSet and Representation may each carry (ISO/IEC 23009-1 5.3.9.1, 5.6),
// implemented once over the interface `Interface` that declares their getters. Owns what it holds;
// MPDParser fills the fields. A segment information element absent at this level reads null.
template <class Interface>
class SegmentInfoHolder : public Interface {
public:
    const std::vector<IBaseUrl*>& GetBaseURLs() const override { return mBaseUrlView; }
    const ISegmentBase* GetSegmentBase() const override { return mSegmentBase.get(); }
    const ISegmentList* GetSegmentList() const override { return mSegmentList.get(); }
    const ISegmentTemplate* GetSegmentTemplate() const override { return mSegmentTemplate.get(); }

    std::vector<std::unique_ptr<BaseUrl>> mBaseUrls;
    std::vector<IBaseUrl*> mBaseUrlView;  // mBaseUrls in document order
    std::unique_ptr<SegmentBase> mSegmentBase;
    std::unique_ptr<SegmentList> mSegmentList;
    std::unique_ptr<SegmentTemplate> mSegmentTemplate;
};

}  // namespace mpd
}  // namespace dash
