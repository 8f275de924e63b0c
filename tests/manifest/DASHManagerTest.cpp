#include "manifest/DASHManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "LogCapture.h"
#include "manifest/mpd/UrlResolver.h"

namespace {

const char* const kSmall = R"(<MPD type="static" mediaPresentationDuration="PT4S">
  <Period><AdaptationSet mimeType="video/mp4"><SegmentTemplate media="s$Number$.m4s" duration="4"/>
  <Representation id="v" bandwidth="1"><BaseURL>video/</BaseURL></Representation></AdaptationSet></Period></MPD>)";

class DASHManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        mDir = std::string(VELAR_TEST_WORK_DIR) + "/manifest-dashmanager dir";
        std::string command = "mkdir -p '" + mDir + "'";
        ASSERT_EQ(0, std::system(command.c_str()));
        mPath = mDir + "/stream #1.mpd";
        std::ofstream(mPath) << kSmall;
    }
    void TearDown() override { std::remove(mPath.c_str()); }

    std::string mDir;
    std::string mPath;
};

// A plain path, a file URL and a relative path open the same document; relative URLs in it
// resolve to file URLs next to it.
TEST_F(DASHManagerTest, OpensPathsAndFileUrls) {
    const std::string url = dash::mpd::UrlResolver::FileUrlFromPath(mPath);
    EXPECT_NE(std::string::npos, url.find("/manifest-dashmanager%20dir/stream%20%231.mpd"));
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
    ASSERT_EQ(0, chdir(mDir.c_str()));
    auto relative = dash::CreateDashManager()->Open("stream #1.mpd");
    ASSERT_EQ(0, chdir(cwd));
    for (const auto& mpd : {dash::CreateDashManager()->Open(mPath), dash::CreateDashManager()->Open(url), relative}) {
        ASSERT_NE(nullptr, mpd);
        EXPECT_EQ(url, mpd->GetDocumentUrl());
        const auto* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
        std::unique_ptr<dash::mpd::ISegment> segment(set->GetSegmentTemplate()->GetMediaSegmentFromNumber(
            set->GetRepresentation()[0]->GetBaseURLs(), "v", 1, 3));
        ASSERT_NE(nullptr, segment);
        EXPECT_EQ(dash::mpd::UrlResolver::FileUrlFromPath(mDir) + "/video/s3.m4s", segment->GetUrl());
        const uint32_t now = static_cast<uint32_t>(time(nullptr));
        EXPECT_TRUE(mpd->GetFetchTime() <= now && mpd->GetFetchTime() + 60 >= now);
    }
}

TEST_F(DASHManagerTest, FailuresGiveNullAndALogLine) {
    const std::string html = mDir + "/page.mpd";
    std::ofstream(html) << "<html><body>hello</body></html>";
    const struct {
        std::string url;
        const char* log;
    } cases[] = {
        {mDir + "/missing.mpd", "No such file or directory"},
        {"file:///nonexistent-dir/x.mpd", "No such file or directory"},
        {"file://otherhost/x.mpd", "not a local file"},
        {mDir, "Reading MPD"},                        // a directory
        {"/dev/zero", "larger than 16777216 bytes"},  // endless: bounded read, no hang
        {html, "found <html>"},
    };
    for (const auto& c : cases) {
        velar_test::LogCapture capture;
        EXPECT_EQ(nullptr, dash::CreateDashManager()->Open(c.url)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.log)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.url) ||  // the log names the document
                    capture.containsFragment(dash::mpd::UrlResolver::FileUrlFromPath(c.url))) << c.url;
    }
    std::remove(html.c_str());
}

}  // namespace
