// DashDownloader on a loopback nginx: failed set-ups, the finished branch of the status, cancel of a
// stalled transfer, live refreshes, and the capability snapshot.
#include "dash/DashDownloader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <regex>

#include "DownloaderRig.h"
#include "FaultServer.h"
#include "LogCapture.h"
#include "ThreadCount.h"
#include "WaitFor.h"

namespace {

using namespace dash;
using namespace downloader_rig;
using velar_test::threadCount;
using velar_test::waitFor;

const char* const kVideo = "video/mp4";
const char* const kAudio = "audio/mp4";

struct DashDownloaderTest : SiteTest {
    std::shared_ptr<DashDownloader> make(const std::string& path) {
        return std::dynamic_pointer_cast<DashDownloader>(processFactory()->createDashDownloader(url(path)));
    }
    static size_t buffered(DashDownloader& downloader, const char* mimeType) {
        return downloader.getAdaptationSet(mimeType)->getNumberOfBufferedSegments();
    }
};

// A missing MPD (the same branch as one that does not parse or a refused connection, played end to end)
// raises no error event; a presentation without video, or whose video is refused, does. Video alone is
// accepted. Every failure leaves a final status and a downloader that does not start.
TEST_F(DashDownloaderTest, FailedSetUpLeavesAFinalStatus) {
    root.write("audio.mpd", segmentListMpd(4, "2"));
    root.write("video.mpd", segmentListMpd(4, "0"));
    root.write("tall.mpd", std::regex_replace(segmentListMpd(4, "0"), std::regex("\"180\""), "\"2160\""));
    const struct { std::string path; DashDownloadStatus status; int errors; std::string log; } cases[] = {
        {"missing.mpd", FAIL_INVALID_MPD, 0, "MPD is null, most likely invalid URL or connection issue"},
        {"audio.mpd", FAIL_INVALID_ADAPTATION, 1,
         "No video adaptationSet. Mpd must have at least one video adaptationSet."},
        {"tall.mpd", FAIL_INVALID_REP, 1, "end, Dash Download Error: FAIL_INVALID_REP No representation"},
        {"video.mpd", NO_SEGMENT, 0,
         "No audio adaptationSet, unusual but OK. Audio might be embedded in video segments."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        velar_test::LogCapture log;
        const int errors = raised(DOWNLOAD_ERROR);
        auto downloader = make(c.path);
        EXPECT_EQ(c.status == NO_SEGMENT, downloader->init());
        EXPECT_EQ(c.status, downloader->getStatus());
        EXPECT_EQ(errors + c.errors, raised(DOWNLOAD_ERROR));
        EXPECT_TRUE(log.contains(c.log));
        EXPECT_EQ(c.status == NO_SEGMENT, downloader->startDownload());
    }
}

// A session stopped by finish() while a set still has segments to fetch completes once that set's
// queue is drained; until then any count above 0 is READY, even one that a running session would
// call BUFFERING.
TEST_F(DashDownloaderTest, FinishedSessionCompletesWhenAnUnfinishedQueueIsDrained) {
    root.write("long.mpd", segmentListMpd(8));
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
        return buffered(*downloader, kVideo) >= kMaxBuffered && buffered(*downloader, kAudio) >= kMaxBuffered;
    }));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(READY, downloader->getStatus());  // 5 of 8 each: full, neither set at its end
    // A full set is skipped: once an audio segment taken is replaced, the video set (served first in
    // every pass) still holds the maximum.
    auto video = downloader->getAdaptationSet(kVideo);
    DashQueuedSegment segment;
    ASSERT_TRUE(downloader->getAdaptationSet(kAudio)->getBufferedSegment(segment));
    ASSERT_TRUE(waitFor([&] { return buffered(*downloader, kAudio) == kMaxBuffered; }));
    EXPECT_EQ(static_cast<size_t>(kMaxBuffered), video->getNumberOfBufferedSegments());

    downloader->finish();
    for (size_t count = kMaxBuffered; count > 0; --count) {
        EXPECT_EQ(READY, downloader->getStatus()) << count;
        ASSERT_TRUE(video->getBufferedSegment(segment));
    }
    EXPECT_EQ(COMPLETED, downloader->getStatus());
    EXPECT_EQ(COMPLETED, downloader->getStatus());
    EXPECT_EQ(completed + 1, raised(DOWNLOAD_COMPLETED));
    EXPECT_EQ(static_cast<size_t>(kMaxBuffered), buffered(*downloader, kAudio));
}

// Cancel joins the thread while a transfer stalls; a second cancel only logs, the session stays
// CANCELLED for good, and destruction returns with every thread gone.
TEST(DashDownloaderStallTest, CancelAndDestructionReturnWhileATransferStalls) {
    processFactory();
    velar_test::ScratchDir root("stall-site");
    root.write("stall.mpd", std::regex_replace(segmentListMpd(1, "0"), std::regex("init-0.m4s"),
                                               "/init.mp4?size=100000&amp;stall=1000"));
    velar_test::FaultServer server(root.path());
    const size_t threads = threadCount();
    std::shared_ptr<IDashDownloader> downloader = processFactory()->createDashDownloader(server.url("stall.mpd"));
    ASSERT_TRUE(downloader->init());
    ASSERT_TRUE(downloader->startDownload());
    ASSERT_TRUE(waitFor([&] { return !server.requestRanges("/init.mp4").empty(); }));

    velar_test::LogCapture log;
    auto cancelled = std::async(std::launch::async, [&] { return downloader->cancel(); });
    ASSERT_EQ(std::future_status::ready, cancelled.wait_for(std::chrono::seconds(5)));
    EXPECT_EQ(1u, log.count("Downloader has aborted status: CANCELLED"));  // the thread's last line, joined
    EXPECT_TRUE(downloader->cancel());
    EXPECT_EQ(1u, log.count("Download has cancelled."));
    EXPECT_FALSE(downloader->startDownload());
    EXPECT_TRUE(log.contains("Downloader failed to start status: CANCELLED"));
    EXPECT_EQ(CANCELLED, downloader->getStatus());
    auto destroyed = std::async(std::launch::async, [&] { downloader.reset(); });
    ASSERT_EQ(std::future_status::ready, destroyed.wait_for(std::chrono::seconds(5)));
    EXPECT_TRUE(waitFor([&] { return threadCount() == threads; })) << threadCount() << " threads, " << threads;
}

TEST_F(DashDownloaderTest, LiveRefreshesAndAFailedRefreshKeepsThePreviousMpd) {
    std::string live = fixtureText("timeline/manifest.mpd");
    live = std::regex_replace(live, std::regex("type=\"static\"\\s*mediaPresentationDuration=\"[^\"]*\""),
                              "type=\"dynamic\" availabilityStartTime=\"1970-01-01T00:00:00Z\" "
                              "minimumUpdatePeriod=\"PT0.2S\"");
    root.write("live.mpd", std::regex_replace(live, std::regex("<Period"), "<BaseURL>fx/timeline/</BaseURL><Period"));
    velar_test::LogCapture log;
    auto downloader = make("live.mpd");
    ASSERT_TRUE(downloader->init());
    const DashCapability first = downloader->getCapability();
    EXPECT_TRUE(first.live && first.version == 1);
    const int errors = raised(DOWNLOAD_ERROR);
    ASSERT_TRUE(downloader->startDownload());

    // Every listed segment fetched: the sets pause for the next refresh, and refreshes come.
    ASSERT_TRUE(waitFor([&] { return log.contains("No live segment. waiting for next MPD refresh."); }));
    ASSERT_TRUE(waitFor([&] { return downloader->getCapability().version >= 2; }));
    // Live duration: the end of the last segment, 39424 + 12800 ticks of 12800 per second.
    const DashCapability refreshed = downloader->getCapability();
    ASSERT_EQ(2u, refreshed.entries.size());
    EXPECT_EQ((std::vector<uint64_t>{4080, 80}),
              (std::vector<uint64_t>{refreshed.entries[0].durationMs, refreshed.entries[0].earliestPositionMs}));

    root.write("live.mpd", "<html>gone</html>");
    ASSERT_TRUE(waitFor([&] { return downloader->getStatus() == FAIL_INVALID_MPD; }));
    EXPECT_EQ(errors + 1, raised(DOWNLOAD_ERROR));
    EXPECT_TRUE(log.contains("end, Dash Download Error: FAIL_INVALID_MPD Reinit() invalid mpd"));
    // The sets still read the previous MPD.
    const DashCapability after = downloader->getCapability();
    ASSERT_EQ(2u, after.entries.size());
    EXPECT_EQ(4080u, after.entries[0].durationMs);
    EXPECT_EQ(FAIL_INVALID_MPD, after.status);
}

// Before init no set and version 0. heights/ (video 144, 180, 360 and 1152 lines, of which 180 (id 1) and
// 360 (id 2) are kept; audio id 4): the kept representations' bandwidths (as the MPD lists them),
// one entry per language, the current choice, the declared duration; the bandwidth line once per MPD load.
TEST_F(DashDownloaderTest, CapabilityListsEverySetWithItsChoices) {
    velar_test::LogCapture log;
    auto heights = make("fx/heights/manifest.mpd");
    const DashCapability none = heights->getCapability();
    EXPECT_EQ(std::make_pair(0u, size_t(0)), std::make_pair(none.version, none.entries.size()));
    EXPECT_TRUE(log.contains("Size of capability is ZERO\n"));

    ASSERT_TRUE(heights->init());
    heights->getCapability();
    const DashCapability h = heights->getCapability();
    const std::string mpd = fixtureText("heights/manifest.mpd");
    const auto bw = [&mpd](const std::string& id) {  // @bandwidth of a Representation
        std::smatch found;
        std::regex_search(mpd, found, std::regex("<Representation id=\"" + id + "\"[^>]*bandwidth=\"(\\d+)\""));
        return std::stoi(found[1]);
    };
    EXPECT_EQ((std::vector<uint32_t>{1, 0, static_cast<uint32_t>(NO_SEGMENT)}),
              (std::vector<uint32_t>{h.version, h.live, static_cast<uint32_t>(h.status)}));
    ASSERT_EQ(2u, h.entries.size());
    const DashRepCapability& video = h.entries[0];
    EXPECT_EQ(kVideo, video.mimeType);
    EXPECT_EQ((std::vector<int32_t>{bw("1"), bw("2")}), video.bandwidths);
    EXPECT_EQ((std::vector<std::string>{"und"}), video.languages);
    EXPECT_EQ("1 und 180",
              video.currentRepresentationId + " " + video.currentLanguage + " " + std::to_string(video.currentHeight));
    EXPECT_EQ(bw("1"), video.currentBandwidth);
    EXPECT_EQ((std::vector<uint64_t>{4000, 0, 0}),
              (std::vector<uint64_t>{video.durationMs, video.earliestPositionMs, video.bufferedSegments}));
    EXPECT_EQ((std::vector<int32_t>{bw("4")}), h.entries[1].bandwidths);
    EXPECT_EQ(1u, log.count("Video : Available representation bandwidth: " + std::to_string(bw("1")) + " " +
                            std::to_string(bw("2"))));
}

}  // namespace
