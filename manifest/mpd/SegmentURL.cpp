#include "manifest/mpd/SegmentURL.h"

#include <memory>

#include "manifest/mpd/Segment.h"

namespace dash {
namespace mpd {

ISegment* SegmentURL::ToMediaSegment(const std::vector<IBaseUrl*>& baseUrls) const {
    std::unique_ptr<Segment> segment(new Segment());
    if (!segment->Init(*mDocumentUrl, baseUrls, mMedia, mMediaRange, TransactionType::MediaSegment)) {
        return nullptr;
    }
    return segment.release();
}

ISegment* SegmentURL::ToIndexSegment(const std::vector<IBaseUrl*>& baseUrls) const {
    // A SegmentURL with @indexRange but no @index names the index inside the media resource.
    const std::string& uri = mIndex.empty() && !mIndexRange.empty() ? mMedia : mIndex;
    if (uri.empty() && mIndexRange.empty()) return nullptr;
    std::unique_ptr<Segment> segment(new Segment());
    if (!segment->Init(*mDocumentUrl, baseUrls, uri, mIndexRange, TransactionType::IndexSegment)) {
        return nullptr;
    }
    return segment.release();
}

}  // namespace mpd
}  // namespace dash
