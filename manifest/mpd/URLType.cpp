#include "manifest/mpd/URLType.h"

#include <memory>

#include "manifest/mpd/Segment.h"

namespace dash {
namespace mpd {

ISegment* URLType::ToSegment(const std::vector<IBaseUrl*>& baseUrls) const {
    std::unique_ptr<Segment> segment(new Segment());
    if (!segment->Init(*mDocumentUrl, baseUrls, mSourceURL, mRange, mType)) return nullptr;
    return segment.release();
}

}  // namespace mpd
}  // namespace dash
