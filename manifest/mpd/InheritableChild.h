#pragma once

#include <memory>

namespace dash {
namespace mpd {

// A child element of a segment information element (Initialization, RepresentationIndex,
// SegmentTimeline, BitstreamSwitching): either written at this level and owned here, or taken
// over from the element of the same kind one level up (ISO/IEC 23009-1 5.3.9.1), which the same
// MPD object owns and which therefore outlives this one.
template <class T>
class InheritableChild {
public:
    void Set(std::unique_ptr<T> element) {
        mOwn = std::move(element);
        mInForce = mOwn.get();
    }
    // Takes the parent's child when this level has none.
    void InheritFrom(const InheritableChild& parent) {
        if (mInForce == nullptr) mInForce = parent.mInForce;
    }
    // The child in force, or null.
    const T* Get() const { return mInForce; }

private:
    std::unique_ptr<T> mOwn;
    const T* mInForce = nullptr;
};

}  // namespace mpd
}  // namespace dash
