#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/Descriptor.h"
#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/SegmentBase.h"
#include "manifest/mpd/SegmentList.h"
#include "manifest/mpd/SegmentTemplate.h"

namespace dash {
namespace mpd {

// A Representation. The fields are filled by MPDParser and read through IRepresentation. The
// common attributes width, height, frameRate, audioSamplingRate, mimeType, codecs and sar that
// the Representation leaves out are taken from its AdaptationSet (ISO/IEC 23009-1 5.3.7).
class Representation : public IRepresentation {
public:
    const std::string& GetId() const override { return mId; }
    uint32_t GetBandwidth() const override { return mBandwidth; }
    uint32_t GetWidth() const override { return mWidth; }
    uint32_t GetHeight() const override { return mHeight; }
    const std::string& GetFrameRate() const override { return mFrameRate; }
    const std::string& GetAudioSamplingRate() const override { return mAudioSamplingRate; }
    const std::string& GetMimeType() const override { return mMimeType; }
    const std::string& GetCodecs() const override { return mCodecs; }
    const std::string& GetSar() const override { return mSar; }
    const std::vector<std::string>& GetDependencyId() const override { return mDependencyId; }
    const std::vector<IBaseUrl*>& GetBaseURLs() const override { return mBaseUrlView; }
    const std::vector<IDescriptor*>& GetContentProtection() const override { return mContentProtection; }
    const std::vector<IDescriptor*>& GetEssentialProperty() const override { return mEssentialProperty; }
    const std::vector<IDescriptor*>& GetSupplementalProperty() const override { return mSupplementalProperty; }
    const std::vector<IDescriptor*>& GetAudioChannelConfiguration() const override {
        return mAudioChannelConfiguration;
    }
    const ISegmentBase* GetSegmentBase() const override { return mSegmentBase.get(); }
    const ISegmentList* GetSegmentList() const override { return mSegmentList.get(); }
    const ISegmentTemplate* GetSegmentTemplate() const override { return mSegmentTemplate.get(); }

    std::string mId;
    uint32_t mBandwidth = 0;
    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    std::string mFrameRate;
    std::string mAudioSamplingRate;
    std::string mMimeType;
    std::string mCodecs;
    std::string mSar;
    std::vector<std::string> mDependencyId;
    std::vector<std::unique_ptr<BaseUrl>> mBaseUrls;
    std::vector<IBaseUrl*> mBaseUrlView;
    std::vector<std::unique_ptr<Descriptor>> mDescriptors;  // owns every descriptor below
    std::vector<IDescriptor*> mContentProtection;
    std::vector<IDescriptor*> mEssentialProperty;
    std::vector<IDescriptor*> mSupplementalProperty;
    std::vector<IDescriptor*> mAudioChannelConfiguration;
    std::unique_ptr<SegmentBase> mSegmentBase;
    std::unique_ptr<SegmentList> mSegmentList;
    std::unique_ptr<SegmentTemplate> mSegmentTemplate;
};

}  // namespace mpd
}  // namespace dash
