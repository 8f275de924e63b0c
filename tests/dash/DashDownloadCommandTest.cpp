// DashDownloadCommand over the template/ fixture on a loopback nginx: segments handed out whole
// (initialisation bytes in front every time), the drained end of an on-demand presentation, start
// failures, and the answers for a MIME type without a set.
#include "dash/DashDownloadCommand.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>

#include "DownloaderRig.h"
#include "LogCapture.h"
#include "WaitFor.h"
#include "dash/DashDownloadCommandFactory.h"

namespace {

using namespace dash;
using namespace downloader_rig;

struct DashDownloadCommandTest : ::testing::Test {
    void SetUp() override {
        if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
        raised(DOWNLOAD_STARTED);  // the counters are registered before any session runs
        site = std::make_unique<Site>();
    }
    std::shared_ptr<IDashDownloadCommand> make(const std::string& path) {
        processFactory();
        return DashDownloadCommandFactory().getDownloadCommand(site->url(path));
    }
    // Whether `data` is the init segment and the media segment at positionMs of one of the
    // template/ Representations `ids` (the bit-rate choice may be on either video one).
    bool isWholeSegment(const std::vector<uint8_t>& data, uint64_t positionMs, const std::string& ids) const {
        for (const char id : ids) {
            char media[40];
            std::snprintf(media, sizeof(media), "template/chunk-%c-%05llu.m4s", id,
                          static_cast<unsigned long long>(positionMs / 1000 + 1));
            const std::string init = site->fixture(std::string("template/init-") + id + ".m4s");
            if (std::string(data.begin(), data.end()) == init + site->fixture(media)) return true;
        }
        return false;
    }
    std::unique_ptr<Site> site;
};

TEST_F(DashDownloadCommandTest, HandsOutWholeSegmentsAndADrainedPresentationStaysReady) {
    auto command = make("fx/template/manifest.mpd");
    ASSERT_NE(nullptr, command);
    auto started = std::make_shared<std::atomic<int>>(0);  // outlives the process's notifier entry
    command->registerListener(DOWNLOAD_STARTED, [started] { ++*started; });
    const int completed = raised(DOWNLOAD_COMPLETED);
    ASSERT_TRUE(command->start());
    EXPECT_EQ(1, started->load());
    {
        velar_test::LogCapture log;
        std::vector<uint8_t> data{1, 2, 3};
        uint64_t position = 2500, duration = 0;
        EXPECT_FALSE(command->getBufferedSegment("text/vtt", data, position));
        EXPECT_EQ((std::vector<uint8_t>{1, 2, 3}), data);
        EXPECT_TRUE(log.contains("No adaptationSet found for text/vtt"));
        EXPECT_FALSE(command->findSegmentPosition("text/vtt", position, duration));
        EXPECT_FALSE(command->seek("text/vtt", 1000));
        EXPECT_TRUE(log.contains("No adaptationSet for mime text/vtt"));
        EXPECT_TRUE(command->seek("video/mp4", 0));  // keeps what is queued or downloading from 0 on
        EXPECT_TRUE(command->findSegmentPosition("video/mp4", position, duration));
        EXPECT_EQ((std::vector<uint64_t>{2000, 1000}), (std::vector<uint64_t>{position, duration}));
        command->setTrickMode(1000);
        EXPECT_TRUE(log.contains("Set trick mode: 1000"));
    }
    // Four segments a set, fewer than the maximum of five: both sets download to their end.
    ASSERT_TRUE(velar_test::waitFor([&] {
        const DashCapability c = command->getDashCapability();
        return c.entries.size() == 2 && c.entries[0].bufferedSegments == 4 && c.entries[1].bufferedSegments == 4;
    }));
    for (const auto& set : {std::make_pair("video/mp4", "01"), std::make_pair("audio/mp4", "2")}) {
        for (uint64_t i = 0; i < 4; ++i) {
            std::vector<uint8_t> data{0xAB};  // appended to, never cleared
            uint64_t position = 99;
            ASSERT_TRUE(command->getBufferedSegment(set.first, data, position));
            EXPECT_EQ(i * 1000, position);
            ASSERT_EQ(0xAB, data.front());
            data.erase(data.begin());
            EXPECT_TRUE(isWholeSegment(data, position, set.second)) << set.first << " at " << position;
        }
    }
    // Sets at their end do not count: the drained session stays READY and does not complete.
    velar_test::LogCapture log;
    std::vector<uint8_t> data{1, 2};
    uint64_t position = 7;
    EXPECT_FALSE(command->getBufferedSegment("video/mp4", data, position));
    EXPECT_TRUE(log.contains("No buffer segment for video/mp4, status is READY"));
    EXPECT_EQ((std::vector<uint8_t>{1, 2}), data);
    EXPECT_EQ(7u, position);
    EXPECT_EQ(READY, command->getStatus());
    EXPECT_EQ(completed, raised(DOWNLOAD_COMPLETED));
    EXPECT_TRUE(command->cancel());
    EXPECT_FALSE(command->getBufferedSegment("audio/mp4", data, position));
    EXPECT_TRUE(log.contains("No buffer segment for audio/mp4, status is CANCELLED"));
}

TEST_F(DashDownloadCommandTest, StartFailures) {
    velar_test::LogCapture log;
    auto missing = make("fx/missing.mpd");
    EXPECT_FALSE(missing->start());
    EXPECT_TRUE(log.contains("Downloader init failed"));
    EXPECT_EQ(FAIL_INVALID_MPD, missing->getStatus());
    // Cancelled before it started: the MPD loads, the thread does not start.
    auto cancelled = make("fx/template/manifest.mpd");
    EXPECT_TRUE(cancelled->cancel());
    EXPECT_FALSE(cancelled->start());
    EXPECT_TRUE(log.contains("Can't start dash streaming, please check downloader status"));
}

}  // namespace
