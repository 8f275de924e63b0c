#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/AdaptationSet.h"
#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/IPeriod.h"
#include "manifest/mpd/SegmentBase.h"
#include "manifest/mpd/SegmentList.h"
#include "manifest/mpd/SegmentTemplate.h"

namespace dash {
namespace mpd {

// A Period. The fields are filled by MPDParser and read through IPeriod.
class Period : public IPeriod {
public:
    const std::string& GetId() const override { return mId; }
    const std::string& GetStart() const override { return mStart; }
    const std::string& GetDuration() const override { return mDuration; }
    const std::vector<IBaseUrl*>& GetBaseURLs() const override { return mBaseUrlView; }
    const ISegmentBase* GetSegmentBase() const override { return mSegmentBase.get(); }
    const ISegmentList* GetSegmentList() const override { return mSegmentList.get(); }
    const ISegmentTemplate* GetSegmentTemplate() const override { return mSegmentTemplate.get(); }
    const std::vector<IAdaptationSet*>& GetAdaptationSets() const override { return mAdaptationSetView; }

    std::string mId;
    std::string mStart;
    std::string mDuration;
    std::vector<std::unique_ptr<BaseUrl>> mBaseUrls;
    std::vector<IBaseUrl*> mBaseUrlView;
    std::unique_ptr<SegmentBase> mSegmentBase;
    std::unique_ptr<SegmentList> mSegmentList;
    std::unique_ptr<SegmentTemplate> mSegmentTemplate;
    std::vector<std::unique_ptr<AdaptationSet>> mAdaptationSets;
    std::vector<IAdaptationSet*> mAdaptationSetView;
};

}  // namespace mpd
}  // namespace dash
