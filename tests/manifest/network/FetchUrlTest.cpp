// FetchUrl: the synchronous fetch of manifests, over http, file:// and plain paths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FaultServer.h"
#include "NginxServer.h"
#include "ScratchDir.h"
#include "TestPorts.h"
#include "manifest/network/HttpDownload.h"

namespace {

using dash::network::DownloadOptions;
using dash::network::FetchUrl;

DownloadOptions quickOptions() {
    DownloadOptions o;
    o.connectTimeoutMs = 1000;
    o.stallTimeoutMs = 300;
    o.maxRetries = 1;
    o.retryBackoffMs = 10;
    return o;
}

std::vector<uint8_t> bytesOf(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

const char* const kMpd =
    "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\"/>\n";

TEST(FetchUrl, LocalPathsAndFileUrls) {
    velar_test::ScratchDir dir("net-fetch");
    const std::string path = dir.write("sub dir/manifest.mpd", std::string(kMpd));
    const std::string escaped = dir.path() + "/sub%20dir/manifest.mpd";
    for (const std::string& url : {path, "file://" + escaped, "file://localhost" + escaped}) {
        SCOPED_TRACE(url);
        std::vector<uint8_t> out = {1, 2, 3};  // replaced, not appended to
        std::string error = "stale";
        ASSERT_TRUE(FetchUrl(url, out, error, quickOptions()));
        EXPECT_EQ(bytesOf(kMpd), out);
        EXPECT_EQ("", error);
    }
}

TEST(FetchUrl, FailuresGiveFalseAnErrorAndNoBytes) {
    velar_test::ScratchDir dir("net-fetch-bad");
    const std::string big = dir.write("big.mpd", std::vector<uint8_t>(2048, 'x'));
    DownloadOptions small = quickOptions();
    small.maxBodyBytes = 1024;
    const struct {
        std::string url;
        DownloadOptions options;
        std::string error;
    } cases[] = {
        {dir.path() + "/missing.mpd", quickOptions(),
         "cannot open " + dir.path() + "/missing.mpd: No such file or directory"},
        {dir.path(), quickOptions(), "not a regular file: " + dir.path()},
        {big, small, "body larger than 1024 bytes"},
        {"gopher://example/x", quickOptions(), "unsupported URL scheme in gopher://example/x"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        std::vector<uint8_t> out = {9};
        std::string error;
        EXPECT_FALSE(FetchUrl(c.url, out, error, c.options));
        EXPECT_EQ(c.error, error);
        EXPECT_TRUE(out.empty());
    }
}

TEST(FetchUrl, OverHttpFromNginx) {
    if (!velar_test::NginxServer::available()) {
        GTEST_SKIP() << "nginx is not installed";
    }
    velar_test::ScratchDir root("net-fetch-www");
    root.write("live/manifest.mpd", std::string(kMpd));
    velar_test::NginxServer server(root.path());
    std::vector<uint8_t> out;
    std::string error;
    ASSERT_TRUE(FetchUrl(server.url("live/manifest.mpd"), out, error, quickOptions())) << error;
    EXPECT_EQ(bytesOf(kMpd), out);
    EXPECT_FALSE(FetchUrl(server.url("live/other.mpd"), out, error, quickOptions()));
    EXPECT_EQ("HTTP status 404", error);
    EXPECT_TRUE(out.empty());
}

TEST(FetchUrl, RetriesATransientFailure) {
    velar_test::FaultServer server;
    std::vector<uint8_t> out;
    std::string error;
    ASSERT_TRUE(FetchUrl(server.url("m.mpd?size=5000&status=503&times=1"), out, error, quickOptions()))
        << error;
    EXPECT_EQ(velar_test::FaultServer::generatedBytes(0, 5000), out);
    EXPECT_EQ(2u, server.requestCount("/m.mpd"));
    EXPECT_FALSE(FetchUrl("http://127.0.0.1:" + std::to_string(velar_test::refusedLoopbackPort()) + "/m.mpd",
                          out, error, quickOptions()));
    EXPECT_NE(std::string::npos, error.find("Couldn't connect")) << error;
}

TEST(FetchUrl, HttpsVerifiesTheCertificateUnlessToldNotTo) {
    if (!velar_test::NginxServer::available()) {
        GTEST_SKIP() << "nginx is not installed";
    }
    velar_test::ScratchDir root("net-fetch-tls");
    root.write("a.mpd", std::string(kMpd));
    velar_test::NginxServer::Options tls;
    tls.tls = true;
    velar_test::NginxServer server(root.path(), tls);
    ASSERT_EQ(0u, server.url("a.mpd").rfind("https://", 0));
    std::vector<uint8_t> out;
    std::string error;
    // The certificate is self-signed: verification, on by default, refuses it (without retries).
    EXPECT_FALSE(FetchUrl(server.url("a.mpd"), out, error, quickOptions()));
    EXPECT_NE(std::string::npos, error.find("certificate")) << error;
    ASSERT_TRUE(server.waitForRequests(0));
    EXPECT_TRUE(server.requests().empty());
    DownloadOptions insecure = quickOptions();
    insecure.verifyTls = false;
    ASSERT_TRUE(FetchUrl(server.url("a.mpd"), out, error, insecure)) << error;
    EXPECT_EQ(bytesOf(kMpd), out);
}

TEST(DownloadOptions, DefaultsAreSettableProcessWide) {
    const DownloadOptions saved = DownloadOptions::defaults();
    EXPECT_EQ(5000u, saved.connectTimeoutMs);
    EXPECT_TRUE(saved.verifyTls);
    DownloadOptions changed = saved;
    changed.stallTimeoutMs = 1234;
    DownloadOptions::setDefaults(changed);
    EXPECT_EQ(1234u, DownloadOptions::defaults().stallTimeoutMs);
    DownloadOptions::setDefaults(saved);
    EXPECT_EQ(saved.stallTimeoutMs, DownloadOptions::defaults().stallTimeoutMs);
}

}  // namespace
