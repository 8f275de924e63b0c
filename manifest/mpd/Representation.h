#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/RepresentationBaseImpl.h"
#include "manifest/mpd/SegmentInfoHolder.h"

namespace dash {
namespace mpd {

// A Representation. The fields are filled by MPDParser and read through IRepresentation; the
// parser copies the common attributes the Representation leaves out from its AdaptationSet
// (ISO/IEC 23009-1 5.3.7).
class Representation : public RepresentationBaseImpl<SegmentInfoHolder<IRepresentation>> {
public:
    const std::string& GetId() const override { return mId; }
    uint32_t GetBandwidth() const override { return mBandwidth; }
    const std::vector<std::string>& GetDependencyId() const override { return mDependencyId; }

    std::string mId;
    uint32_t mBandwidth = 0;
    std::vector<std::string> mDependencyId;
};

}  // namespace mpd
}  // namespace dash
