#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/Descriptor.h"

namespace dash {
namespace mpd {

// IRepresentationBase implemented once for AdaptationSet and Representation, over the interface
// `Interface` (which derives from IRepresentationBase). The fields are filled by MPDParser, which
// also copies an AdaptationSet's attributes into the Representations that leave them out.
template <class Interface>
class RepresentationBaseImpl : public Interface {
public:
    uint32_t GetWidth() const override { return mWidth; }
    uint32_t GetHeight() const override { return mHeight; }
    const std::string& GetSar() const override { return mSar; }
    const std::string& GetFrameRate() const override { return mFrameRate; }
    const std::string& GetAudioSamplingRate() const override { return mAudioSamplingRate; }
    const std::string& GetMimeType() const override { return mMimeType; }
    const std::string& GetCodecs() const override { return mCodecs; }
    const std::vector<IDescriptor*>& GetContentProtection() const override { return mContentProtection; }
    const std::vector<IDescriptor*>& GetEssentialProperty() const override { return mEssentialProperty; }
    const std::vector<IDescriptor*>& GetSupplementalProperty() const override { return mSupplementalProperty; }
    const std::vector<IDescriptor*>& GetAudioChannelConfiguration() const override {
        return mAudioChannelConfiguration;
    }

    uint32_t mWidth = 0;
    uint32_t mHeight = 0;
    std::string mSar;
    std::string mFrameRate;
    std::string mAudioSamplingRate;
    std::string mMimeType;
    std::string mCodecs;
    // Owns every descriptor of the element, those of the derived class (Role, ...) included; the
    // lists below point into it.
    std::vector<std::unique_ptr<Descriptor>> mDescriptors;
    std::vector<IDescriptor*> mContentProtection;
    std::vector<IDescriptor*> mEssentialProperty;
    std::vector<IDescriptor*> mSupplementalProperty;
    std::vector<IDescriptor*> mAudioChannelConfiguration;
};

}  // namespace mpd
}  // namespace dash
