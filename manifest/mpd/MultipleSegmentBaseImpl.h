#pragma once

#include <cstdint>
#include <memory>
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
    const ISegmentTimeline* GetSegmentTimeline() const override { return mTimeline; }
    const IURLType* GetBitstreamSwitching() const override { return mBitstreamSwitching; }

    std::optional<uint32_t> mDuration;
    std::optional<uint32_t> mStartNumber;

    void SetSegmentTimeline(std::unique_ptr<SegmentTimeline> timeline) {
        mOwnTimeline = std::move(timeline);
        mTimeline = mOwnTimeline.get();
    }
    void SetBitstreamSwitching(std::unique_ptr<URLType> element) {
        mOwnBitstreamSwitching = std::move(element);
        mBitstreamSwitching = mOwnBitstreamSwitching.get();
    }
    // The timeline in force (own or inherited), with its lookups.
    const SegmentTimeline* Timeline() const { return mTimeline; }

protected:
    void InheritMultiple(const MultipleSegmentBaseImpl& parent) {
        this->InheritBase(parent);
        if (!mDuration) mDuration = parent.mDuration;
        if (!mStartNumber) mStartNumber = parent.mStartNumber;
        if (!mTimeline) mTimeline = parent.mTimeline;
        if (!mBitstreamSwitching) mBitstreamSwitching = parent.mBitstreamSwitching;
    }

private:
    std::unique_ptr<SegmentTimeline> mOwnTimeline;
    std::unique_ptr<URLType> mOwnBitstreamSwitching;
    const SegmentTimeline* mTimeline = nullptr;
    const URLType* mBitstreamSwitching = nullptr;
};

}  // namespace mpd
}  // namespace dash
