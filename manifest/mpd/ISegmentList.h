#pragma once

#include <vector>

#include "manifest/mpd/IMultipleSegmentBase.h"
#include "manifest/mpd/ISegmentURL.h"

namespace dash {
namespace mpd {

// A SegmentList element (ISO/IEC 23009-1 5.3.9.3).
class ISegmentList : public IMultipleSegmentBase {
public:
    // The SegmentURL elements in document order (inherited from the enclosing level when this
    // level lists none).
    virtual const std::vector<ISegmentURL*>& GetSegmentURLs() const = 0;
};

}  // namespace mpd
}  // namespace dash
