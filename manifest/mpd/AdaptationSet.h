#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/Descriptor.h"
#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/Representation.h"
#include "manifest/mpd/SegmentBase.h"
#include "manifest/mpd/SegmentList.h"
#include "manifest/mpd/SegmentTemplate.h"

namespace dash {
namespace mpd {

// An AdaptationSet. The fields are filled by MPDParser and read through IAdaptationSet.
class AdaptationSet : public IAdaptationSet {
public:
    const std::string& GetId() const override { return mId; }
    const std::string& GetMimeType() const override { return mMimeType; }
    const std::string& GetContentType() const override { return mContentType; }
    const std::string& GetLang() const override { return mLang; }
    const std::string& GetCodecs() const override { return mCodecs; }
    uint32_t GetWidth() const override { return mWidth; }
    uint32_t GetHeight() const override { return mHeight; }
    uint32_t GetMaxHeight() const override { return mMaxHeight; }
    const std::string& GetFrameRate() const override { return mFrameRate; }
    const std::string& GetAudioSamplingRate() const override { return mAudioSamplingRate; }
    const std::vector<IBaseUrl*>& GetBaseURLs() const override { return mBaseUrlView; }
    const std::vector<IDescriptor*>& GetContentProtection() const override { return mContentProtection; }
    const std::vector<IDescriptor*>& GetRole() const override { return mRole; }
    const std::vector<IDescriptor*>& GetAccessibility() const override { return mAccessibility; }
    const std::vector<IDescriptor*>& GetEssentialProperty() const override { return mEssentialProperty; }
    const std::vector<IDescriptor*>& GetSupplementalProperty() const override { return mSupplementalProperty; }
    const std::vector<IDescriptor*>& GetAudioChannelConfiguration() const override {
        return mAudioChannelConfiguration;
    }
    const ISegmentBase* GetSegmentBase() const override { return mSegmentBase.get(); }
    const ISegmentList* GetSegmentList() const override { return mSegmentList.get(); }
    const ISegmentTemplate* GetSegmentTemplate() const override { return mSegmentTemplate.get(); }
    const std::vector<IRepresentation*>& GetRepresentation() const override { return mRepresentationView; }

    std::string mId;
    std::string mMimeType;
    std::string mContentType;
    std::string mLang;
    std::string mCodecs;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    uint32_t mMaxHeight = 0;
    std::string mFrameRate;
    std::string mAudioSamplingRate;
    std::string mSar;
    std::vector<std::unique_ptr<BaseUrl>> mBaseUrls;
    std::vector<IBaseUrl*> mBaseUrlView;
    std::vector<std::unique_ptr<Descriptor>> mDescriptors;  // owns every descriptor below
    std::vector<IDescriptor*> mContentProtection;
    std::vector<IDescriptor*> mRole;
    std::vector<IDescriptor*> mAccessibility;
    std::vector<IDescriptor*> mEssentialProperty;
    std::vector<IDescriptor*> mSupplementalProperty;
    std::vector<IDescriptor*> mAudioChannelConfiguration;
    std::unique_ptr<SegmentBase> mSegmentBase;
    std::unique_ptr<SegmentList> mSegmentList;
    std::unique_ptr<SegmentTemplate> mSegmentTemplate;
    std::vector<std::unique_ptr<Representation>> mRepresentations;
    std::vector<IRepresentation*> mRepresentationView;
};

}  // namespace mpd
}  // namespace dash
