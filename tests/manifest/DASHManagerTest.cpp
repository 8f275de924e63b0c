#include "manifest/DASHManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <memory>
#include <string>

#include "LogCapture.h"
#include "ScratchDir.h"
#include "manifest/mpd/UrlResolver.h"

namespace {

using dash::mpd::UrlResolver;

// A plain path, a file URL and a relative path open the same document; relative URLs in it
// resolve to file URLs next to it.
TEST(DASHManagerTest, OpensPathsAndFileUrls) {
    velar_test::ScratchDir dir("manifest dir");
    const std::string path = dir.write("stream #1.mpd", std::string(R"(<MPD type="static"><Period>
      <AdaptationSet mimeType="video/mp4"><SegmentTemplate media="s$Number$.m4s" duration="4"/>
      <Representation id="v" bandwidth="1"><BaseURL>video/</BaseURL></Representation></AdaptationSet></Period></MPD>)"));
    const std::string url = UrlResolver::FileUrlFromPath(path);
    EXPECT_NE(std::string::npos, url.find("/manifest%20dir-")) << url;
    EXPECT_EQ(UrlResolver::FileUrlFromPath(dir.path()) + "/stream%20%231.mpd", url);
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    auto relative = dash::CreateDashManager()->Open("stream #1.mpd");
    ASSERT_EQ(0, chdir(cwd));
    for (const auto& mpd : {dash::CreateDashManager()->Open(path), dash::CreateDashManager()->Open(url), relative}) {
        ASSERT_NE(nullptr, mpd);
        EXPECT_EQ(url, mpd->GetDocumentUrl());
        const auto* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
        std::unique_ptr<dash::mpd::ISegment> segment(set->GetSegmentTemplate()->GetMediaSegmentFromNumber(
            set->GetRepresentation()[0]->GetBaseURLs(), "v", 1, 3));
        ASSERT_NE(nullptr, segment);
        EXPECT_EQ(UrlResolver::FileUrlFromPath(dir.path()) + "/video/s3.m4s", segment->GetUrl());
        const uint32_t now = static_cast<uint32_t>(time(nullptr));
        EXPECT_TRUE(mpd->GetFetchTime() <= now && mpd->GetFetchTime() + 60 >= now);
    }
}

TEST(DASHManagerTest, FailuresGiveNullAndALogLine) {
    velar_test::ScratchDir dir("manifest-fail");
    const std::string html = dir.write("page.mpd", std::string("<html><body>hello</body></html>"));
    const struct {
        std::string url;
        const char* log;
    } cases[] = {
        {dir.path() + "/missing.mpd", "No such file or directory"},
        {"file://otherhost/x.mpd", "not a local file"},
        {dir.path(), "Reading MPD"},                  // a directory
        {"/dev/zero", "larger than 16777216 bytes"},  // endless: bounded read, no hang
        {html, "found <html>"},
    };
    for (const auto& c : cases) {
        velar_test::LogCapture capture;
        EXPECT_EQ(nullptr, dash::CreateDashManager()->Open(c.url)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.log)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.url) ||  // the log names the document
                    capture.containsFragment(UrlResolver::FileUrlFromPath(c.url))) << c.url;
    }
}

}  // namespace
