#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/AdaptationSet.h"
#include "manifest/mpd/IPeriod.h"
#include "manifest/mpd/SegmentInfoHolder.h"

namespace dash {
namespace mpd {

// A Period. The fields are filled by MPDParser and read through IPeriod.
class Period : public SegmentInfoHolder<IPeriod> {
public:
    const std::string& GetId() const override { return mId; }
    const std::string& GetStart() const override { return mStart; }
    const std::string& GetDuration() const override { return mDuration; }
    const std::vector<IAdaptationSet*>& GetAdaptationSets() const override { return mAdaptationSetView; }

    std::string mId;
    std::string mStart;
    std::string mDuration;
    std::vector<std::unique_ptr<AdaptationSet>> mAdaptationSets;
    std::vector<IAdaptationSet*> mAdaptationSetView;
};

}  // namespace mpd
}  // namespace dash
