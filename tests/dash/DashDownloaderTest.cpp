// DashDownloader on a loopback nginx: failed set-ups, the finished branch of the status, cancel, a
// stalled transfer, live refreshes, and the capability snapshot.
#include "dash/DashDownloader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <regex>

#include "DownloaderRig.h"
#include "FaultServer.h"
#include "LogCapture.h"
#include "TestPorts.h"
#include "WaitFor.h"

namespace {

using namespace dash;
using namespace downloader_rig;
using velar_test::waitFor;

const char* const kVideo = "video/mp4";
const char* const kAudio = "audio/mp4";

struct DashDownloaderTest : ::testing::Test {
    void SetUp() override {
        if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
        raised(DOWNLOAD_STARTED);  // the counters are registered before any session runs
        site = std::make_unique<Site>();
    }
    std::shared_ptr<DashDownloader> make(const std::string& url) {
        const std::string full = url.compare(0, 7, "http://") == 0 ? url : site->url(url);
        return std::dynamic_pointer_cast<DashDownloader>(processFactory()->createDashDownloader(full));
    }
    static size_t buffered(DashDownloader& downloader, const char* mimeType) {
        return downloader.getAdaptationSet(mimeType)->getNumberOfBufferedSegments();
    }
    std::unique_ptr<Site> site;
};

TEST_F(DashDownloaderTest, FailedSetUpLeavesAFinalStatus) {
    site->root.write("garbage.mpd", "this is not an MPD");
    site->root.write("audio.mpd", segmentListMpd(4, "2"));
    site->root.write("video.mpd", segmentListMpd(4, "0"));
    site->root.write("tall.mpd", std::regex_replace(segmentListMpd(4, "0"), std::regex("height=\"180\""),
                                                    "height=\"2160\""));
    const std::string noMpd = "MPD is null, most likely invalid URL or connection issue";
    const std::string refused = "http://127.0.0.1:" + std::to_string(velar_test::freeLoopbackPort()) + "/a.mpd";
    const struct { std::string url; DashDownloadStatus status; int errors; std::string log; } cases[] = {
        {"missing.mpd", FAIL_INVALID_MPD, 0, noMpd},  // 404
        {"garbage.mpd", FAIL_INVALID_MPD, 0, noMpd},
        {refused, FAIL_INVALID_MPD, 0, noMpd},
        {"audio.mpd", FAIL_INVALID_ADAPTATION, 1,
         "No video adaptationSet. Mpd must have at least one video adaptationSet."},
        {"tall.mpd", FAIL_INVALID_REP, 1, "end, Dash Download Error: FAIL_INVALID_REP No representation"},
        // Video alone is accepted.
        {"video.mpd", NO_SEGMENT, 0,
         "No audio adaptationSet, unusual but OK. Audio might be embedded in video segments."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        velar_test::LogCapture log;
        const int errors = raised(DOWNLOAD_ERROR);
        auto downloader = make(c.url);
        EXPECT_EQ(c.status == NO_SEGMENT, downloader->init());
        EXPECT_EQ(c.status, downloader->getStatus());
        EXPECT_EQ(errors + c.errors, raised(DOWNLOAD_ERROR));
        EXPECT_TRUE(log.contains(c.log));
        if (c.status != NO_SEGMENT) {
            EXPECT_FALSE(downloader->startDownload());
            EXPECT_TRUE(log.contains("Downloader failed to start status: " + toString(c.status)));
        }
    }
}

// A session stopped by finish() while a set still has segments to fetch completes once that set's
// queue is drained; until then any count above 0 is READY, even one that a running session would
// call BUFFERING.
TEST_F(DashDownloaderTest, FinishedSessionCompletesWhenAnUnfinishedQueueIsDrained) {
    site->root.write("long.mpd", segmentListMpd(8));
    auto downloader = make("long.mpd");
    const int started = raised(DOWNLOAD_STARTED), completed = raised(DOWNLOAD_COMPLETED);
    ASSERT_TRUE(downloader->init());
    EXPECT_EQ(NO_SEGMENT, downloader->getStatus());
    ASSERT_TRUE(downloader->startDownload());
    EXPECT_EQ(started + 1, raised(DOWNLOAD_STARTED));
    // Nothing is taken while the queues fill, so the status never goes back.
    std::vector<DashDownloadStatus> seen;
    ASSERT_TRUE(waitFor([&] {
        seen.push_back(downloader->getStatus());
        return buffered(*downloader, kVideo) == kMaxBuffered && buffered(*downloader, kAudio) == kMaxBuffered;
    }));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(READY, downloader->getStatus());  // 5 of 8 each: full, neither set at its end

    downloader->finish();
    auto video = downloader->getAdaptationSet(kVideo);
    std::vector<size_t> readyAt;
    for (int i = 0; i < 2 * kMaxBuffered; ++i) {
        const size_t count = video->getNumberOfBufferedSegments();
        const DashDownloadStatus status = downloader->getStatus();
        if (status == COMPLETED) break;
        EXPECT_EQ(READY, status) << count;
        readyAt.push_back(count);
        DashQueuedSegment segment;
        ASSERT_TRUE(video->getBufferedSegment(segment));
    }
    EXPECT_EQ(0u, video->getNumberOfBufferedSegments());
    EXPECT_NE(readyAt.end(), std::find(readyAt.begin(), readyAt.end(), 1u));
    EXPECT_EQ(COMPLETED, downloader->getStatus());
    EXPECT_EQ(COMPLETED, downloader->getStatus());
    EXPECT_EQ(completed + 1, raised(DOWNLOAD_COMPLETED));
    EXPECT_EQ(static_cast<size_t>(kMaxBuffered), buffered(*downloader, kAudio));
}

TEST_F(DashDownloaderTest, CancelEndsTheSessionForGood) {
    site->root.write("long.mpd", segmentListMpd(8));
    auto downloader = make("long.mpd");
    ASSERT_TRUE(downloader->init());
    ASSERT_TRUE(downloader->startDownload());
    velar_test::LogCapture log;
    EXPECT_TRUE(downloader->cancel());
    EXPECT_TRUE(downloader->cancel());
    EXPECT_EQ(CANCELLED, downloader->getStatus());
    EXPECT_FALSE(downloader->startDownload());
    EXPECT_EQ(1u, log.count("Download has cancelled."));
    EXPECT_EQ(1u, log.count("Downloader has aborted status: CANCELLED"));  // the thread's last line, joined
    EXPECT_TRUE(log.contains("Downloader failed to start status: CANCELLED"));
}

TEST(DashDownloaderStallTest, CancelAndDestructionReturnWhileATransferStalls) {
    processFactory();
    velar_test::ScratchDir root("stall-site");
    root.write("stall.mpd",
               "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT4S\">"
               "<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"v\" bandwidth=\"1000\" "
               "height=\"180\"><SegmentList timescale=\"1000\" duration=\"1000\"><Initialization "
               "sourceURL=\"init.mp4?size=100000&amp;stall=1000\"/><SegmentURL media=\"s.m4s\"/></SegmentList>"
               "</Representation></AdaptationSet></Period></MPD>");
    velar_test::FaultServer server(root.path());
    const size_t threads = threadCount();
    std::shared_ptr<IDashDownloader> downloader = processFactory()->createDashDownloader(server.url("stall.mpd"));
    ASSERT_TRUE(downloader->init());
    ASSERT_TRUE(downloader->startDownload());
    ASSERT_TRUE(waitFor([&] { return !server.requestRanges("/init.mp4").empty(); }));

    auto cancelled = std::async(std::launch::async, [&] { return downloader->cancel(); });
    ASSERT_EQ(std::future_status::ready, cancelled.wait_for(std::chrono::seconds(5)));
    EXPECT_EQ(CANCELLED, downloader->getStatus());
    auto destroyed = std::async(std::launch::async, [&] { downloader.reset(); });
    ASSERT_EQ(std::future_status::ready, destroyed.wait_for(std::chrono::seconds(5)));
    EXPECT_TRUE(waitFor([&] { return threadCount() == threads; })) << threadCount() << " threads, " << threads
                                                                    << " before";
}

TEST_F(DashDownloaderTest, LiveRefreshesAndAFailedRefreshKeepsThePreviousMpd) {
    std::string live = site->fixture("timeline/manifest.mpd");
    live = std::regex_replace(live, std::regex("type=\"static\"\\s*mediaPresentationDuration=\"[^\"]*\""),
                              "type=\"dynamic\" availabilityStartTime=\"1970-01-01T00:00:00Z\" "
                              "minimumUpdatePeriod=\"PT0.2S\"");
    live = std::regex_replace(live, std::regex("<Period"), "<BaseURL>fx/timeline/</BaseURL><Period");
    site->root.write("live.mpd", live);
    velar_test::LogCapture log;
    auto downloader = make("live.mpd");
    ASSERT_TRUE(downloader->init());
    const DashCapability first = downloader->getCapability();
    EXPECT_TRUE(first.live);
    EXPECT_EQ(1u, first.version);
    const int errors = raised(DOWNLOAD_ERROR);
    ASSERT_TRUE(downloader->startDownload());

    // Every listed segment fetched: the sets pause for the next refresh, and refreshes come.
    ASSERT_TRUE(waitFor([&] { return log.contains("No live segment. waiting for next MPD refresh."); }));
    EXPECT_TRUE(log.contains("All video/mp4 segments download completed"));
    ASSERT_TRUE(waitFor([&] { return downloader->getCapability().version >= 2; }));
    EXPECT_TRUE(log.contains("Reinitialize live MPD"));
    // Live duration: the end of the last segment, 39424 + 12800 ticks of 12800 per second.
    const DashCapability refreshed = downloader->getCapability();
    ASSERT_EQ(2u, refreshed.entries.size());
    EXPECT_EQ((std::vector<uint64_t>{4080, 80}),
              (std::vector<uint64_t>{refreshed.entries[0].durationMs, refreshed.entries[0].earliestPositionMs}));

    site->root.write("live.mpd", "<html>gone</html>");
    ASSERT_TRUE(waitFor([&] { return downloader->getStatus() == FAIL_INVALID_MPD; }));
    EXPECT_EQ(errors + 1, raised(DOWNLOAD_ERROR));
    EXPECT_TRUE(log.contains("initMpd failed, most likely connection or invalid URL."));
    EXPECT_TRUE(log.contains("end, Dash Download Error: FAIL_INVALID_MPD Reinit() invalid mpd"));
    // The sets still read the previous MPD.
    const DashCapability after = downloader->getCapability();
    ASSERT_EQ(2u, after.entries.size());
    EXPECT_EQ(4080u, after.entries[0].durationMs);
    EXPECT_EQ(FAIL_INVALID_MPD, after.status);
}

// Bandwidths by Representation id of one list of the fixtures' expected.json ("heights", ...).
std::map<std::string, int32_t> expectedBandwidths(const std::string& list) {
    const std::string json = readFile(velar_test::dashFixtures() + "/expected.json");
    const size_t from = json.find("\"" + list + "\": [");
    const std::string section = json.substr(from, json.find(']', from) - from);
    const std::regex item("\"bandwidth\": (\\d+),[^}]*\"id\": \"([^\"]*)\"");
    std::map<std::string, int32_t> out;
    for (std::sregex_iterator it(section.begin(), section.end(), item), end; it != end; ++it) {
        out[(*it)[2]] = std::stoi((*it)[1]);
    }
    return out;
}

TEST_F(DashDownloaderTest, CapabilityListsEverySetWithItsChoices) {
    velar_test::LogCapture log;
    const DashCapability none = make("fx/heights/manifest.mpd")->getCapability();
    EXPECT_EQ(0u, none.version);
    EXPECT_TRUE(none.entries.empty());
    EXPECT_TRUE(log.contains("Size of capability is ZERO\n"));

    // heights/: video 144, 180, 360 and 1152 lines, of which 180 (id 1) and 360 (id 2) are kept.
    auto heights = make("fx/heights/manifest.mpd");
    ASSERT_TRUE(heights->init());
    const DashCapability h = heights->getCapability();
    std::map<std::string, int32_t> bw = expectedBandwidths("heights");
    EXPECT_EQ((std::vector<uint32_t>{1, 0, static_cast<uint32_t>(NO_SEGMENT)}),
              (std::vector<uint32_t>{h.version, h.live, static_cast<uint32_t>(h.status)}));
    ASSERT_EQ(2u, h.entries.size());
    const DashRepCapability& video = h.entries[0];
    EXPECT_EQ(kVideo, video.mimeType);
    EXPECT_EQ((std::vector<int32_t>{bw["1"], bw["2"]}), video.bandwidths);
    EXPECT_EQ((std::vector<std::string>{"und"}), video.languages);
    EXPECT_EQ("1 und 180", video.currentRepresentationId + " " + video.currentLanguage + " " +
                               std::to_string(video.currentHeight));
    EXPECT_EQ(bw["1"], video.currentBandwidth);
    EXPECT_EQ((std::vector<uint64_t>{4000, 0, 0}),
              (std::vector<uint64_t>{video.durationMs, video.earliestPositionMs, video.bufferedSegments}));
    EXPECT_EQ((std::vector<int32_t>{bw["4"]}), h.entries[1].bandwidths);
    EXPECT_TRUE(log.contains("Video : Available representation bandwidth: " + std::to_string(bw["1"]) + " " +
                             std::to_string(bw["2"])));

    // multilang/: three audio AdaptationSets become one set ordered by language; English is chosen.
    auto multilang = make("fx/multilang/manifest.mpd");
    ASSERT_TRUE(multilang->init());
    bw = expectedBandwidths("multilang");
    const DashRepCapability audio = multilang->getCapability().entries.at(1);
    EXPECT_EQ((std::vector<int32_t>{bw["3"], bw["1"], bw["2"]}), audio.bandwidths);
    EXPECT_EQ((std::vector<std::string>{"deu", "eng", "fra"}), audio.languages);
    EXPECT_EQ("1 eng", audio.currentRepresentationId + " " + audio.currentLanguage);
}

}  // namespace
