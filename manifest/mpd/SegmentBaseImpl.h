#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "manifest/mpd/URLType.h"

namespace dash {
namespace mpd {

// The SegmentBase information common to SegmentBase, SegmentList and SegmentTemplate
// (ISO/IEC 23009-1 5.3.9.2), implemented once over the interface `Interface`. Attributes are kept
// as optionals so that InheritOwnKind can fill what this level leaves out from the element of the
// same kind one level up (5.3.9.1). Child elements are owned by the level that wrote them; an
// inherited child is a pointer into the enclosing level, which the same MPD object owns.
template <class Interface>
class SegmentBaseImpl : public Interface {
public:
    uint32_t GetTimescale() const override { return mTimescale.value_or(1); }
    uint64_t GetPresentationTimeOffset() const override { return mPresentationTimeOffset.value_or(0); }
    const std::string& GetIndexRange() const override { return mIndexRange ? *mIndexRange : empty(); }
    bool IsIndexRangeExact() const override { return mIndexRangeExact.value_or(false); }
    const std::string& GetAvailabilityTimeOffset() const override {
        return mAvailabilityTimeOffset ? *mAvailabilityTimeOffset : empty();
    }
    const IURLType* GetInitialization() const override { return mInitialization; }
    const IURLType* GetRepresentationIndex() const override { return mRepresentationIndex; }

    // Fields as parsed (the parser fills them).
    std::optional<uint32_t> mTimescale;
    std::optional<uint64_t> mPresentationTimeOffset;
    std::optional<std::string> mIndexRange;
    std::optional<bool> mIndexRangeExact;
    std::optional<std::string> mAvailabilityTimeOffset;

    void SetInitialization(std::unique_ptr<URLType> element) {
        mOwnInitialization = std::move(element);
        mInitialization = mOwnInitialization.get();
    }
    void SetRepresentationIndex(std::unique_ptr<URLType> element) {
        mOwnRepresentationIndex = std::move(element);
        mRepresentationIndex = mOwnRepresentationIndex.get();
    }

protected:
    void InheritBase(const SegmentBaseImpl& parent) {
        if (!mTimescale) mTimescale = parent.mTimescale;
        if (!mPresentationTimeOffset) mPresentationTimeOffset = parent.mPresentationTimeOffset;
        if (!mIndexRange) mIndexRange = parent.mIndexRange;
        if (!mIndexRangeExact) mIndexRangeExact = parent.mIndexRangeExact;
        if (!mAvailabilityTimeOffset) mAvailabilityTimeOffset = parent.mAvailabilityTimeOffset;
        if (!mInitialization) mInitialization = parent.mInitialization;
        if (!mRepresentationIndex) mRepresentationIndex = parent.mRepresentationIndex;
    }

    static const std::string& empty() {
        static const std::string kEmpty;
        return kEmpty;
    }

private:
    std::unique_ptr<URLType> mOwnInitialization;
    std::unique_ptr<URLType> mOwnRepresentationIndex;
    const URLType* mInitialization = nullptr;
    const URLType* mRepresentationIndex = nullptr;
};

}  // namespace mpd
}  // namespace dash
