// The generated DASH fixtures served by nginx and fetched with HttpDownload: every byte range the
// MPDs name is exactly one box (or moof+mdat pair) of the media (ISO/IEC 14496-12 box headers:
// 32-bit size, then the four-character type), and every templated segment exists.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "DashFixtures.h"
#include "NginxServer.h"
#include "manifest/network/HttpDownload.h"

namespace {

using dash::network::COMPLETED;
using dash::network::HttpDownload;

std::string readText(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

struct Box {
    std::string type;
    uint64_t size;
};

// The top-level boxes of `bytes`; a box running past the end is reported with its declared size.
std::vector<Box> boxes(const std::vector<uint8_t>& bytes) {
    std::vector<Box> out;
    size_t pos = 0;
    while (pos + 8 <= bytes.size()) {
        const uint64_t size = (uint64_t(bytes[pos]) << 24) | (uint64_t(bytes[pos + 1]) << 16) |
                              (uint64_t(bytes[pos + 2]) << 8) | bytes[pos + 3];
        out.push_back(Box{std::string(bytes.begin() + long(pos) + 4, bytes.begin() + long(pos) + 8), size});
        if (size < 8) {
            break;
        }
        pos += size;
    }
    return out;
}

std::vector<uint8_t> fetch(const std::string& url, const std::string& range) {
    HttpDownload d(url, range);
    EXPECT_TRUE(d.StartDownload());
    EXPECT_TRUE(d.WaitForCompletion(10000));
    EXPECT_EQ(COMPLETED, d.GetState()) << url << " " << range << ": " << d.GetErrorText();
    return d.GetBytes();
}

uint64_t total(const std::vector<Box>& list) {
    uint64_t sum = 0;
    for (const Box& b : list) sum += b.size;
    return sum;
}

class DashFixtureDownload : public ::testing::Test {
protected:
    void SetUp() override {
        if (!velar_test::NginxServer::available()) {
            GTEST_SKIP() << "nginx is not installed";
        }
        mRoot = velar_test::dashFixtures();
        mServer = std::make_unique<velar_test::NginxServer>(mRoot);
    }
    std::string mRoot;
    std::unique_ptr<velar_test::NginxServer> mServer;
};

TEST_F(DashFixtureDownload, SegmentListMediaRangesAreWholeFragments) {
    const std::string mpd = readText(mRoot + "/onefile/segmentlist-ranges.mpd");
    const std::regex rep("<BaseURL>([^<]+)</BaseURL>[^]*?<Initialization range=\"([0-9-]+)\" />([^]*?)</SegmentList>");
    const std::regex media("mediaRange=\"([0-9-]+)\"");
    size_t reps = 0;
    for (auto it = std::sregex_iterator(mpd.begin(), mpd.end(), rep); it != std::sregex_iterator(); ++it) {
        ++reps;
        const std::string url = mServer->url("onefile/" + (*it)[1].str());
        SCOPED_TRACE(url);
        const auto init = fetch(url, (*it)[2].str());
        const auto initBoxes = boxes(init);
        ASSERT_EQ(2u, initBoxes.size());
        EXPECT_EQ("ftyp", initBoxes[0].type);
        EXPECT_EQ("moov", initBoxes[1].type);
        EXPECT_EQ(init.size(), total(initBoxes));
        const std::string list = (*it)[3].str();
        size_t segments = 0;
        for (auto m = std::sregex_iterator(list.begin(), list.end(), media); m != std::sregex_iterator(); ++m) {
            ++segments;
            const auto bytes = fetch(url, (*m)[1].str());
            const auto b = boxes(bytes);
            ASSERT_EQ(2u, b.size()) << (*m)[1].str();
            EXPECT_EQ("moof", b[0].type);
            EXPECT_EQ("mdat", b[1].type);
            EXPECT_EQ(bytes.size(), total(b));
        }
        EXPECT_GE(segments, 4u);
    }
    EXPECT_EQ(3u, reps);
}

TEST_F(DashFixtureDownload, SegmentBaseIndexRangeIsTheSidxBox) {
    const std::string mpd = readText(mRoot + "/onefile/segmentbase.mpd");
    const std::regex rep("<BaseURL>([^<]+)</BaseURL>\\s*<SegmentBase timescale=\"[0-9]+\" indexRange=\"([0-9-]+)\"[^>]*>\\s*<Initialization range=\"0-([0-9]+)\" />");
    size_t reps = 0;
    for (auto it = std::sregex_iterator(mpd.begin(), mpd.end(), rep); it != std::sregex_iterator(); ++it) {
        ++reps;
        const std::string url = mServer->url("onefile/" + (*it)[1].str());
        const auto index = fetch(url, (*it)[2].str());
        const auto b = boxes(index);
        ASSERT_EQ(1u, b.size());
        EXPECT_EQ("sidx", b[0].type);
        EXPECT_EQ(index.size(), b[0].size);
        // The index follows the initialisation bytes directly.
        EXPECT_EQ(std::stoull((*it)[3].str()) + 1, std::stoull((*it)[2].str()));
    }
    EXPECT_EQ(3u, reps);
}

TEST_F(DashFixtureDownload, TimelineSegmentsExistForEveryS) {
    const std::string mpd = readText(mRoot + "/timeline/manifest.mpd");
    const std::regex rep("<Representation id=\"([0-9]+)\"([^]*?)</Representation>");
    const std::regex s("<S t=\"([0-9]+)\" d=\"[0-9]+\" />");
    size_t count = 0;
    for (auto it = std::sregex_iterator(mpd.begin(), mpd.end(), rep); it != std::sregex_iterator(); ++it) {
        const std::string id = (*it)[1].str();
        const std::string body = (*it)[2].str();
        EXPECT_EQ(std::string::npos, body.find(" r=\"")) << "every S carries its own t";
        const auto init = fetch(mServer->url("timeline/init-" + id + ".m4s"), "");
        EXPECT_EQ("ftyp", boxes(init).at(0).type);
        for (auto m = std::sregex_iterator(body.begin(), body.end(), s); m != std::sregex_iterator(); ++m) {
            const auto seg = fetch(mServer->url("timeline/chunk-" + id + "-" + (*m)[1].str() + ".m4s"), "");
            ASSERT_FALSE(seg.empty());
            EXPECT_EQ(seg.size(), total(boxes(seg)));
            ++count;
        }
    }
    EXPECT_GE(count, 12u);
}

}  // namespace
