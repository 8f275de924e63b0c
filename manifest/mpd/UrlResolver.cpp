#include "manifest/mpd/UrlResolver.h"

#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstring>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/mpd/UrlResolver")

namespace dash {
namespace mpd {

namespace {

// The five components of RFC 3986 3 (scheme ":" hier-part ["?" query] ["#" fragment]); the
// `has` flags tell an empty component from an absent one (5.3).
struct UriParts {
    std::string scheme, authority, path, query, fragment;
    bool hasScheme = false, hasAuthority = false, hasQuery = false, hasFragment = false;
};

// Splits per the regular expression of RFC 3986 appendix B.
UriParts split(const std::string& uri) {
    UriParts p;
    size_t pos = 0;
    if (UrlResolver::HasScheme(uri)) {
        const size_t colon = uri.find(':');
        p.scheme = uri.substr(0, colon);
        p.hasScheme = true;
        pos = colon + 1;
    }
    if (uri.compare(pos, 2, "//") == 0) {
        const size_t end = uri.find_first_of("/?#", pos + 2);
        p.authority = uri.substr(pos + 2, (end == std::string::npos ? uri.size() : end) - pos - 2);
        p.hasAuthority = true;
        pos = end == std::string::npos ? uri.size() : end;
    }
    size_t end = uri.find_first_of("?#", pos);
    p.path = uri.substr(pos, (end == std::string::npos ? uri.size() : end) - pos);
    pos = end == std::string::npos ? uri.size() : end;
    if (pos < uri.size() && uri[pos] == '?') {
        end = uri.find('#', pos);
        p.query = uri.substr(pos + 1, (end == std::string::npos ? uri.size() : end) - pos - 1);
        p.hasQuery = true;
        pos = end == std::string::npos ? uri.size() : end;
    }
    if (pos < uri.size() && uri[pos] == '#') {
        p.fragment = uri.substr(pos + 1);
        p.hasFragment = true;
    }
    return p;
}

std::string join(const UriParts& p) {
    std::string out;
    if (p.hasScheme) out += p.scheme + ":";
    if (p.hasAuthority) out += "//" + p.authority;
    out += p.path;
    if (p.hasQuery) out += "?" + p.query;
    if (p.hasFragment) out += "#" + p.fragment;
    return out;
}

// RFC 3986 5.2.4.
std::string removeDotSegments(std::string in) {
    std::string out;
    while (!in.empty()) {
        if (in.compare(0, 3, "../") == 0) {
            in.erase(0, 3);
        } else if (in.compare(0, 2, "./") == 0) {
            in.erase(0, 2);
        } else if (in.compare(0, 3, "/./") == 0) {
            in.erase(0, 2);
        } else if (in == "/.") {
            in = "/";
        } else if (in.compare(0, 4, "/../") == 0 || in == "/..") {
            in = in.size() == 3 ? std::string("/") : in.substr(3);
            const size_t slash = out.rfind('/');
            out.erase(slash == std::string::npos ? 0 : slash);
        } else if (in == "." || in == "..") {
            in.clear();
        } else {
            const size_t next = in.find('/', 1);
            const size_t n = next == std::string::npos ? in.size() : next;
            out += in.substr(0, n);
            in.erase(0, n);
        }
    }
    return out;
}

// RFC 3986 5.2.3.
std::string merge(const UriParts& base, const std::string& refPath) {
    if (base.hasAuthority && base.path.empty()) return "/" + refPath;
    const size_t slash = base.path.rfind('/');
    if (slash == std::string::npos) return refPath;
    return base.path.substr(0, slash + 1) + refPath;
}

bool isUnreservedOrPathChar(unsigned char c) {
    return std::isalnum(c) || std::strchr("-._~/!$&'()*+,;=:@", c) != nullptr;
}

}  // namespace

bool UrlResolver::HasScheme(const std::string& url) {
    // scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ) ":"
    if (url.empty() || !std::isalpha(static_cast<unsigned char>(url[0]))) return false;
    for (size_t i = 1; i < url.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(url[i]);
        if (c == ':') return true;
        if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') return false;
    }
    return false;
}

std::string UrlResolver::Resolve(const std::string& base, const std::string& reference) {
    const UriParts r = split(reference);
    if (r.hasScheme) {
        UriParts t = r;
        t.path = removeDotSegments(r.path);
        return join(t);
    }
    if (base.empty()) return reference;
    const UriParts b = split(base);
    UriParts t;
    t.hasFragment = r.hasFragment;
    t.fragment = r.fragment;
    t.hasScheme = b.hasScheme;
    t.scheme = b.scheme;
    if (r.hasAuthority) {
        t.hasAuthority = true;
        t.authority = r.authority;
        t.path = removeDotSegments(r.path);
        t.hasQuery = r.hasQuery;
        t.query = r.query;
    } else {
        t.hasAuthority = b.hasAuthority;
        t.authority = b.authority;
        if (r.path.empty()) {
            t.path = b.path;
            t.hasQuery = r.hasQuery || b.hasQuery;
            t.query = r.hasQuery ? r.query : b.query;
        } else {
            if (r.path[0] == '/') {
                t.path = removeDotSegments(r.path);
            } else if (b.hasScheme) {
                t.path = removeDotSegments(merge(b, r.path));
            } else {
                // Relative base (no scheme): keep its leading dot segments, only merge.
                t.path = merge(b, r.path);
            }
            t.hasQuery = r.hasQuery;
            t.query = r.query;
        }
    }
    return join(t);
}

std::string UrlResolver::ResolveChain(const std::string& documentUrl,
                                      const std::vector<IBaseUrl*>& baseUrls,
                                      const std::string& uri) {
    std::string current = documentUrl;
    for (const IBaseUrl* baseUrl : baseUrls) {
        if (baseUrl != nullptr && !baseUrl->GetUrl().empty()) {
            current = Resolve(current, baseUrl->GetUrl());
        }
    }
    return uri.empty() ? current : Resolve(current, uri);
}

std::string UrlResolver::FileUrlFromPath(const std::string& path) {
    std::string absolute = path;
    if (absolute.empty() || absolute[0] != '/') {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof(cwd)) == nullptr) {
            ZUN_LOG(0, "Cannot read the current directory for %s", path.c_str());
            cwd[0] = '\0';
        }
        absolute = std::string(cwd) + "/" + path;
    }
    static const char kHex[] = "0123456789ABCDEF";
    std::string out = "file://";
    for (unsigned char c : absolute) {
        if (isUnreservedOrPathChar(c)) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

std::string UrlResolver::PathFromFileUrl(const std::string& url) {
    const UriParts p = split(url);
    if (!p.authority.empty() && p.authority != "localhost") return std::string();
    std::string out;
    for (size_t i = 0; i < p.path.size(); ++i) {
        if (p.path[i] == '%' && i + 2 < p.path.size() &&
            std::isxdigit(static_cast<unsigned char>(p.path[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(p.path[i + 2]))) {
            out += static_cast<char>(std::stoi(p.path.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += p.path[i];
        }
    }
    return out;
}

}  // namespace mpd
}  // namespace dash
