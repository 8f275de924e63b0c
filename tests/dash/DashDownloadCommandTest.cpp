// DashDownloadCommand over the template/ fixture on a loopback nginx: segments handed out whole
// (initialisation bytes in front every time), the drained end of an on-demand presentation, a start
// after cancel, and the answers for a MIME type without a set.
#include "dash/DashDownloadCommand.h"

#include <gtest/gtest.h>

#include <atomic>

#include "DownloaderRig.h"
#include "LogCapture.h"
#include "WaitFor.h"
#include "dash/DashDownloadCommandFactory.h"

namespace {

using namespace dash;
using namespace downloader_rig;
using Bytes = std::vector<uint8_t>;

struct DashDownloadCommandTest : SiteTest {
    std::shared_ptr<IDashDownloadCommand> make(const std::string& path) {
        return DashDownloadCommandFactory().getDownloadCommand(url(path));
    }
};

// Whether `data` is 0xAB, the initialisation bytes and media segment n of one of the template/
// Representations `ids` (the bit-rate choice may be on either video one).
bool isWholeSegment(const Bytes& data, uint64_t n, const std::string& ids) {
    const std::string dir = velar_test::dashFixtures() + "/template/";
    for (const char id : ids) {
        Bytes expected{0xAB};
        for (const std::string& name :
             {std::string("init-") + id, std::string("chunk-") + id + "-0000" + std::to_string(n)}) {
            const Bytes part = velar_test::readFileBytes(dir + name + ".m4s");
            expected.insert(expected.end(), part.begin(), part.end());
        }
        if (data == expected) return true;
    }
    return false;
}

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
        Bytes data{1, 2, 3};
        uint64_t position = 2500, duration = 0;
        EXPECT_FALSE(command->getBufferedSegment("text/vtt", data, position));
        EXPECT_EQ((Bytes{1, 2, 3}), data);
        EXPECT_TRUE(log.contains("No adaptationSet found for text/vtt"));
        EXPECT_FALSE(command->findSegmentPosition("text/vtt", position, duration));
        EXPECT_FALSE(command->seek("text/vtt", 1000));
        EXPECT_TRUE(command->seek("video/mp4", 0));  // keeps what is queued or downloading from 0 on
        EXPECT_TRUE(command->findSegmentPosition("video/mp4", position, duration));
        EXPECT_EQ((std::vector<uint64_t>{2000, 1000}), (std::vector<uint64_t>{position, duration}));
    }
    // Four segments a set, fewer than the maximum of five: both sets download to their end.
    ASSERT_TRUE(velar_test::waitFor([&] {
        const DashCapability c = command->getDashCapability();
        return c.entries.size() == 2 && c.entries[0].bufferedSegments == 4 && c.entries[1].bufferedSegments == 4;
    }));
    for (const auto& set : {std::make_pair("video/mp4", "01"), std::make_pair("audio/mp4", "2")}) {
        for (uint64_t i = 0; i < 4; ++i) {
            Bytes data{0xAB};  // appended to, never cleared
            uint64_t position = 99;
            ASSERT_TRUE(command->getBufferedSegment(set.first, data, position));
            EXPECT_EQ(i * 1000, position);
            EXPECT_TRUE(isWholeSegment(data, i + 1, set.second)) << set.first << " at " << position;
        }
    }
    // Sets at their end do not count: the drained session stays READY and does not complete.
    velar_test::LogCapture log;
    Bytes data{1, 2};
    uint64_t position = 7;
    EXPECT_FALSE(command->getBufferedSegment("video/mp4", data, position));
    EXPECT_TRUE(log.contains("No buffer segment for video/mp4, status is READY"));
    EXPECT_EQ(std::make_pair(Bytes{1, 2}, uint64_t(7)), std::make_pair(data, position));
    EXPECT_EQ(READY, command->getStatus());
    EXPECT_EQ(completed, raised(DOWNLOAD_COMPLETED));
    EXPECT_TRUE(command->cancel());
    EXPECT_FALSE(command->getBufferedSegment("audio/mp4", data, position));
    EXPECT_TRUE(log.contains("No buffer segment for audio/mp4, status is CANCELLED"));
}

// Cancelled before it started: the MPD loads, the thread does not start.
TEST_F(DashDownloadCommandTest, StartAfterCancelFails) {
    velar_test::LogCapture log;
    auto cancelled = make("fx/template/manifest.mpd");
    EXPECT_TRUE(cancelled->cancel());
    EXPECT_FALSE(cancelled->start());
    EXPECT_TRUE(log.contains("Can't start dash streaming, please check downloader status"));
}

}  // namespace
