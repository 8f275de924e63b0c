#pragma once

#include <string>

namespace dash {
namespace mpd {

// A BaseURL element (ISO/IEC 23009-1 5.6). Owned by the MPD object.
class IBaseUrl {
public:
    virtual ~IBaseUrl() {}
    // The URL text as written, with surrounding white space removed (absolute or relative).
    virtual const std::string& GetUrl() const = 0;
    virtual const std::string& GetServiceLocation() const = 0;
    virtual const std::string& GetByteRange() const = 0;
    // Absolute URL of the MPD document this element came from, against which relative URLs are
    // resolved (RFC 3986 5.1.3).
    virtual const std::string& GetDocumentUrl() const = 0;
};

}  // namespace mpd
}  // namespace dash
