#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "manifest/mpd/InheritableChild.h"
#include "manifest/mpd/URLType.h"

namespace dash {
namespace mpd {

// The SegmentBase information common to SegmentBase, SegmentList and SegmentTemplate
// (ISO/IEC 23009-1 5.3.9.2), implemented once over the interface `Interface`. Attributes are kept
// as optionals so that InheritBase can fill what this level leaves out from the element of the
// same kind one level up (5.3.9.1); child elements are InheritableChild for the same reason.
template <class Interface>
class SegmentBaseImpl : public Interface {
public:
    uint32_t GetTimescale() const override { return mTimescale.value_or(1); }
    uint64_t GetPresentationTimeOffset() const override { return mPresentationTimeOffset.value_or(0); }
    const std::string& GetIndexRange() const override { return text(mIndexRange); }
    bool IsIndexRangeExact() const override { return mIndexRangeExact.value_or(false); }
    const std::string& GetAvailabilityTimeOffset() const override { return text(mAvailabilityTimeOffset); }
    const IURLType* GetInitialization() const override { return mInitialization.Get(); }
    const IURLType* GetRepresentationIndex() const override { return mRepresentationIndex.Get(); }

    // Fields as parsed (the parser fills them).
    std::optional<uint32_t> mTimescale;
    std::optional<uint64_t> mPresentationTimeOffset;
    std::optional<std::string> mIndexRange;
    std::optional<bool> mIndexRangeExact;
    std::optional<std::string> mAvailabilityTimeOffset;
    InheritableChild<URLType> mInitialization;
    InheritableChild<URLType> mRepresentationIndex;

protected:
    void InheritBase(const SegmentBaseImpl& parent) {
        inherit(mTimescale, parent.mTimescale);
        inherit(mPresentationTimeOffset, parent.mPresentationTimeOffset);
        inherit(mIndexRange, parent.mIndexRange);
        inherit(mIndexRangeExact, parent.mIndexRangeExact);
        inherit(mAvailabilityTimeOffset, parent.mAvailabilityTimeOffset);
        mInitialization.InheritFrom(parent.mInitialization);
        mRepresentationIndex.InheritFrom(parent.mRepresentationIndex);
    }

    // Takes the parent's value when this level wrote none.
    template <class T>
    static void inherit(std::optional<T>& own, const std::optional<T>& parent) {
        if (!own) own = parent;
    }
    // The text of an optional attribute, empty when absent.
    static const std::string& text(const std::optional<std::string>& value) {
        static const std::string kEmpty;
        return value ? *value : kEmpty;
    }
};

}  // namespace mpd
}  // namespace dash
