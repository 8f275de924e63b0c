#pragma once

#include <cstdint>
#include <optional>

#include "manifest/mpd/SegmentBaseImpl.h"
#include "manifest/mpd/SegmentTimeline.h"
#include "manifest/mpd/URLType.h"

namespace dash {
namespace mpd {

// The MultipleSegmentBase information of SegmentList and SegmentTemplate (ISO/IEC 23009-1
// 5.3.9.2.1) on top of SegmentBaseImpl, with the same inheritance rules.
template <class Interface>
class MultipleSegmentBaseImpl : public SegmentBaseImpl<Interface> {
public:
    uint32_t GetDuration() const override { return mDuration.value_or(0); }
    uint32_t GetStartNumber() const override { return mStartNumber.value_or(1); }
    const ISegmentTimeline* GetSegmentTimeline() const override { return mTimeline.Get(); }
    const IURLType* GetBitstreamSwitching() const override { return mBitstreamSwitching.Get(); }

    std::optional<uint32_t> mDuration;
    std::optional<uint32_t> mStartNumber;
    // The timeline in force (own or inherited), with its lookups.
    InheritableChild<SegmentTimeline> mTimeline;
    InheritableChild<URLType> mBitstreamSwitching;

protected:
    void InheritMultiple(const MultipleSegmentBaseImpl& parent) {
        this->InheritBase(parent);
        this->inherit(mDuration, parent.mDuration);
        this->inherit(mStartNumber, parent.mStartNumber);
        mTimeline.InheritFrom(parent.mTimeline);
        mBitstreamSwitching.InheritFrom(parent.mBitstreamSwitching);
    }
};

}  // namespace mpd
}  // namespace dash
