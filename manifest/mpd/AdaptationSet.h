#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/Representation.h"
#include "manifest/mpd/RepresentationBaseImpl.h"
#include "manifest/mpd/SegmentInfoHolder.h"

namespace dash {
namespace mpd {

// An AdaptationSet. The fields are filled by MPDParser and read through IAdaptationSet.
class AdaptationSet : public RepresentationBaseImpl<SegmentInfoHolder<IAdaptationSet>> {
public:
    const std::string& GetId() const override { return mId; }
    const std::string& GetContentType() const override { return mContentType; }
    const std::string& GetLang() const override { return mLang; }
    uint32_t GetMaxHeight() const override { return mMaxHeight; }
    const std::vector<IDescriptor*>& GetRole() const override { return mRole; }
    const std::vector<IDescriptor*>& GetAccessibility() const override { return mAccessibility; }
    const std::vector<IRepresentation*>& GetRepresentation() const override { return mRepresentationView; }

    std::string mId;
    std::string mContentType;
    std::string mLang;
    uint32_t mMaxHeight = 0;
    std::vector<IDescriptor*> mRole;           // owned by mDescriptors
    std::vector<IDescriptor*> mAccessibility;  // owned by mDescriptors
    std::vector<std::unique_ptr<Representation>> mRepresentations;
    std::vector<IRepresentation*> mRepresentationView;
};

}  // namespace mpd
}  // namespace dash
