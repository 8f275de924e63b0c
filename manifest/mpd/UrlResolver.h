#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"

namespace dash {
namespace mpd {

// URL arithmetic of the manifest library: reference resolution per RFC 3986 section 5 (with the
// remove_dot_segments algorithm of 5.2.4), and the base URL chain of ISO/IEC 23009-1 5.6.4 (each
// BaseURL resolved against the one above it, the outermost against the MPD's own location).
// Stateless; callable from any thread.
class UrlResolver {
public:
    // True when `url` starts with a scheme ("http:", "file:", ...; RFC 3986 3.1).
    static bool HasScheme(const std::string& url);
    // The target URI of `reference` resolved against the absolute URI `base` (RFC 3986 5.2.2).
    // A `base` without a scheme is used as it is, so relative chains still compose.
    static std::string Resolve(const std::string& base, const std::string& reference);
    // Resolves `uri` through the chain: `documentUrl`, then every base URL in order, then `uri`.
    // An absolute entry anywhere restarts the chain, so [relative, absolute, relative] ends up
    // under the absolute one.
    static std::string ResolveChain(const std::string& documentUrl,
                                    const std::vector<IBaseUrl*>& baseUrls,
                                    const std::string& uri);
    // "file://" URL for a local path; a relative path is made absolute against the current
    // directory. Characters outside RFC 3986 pchar are percent-encoded.
    static std::string FileUrlFromPath(const std::string& path);
    // The local path of a "file://" URL ("file:///a%20b" -> "/a b"); empty when it names another
    // host than localhost.
    static std::string PathFromFileUrl(const std::string& url);
};

}  // namespace mpd
}  // namespace dash
