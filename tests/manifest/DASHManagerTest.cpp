#include "manifest/DASHManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
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

TEST_F(DASHManagerTest, OpensAPlainPath) {
    std::shared_ptr<dash::IDASHManager> manager = dash::CreateDashManager();
    ASSERT_NE(nullptr, manager);
    auto mpd = manager->Open(mPath);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ(dash::mpd::UrlResolver::FileUrlFromPath(mPath), mpd->GetDocumentUrl());
    EXPECT_NE(std::string::npos, mpd->GetDocumentUrl().find("/manifest-dashmanager%20dir/stream%20%231.mpd"));
    // Relative URLs resolve to file URLs next to the manifest.
    const auto* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
    std::vector<dash::mpd::IBaseUrl*> bases = set->GetRepresentation()[0]->GetBaseURLs();
    std::unique_ptr<dash::mpd::ISegment> segment(set->GetSegmentTemplate()->GetMediaSegmentFromNumber(bases, "v", 1, 3));
    ASSERT_NE(nullptr, segment);
    EXPECT_EQ(dash::mpd::UrlResolver::FileUrlFromPath(mDir) + "/video/s3.m4s", segment->GetUrl());
    const uint32_t now = static_cast<uint32_t>(time(nullptr));
    EXPECT_LE(mpd->GetFetchTime(), now);
    EXPECT_GE(mpd->GetFetchTime() + 60, now);
}

TEST_F(DASHManagerTest, OpensAFileUrl) {
    const std::string url = dash::mpd::UrlResolver::FileUrlFromPath(mPath);
    auto mpd = dash::CreateDashManager()->Open(url);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ(url, mpd->GetDocumentUrl());
    EXPECT_EQ("PT4S", mpd->GetMediaPresentationDuration());
}

TEST_F(DASHManagerTest, OpensARelativePath) {
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
    ASSERT_EQ(0, chdir(mDir.c_str()));
    auto mpd = dash::CreateDashManager()->Open("stream #1.mpd");
    ASSERT_EQ(0, chdir(cwd));
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ(dash::mpd::UrlResolver::FileUrlFromPath(mPath), mpd->GetDocumentUrl());
}

TEST_F(DASHManagerTest, FailuresGiveNullAndALogLine) {
    struct Case {
        std::string url;
        const char* log;
    } cases[] = {
        {mDir + "/missing.mpd", "No such file or directory"},
        {"file:///nonexistent-dir/x.mpd", "No such file or directory"},
        {"file://otherhost/x.mpd", "not a local file"},
        {mDir, "Reading MPD"},                         // a directory
        {"/dev/zero", "larger than 16777216 bytes"},   // endless: bounded read, no hang
    };
    for (const Case& c : cases) {
        velar_test::LogCapture capture;
        EXPECT_EQ(nullptr, dash::CreateDashManager()->Open(c.url)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.log)) << c.url;
        EXPECT_TRUE(capture.containsFragment(c.url)) << c.url;
    }
}

TEST_F(DASHManagerTest, FiftyMegabyteFileIsRefused) {
    const std::string big = mDir + "/big.mpd";
    {
        std::ofstream out(big);
        out << "<MPD><Period>";
        const std::string item(1024 * 1024, ' ');
        for (int i = 0; i < 50; ++i) out << item;
        out << "</Period></MPD>";
    }
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, dash::CreateDashManager()->Open(big));
    EXPECT_TRUE(capture.containsFragment("larger than 16777216 bytes"));
    std::remove(big.c_str());
}

TEST_F(DASHManagerTest, NotAnMpdFile) {
    std::ofstream(mPath) << "<html><body>hello</body></html>";
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, dash::CreateDashManager()->Open(mPath));
    EXPECT_TRUE(capture.containsFragment("found <html>"));
}

}  // namespace
