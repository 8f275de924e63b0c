#include "manifest/mpd/UrlResolver.h"

#include <gtest/gtest.h>

#include <string>

using dash::mpd::UrlResolver;

namespace {

// RFC 3986 5.4.1 (normal) and 5.4.2 (abnormal) examples against the base of 5.4, then what MPDs
// do: manifest URLs with queries, directories, file URLs, host-only and relative bases.
TEST(UrlResolverTest, ResolveTable) {
    const struct {
        const char* base;
        const char* reference;
        const char* expected;
    } cases[] = {
        {"", "g:h", "g:h"}, {"", "g", "http://a/b/c/g"}, {"", "g/", "http://a/b/c/g/"},
        {"", "/g", "http://a/g"}, {"", "//g", "http://g"}, {"", "?y", "http://a/b/c/d;p?y"}, {"", "g?y", "http://a/b/c/g?y"},
        {"", "#s", "http://a/b/c/d;p?q#s"}, {"", "g#s", "http://a/b/c/g#s"}, {"", "g?y#s", "http://a/b/c/g?y#s"},
        {"", "g;x?y#s", "http://a/b/c/g;x?y#s"}, {"", "", "http://a/b/c/d;p?q"},
        {"", ".", "http://a/b/c/"}, {"", "..", "http://a/b/"}, {"", "../g", "http://a/b/g"},
        {"", "../..", "http://a/"}, {"", "../../g", "http://a/g"}, {"", "../../../../g", "http://a/g"},
        {"", "/./g", "http://a/g"}, {"", "/../g", "http://a/g"}, {"", "g.", "http://a/b/c/g."},
        {"", "g..", "http://a/b/c/g.."}, {"", "..g", "http://a/b/c/..g"}, {"", "./../g", "http://a/b/g"},
        {"", "./g/.", "http://a/b/c/g/"}, {"", "g/../h", "http://a/b/c/h"},
        {"", "g;x=1/../y", "http://a/b/c/y"},
        {"", "g?y/../x", "http://a/b/c/g?y/../x"}, {"", "g#s/../x", "http://a/b/c/g#s/../x"}, {"", "http:g", "http:g"},
        {"http://cdn.example/live/manifest.mpd?token=abc", "seg-1.m4s", "http://cdn.example/live/seg-1.m4s"},
        {"http://cdn.example/live/manifest.mpd", "dash/", "http://cdn.example/live/dash/"},
        {"http://cdn.example", "a.m4s", "http://cdn.example/a.m4s"},
        {"http://cdn.example/a/b/", "../c/seg.m4s?x=1&y=2", "http://cdn.example/a/c/seg.m4s?x=1&y=2"},
        {"file:///srv/media/stream.mpd", "video/seg.m4s", "file:///srv/media/video/seg.m4s"},
        {"file:///srv/media/stream.mpd", "https://other.example/x.m4s", "https://other.example/x.m4s"},
        {"https://a.example/p/", "//b.example/q", "https://b.example/q"},
        {"-", "relative/only.m4s", "relative/only.m4s"}, {"dash/", "seg.m4s", "dash/seg.m4s"},
        {"../up/", "seg.m4s", "../up/seg.m4s"},
    };
    for (const auto& c : cases) {
        const std::string base = *c.base == '\0' ? "http://a/b/c/d;p?q" : *c.base == '-' ? "" : c.base;
        EXPECT_EQ(c.expected, UrlResolver::Resolve(base, c.reference)) << base << " + " << c.reference;
    }
    EXPECT_TRUE(UrlResolver::HasScheme("urn:uuid:1") && UrlResolver::HasScheme("file:///x"));
    EXPECT_FALSE(UrlResolver::HasScheme("./a:b") || UrlResolver::HasScheme("1http://x") || UrlResolver::HasScheme(""));
}

}  // namespace
