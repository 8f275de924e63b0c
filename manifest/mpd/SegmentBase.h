#pragma once

#include "manifest/mpd/ISegmentBase.h"
#include "manifest/mpd/SegmentBaseImpl.h"

namespace dash {
namespace mpd {

// A SegmentBase element (one media resource addressed by byte ranges).
class SegmentBase : public SegmentBaseImpl<ISegmentBase> {
public:
    // Fills what this level leaves out from the SegmentBase one level up.
    void InheritFrom(const SegmentBase& parent) { InheritBase(parent); }
};

}  // namespace mpd
}  // namespace dash
