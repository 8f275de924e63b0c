#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IURLType.h"
#include "manifest/mpd/TransactionType.h"

namespace dash {
namespace mpd {

// An Initialization, RepresentationIndex or BitstreamSwitching element; `type` says which, and is
// the type of the segments it makes. `documentUrl` points at the owning MPD's location text.
class URLType : public IURLType {
public:
    URLType(const std::string* documentUrl, TransactionType type, std::string sourceURL,
            std::string range)
        : mDocumentUrl(documentUrl), mType(type), mSourceURL(std::move(sourceURL)), mRange(std::move(range)) {}

    const std::string& GetSourceURL() const override { return mSourceURL; }
    const std::string& GetRange() const override { return mRange; }
    ISegment* ToSegment(const std::vector<IBaseUrl*>& baseUrls) const override;

private:
    const std::string* mDocumentUrl;
    TransactionType mType;
    std::string mSourceURL;
    std::string mRange;
};

}  // namespace mpd
}  // namespace dash
