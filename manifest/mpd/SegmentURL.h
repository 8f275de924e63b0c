#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/ISegmentURL.h"

namespace dash {
namespace mpd {

// A SegmentURL of a SegmentList. `documentUrl` points at the owning MPD's location text.
class SegmentURL : public ISegmentURL {
public:
    SegmentURL(const std::string* documentUrl, std::string media, std::string mediaRange,
               std::string index, std::string indexRange)
        : mDocumentUrl(documentUrl), mMedia(std::move(media)), mMediaRange(std::move(mediaRange)),
          mIndex(std::move(index)), mIndexRange(std::move(indexRange)) {}

    const std::string& GetMediaURI() const override { return mMedia; }
    const std::string& GetMediaRange() const override { return mMediaRange; }
    const std::string& GetIndexURI() const override { return mIndex; }
    const std::string& GetIndexRange() const override { return mIndexRange; }
    ISegment* ToMediaSegment(const std::vector<IBaseUrl*>& baseUrls) const override;
    ISegment* ToIndexSegment(const std::vector<IBaseUrl*>& baseUrls) const override;

private:
    const std::string* mDocumentUrl;
    std::string mMedia;
    std::string mMediaRange;
    std::string mIndex;
    std::string mIndexRange;
};

}  // namespace mpd
}  // namespace dash
