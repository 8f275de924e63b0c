// FetchUrl, the synchronous fetch of manifests, and HttpDownload beside it: local files and bad
// requests give the same bytes or the same error; HTTPS verifies certificates.
#include <gtest/gtest.h>

#include "NetworkTest.h"
#include "manifest/network/HttpDownload.h"

namespace {

using namespace dash::network;
using velar_test::NetworkTest;

TEST(FetchUrl, LocalFilesAndBadRequestsAgreeWithHttpDownload) {
    velar_test::ScratchDir dir("net-local");
    const std::vector<uint8_t> bytes = velar_test::patternBytes(300000, 3);
    const std::string path = dir.write("a dir/clip 1.mp4", bytes);
    const std::string escaped = dir.path() + "/a%20dir/clip%201.mp4";
    const struct {
        std::string url;
        std::string range;
        size_t first;  // the bytes expected, when there is no error
        size_t count;
        std::string error;
    } cases[] = {
        {path, "", 0, 300000, ""},  // exactly at the size limit
        {"file://localhost" + escaped, "299999-299999", 299999, 1, ""},
        {"FILE://" + escaped, "1000-999999", 1000, 299000, ""},  // up to the end
        {dir.path() + "/big", "", 0, 0, "body larger than 300000 bytes"},
        {path, "300000-", 0, 0, "range 300000- starts beyond the end of " + path + " (300000 bytes)"},
        {dir.path() + "/missing", "", 0, 0, "cannot open " + dir.path() + "/missing: No such file or directory"},
        {dir.path(), "", 0, 0, "not a regular file: " + dir.path()},
        {"file://otherhost/x", "", 0, 0, "file URL with a remote host: file://otherhost/x"},
        {"file:///x%00y", "", 0, 0, "file URL with a NUL byte: file:///x%00y"},
        {"ftp://127.0.0.1/x", "", 0, 0, "unsupported URL scheme in ftp://127.0.0.1/x"},
        {"http://127.0.0.1:1/x", "abc", 0, 0, "invalid byte range \"abc\""},
    };
    dir.write("big", velar_test::patternBytes(300001));
    DownloadOptions options = NetworkTest::quickOptions();
    options.maxBodyBytes = 300000;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url + " " + c.range);
        const DownloadState state = c.error.empty() ? COMPLETED : ERROR;
        const NetworkTest::Run r = NetworkTest::run(c.url, c.range, options);
        EXPECT_EQ(state, r.state);
        EXPECT_EQ(c.error, r.error);
        EXPECT_EQ(NetworkTest::slice(bytes, c.first, c.count), r.bytes);
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, state}), r.states);
        if (c.range.empty()) {
            std::vector<uint8_t> out = {9};  // replaced, never appended to
            std::string error = "stale";
            EXPECT_EQ(c.error.empty(), FetchUrl(c.url, out, error, options));
            EXPECT_EQ(c.error, error);
            EXPECT_EQ(r.bytes, out);
        }
    }
}

TEST(FetchUrl, HttpsVerifiesTheCertificateUnlessToldNotTo) {
    if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
    velar_test::ScratchDir root("net-tls");
    root.write("a.mpd", std::string("<MPD/>"));
    velar_test::NginxServer server(root.path(), true);
    ASSERT_EQ(0u, server.url("a.mpd").rfind("https://", 0));
    std::vector<uint8_t> out;
    std::string error;
    // The certificate is self-signed: verification, on by default, refuses it.
    EXPECT_FALSE(FetchUrl(server.url("a.mpd"), out, error, NetworkTest::quickOptions()));
    EXPECT_NE(std::string::npos, error.find("certificate")) << error;
    EXPECT_TRUE(server.requests().empty());
    DownloadOptions insecure = NetworkTest::quickOptions();
    insecure.verifyTls = false;
    ASSERT_TRUE(FetchUrl(server.url("a.mpd"), out, error, insecure)) << error;
    EXPECT_EQ((std::vector<uint8_t>{'<', 'M', 'P', 'D', '/', '>'}), out);
}

}  // namespace
