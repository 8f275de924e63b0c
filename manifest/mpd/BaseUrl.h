#pragma once

#include <string>

#include "manifest/mpd/IBaseUrl.h"

namespace dash {
namespace mpd {

// A BaseURL element; also stands for the MPD's own directory (IMPD::GetMPDPathBaseUrl).
// `documentUrl` points at the owning MPD's location text and must outlive this object.
class BaseUrl : public IBaseUrl {
public:
    BaseUrl(const std::string* documentUrl, std::string url, std::string serviceLocation = "",
            std::string byteRange = "")
        : mDocumentUrl(documentUrl), mUrl(std::move(url)), mServiceLocation(std::move(serviceLocation)),
          mByteRange(std::move(byteRange)) {}

    const std::string& GetUrl() const override { return mUrl; }
    const std::string& GetServiceLocation() const override { return mServiceLocation; }
    const std::string& GetByteRange() const override { return mByteRange; }
    const std::string& GetDocumentUrl() const override { return *mDocumentUrl; }

private:
    const std::string* mDocumentUrl;
    std::string mUrl;
    std::string mServiceLocation;
    std::string mByteRange;
};

}  // namespace mpd
}  // namespace dash
