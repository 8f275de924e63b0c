#include "avfile/AvStreamerThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/MockAvFile.h"
#include "tests/common/MockAvPacketBuffer.h"
#include "tests/common/MockAvRouter.h"
#include "tests/common/WaitFor.h"
#include "avfile/AvPacketBuffer.h"
#include "platform/ContigMemBuffer.h"

using avfile::AvSampleFilter;
using avfile::AvStatus;
using avfile::AvStreamerState;
using ::testing::_;
using ::testing::Invoke;
using ::testing::NiceMock;
using ::testing::Return;
using velar_test::waitFor;

namespace {

const std::chrono::seconds kPatience(10);

avfile::AvTrack videoTrack() {
    avfile::AvTrack track;
    track.id = 0;
    track.type = avfile::AvTrackType::Video;
    track.codec = "avc1";
    return track;
}

// Answers a video sample for every read; counts the reads (the worker's steps).
AvStatus deliverVideo(avfile::AvSample& sample) {
    sample.track = 0;
    sample.data.assign(64, 0x22);
    sample.trackInfo = videoTrack();
    return AvStatus::OK;
}

class AvStreamerThreadTest : public ::testing::Test {
protected:
    AvStreamerThreadTest()
        : file(std::make_shared<NiceMock<velar_test::MockAvFile>>()),
          router(std::make_shared<NiceMock<velar_test::MockAvRouter>>()),
          packets(std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>()) {
        ON_CALL(*file, getTracks()).WillByDefault(Return(std::vector<avfile::AvTrack>{videoTrack()}));
        ON_CALL(*file, jumpToTime(_, _)).WillByDefault(Return(true));
        ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke([this](avfile::AvSample& sample) {
            ++reads;
            return deliverVideo(sample);
        }));
        ON_CALL(*router, noTracks()).WillByDefault(Return(true));
    }

    std::unique_ptr<avfile::AvStreamerThread> makeStreamer() {
        return std::make_unique<avfile::AvStreamerThread>(file, router, packets);
    }

    velar_test::LogCapture log;
    std::atomic<int> reads{0};
    std::shared_ptr<NiceMock<velar_test::MockAvFile>> file;
    std::shared_ptr<NiceMock<velar_test::MockAvRouter>> router;
    std::shared_ptr<NiceMock<velar_test::MockAvPacketBuffer>> packets;
};

TEST_F(AvStreamerThreadTest, NoWorkerBeforeTheFirstPositioning) {
    auto streamer = makeStreamer();
    EXPECT_FALSE(streamer->isRunning());
    streamer.reset();
    EXPECT_EQ(0u, log.count("Thread start"));
    EXPECT_EQ(0, reads.load());
}

TEST_F(AvStreamerThreadTest, TwoPositioningsStartOneWorker) {
    auto streamer = makeStreamer();
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_TRUE(streamer->isRunning());
    ASSERT_TRUE(streamer->setPosition(4000, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return reads.load() > 10; }, kPatience));
    streamer.reset();
    EXPECT_EQ(1u, log.count("Thread start"));
    EXPECT_EQ(1u, log.count("Thread end"));
}

TEST_F(AvStreamerThreadTest, ConcurrentPositioningsStartOneWorker) {
    auto streamer = makeStreamer();
    std::vector<std::future<bool>> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.push_back(std::async(std::launch::async, [&streamer, i] {
            return streamer->setPosition(1000u * i, AvSampleFilter::AllSamples);
        }));
    }
    for (auto& h : hosts) {
        EXPECT_TRUE(h.get());
    }
    streamer.reset();
    EXPECT_EQ(1u, log.count("Thread start"));
}

TEST_F(AvStreamerThreadTest, FailedPositioningStartsNoWorker) {
    ON_CALL(*router, noTracks()).WillByDefault(Return(false));
    auto streamer = makeStreamer();
    EXPECT_FALSE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_FALSE(streamer->isRunning());
    EXPECT_EQ(AvStreamerState::Error, streamer->getState());
    streamer.reset();
    EXPECT_EQ(0u, log.count("Thread start"));
}

TEST_F(AvStreamerThreadTest, WorkerPlaysToTheEndAndStaysAlive) {
    std::atomic<int> fed{0};
    ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke([this](avfile::AvSample& sample) {
        return ++reads > 50 ? AvStatus::EndOfFile : deliverVideo(sample);
    }));
    ON_CALL(*router, feedSample(_)).WillByDefault(Invoke([&](const avfile::AvSample&) { ++fed; }));
    auto streamer = makeStreamer();
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return streamer->getState() == AvStreamerState::EndOfFile; },
                        kPatience));
    EXPECT_EQ(50, fed.load());
    EXPECT_TRUE(streamer->isRunning());  // EndOfFile polls; only Stopped ends the worker
    EXPECT_EQ(0u, log.count("Thread end"));
}

TEST_F(AvStreamerThreadTest, StopEndsTheWorkerAndPositioningStartsAFreshOne) {
    ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke([this](avfile::AvSample&) {
        ++reads;
        return AvStatus::NotEnoughData;  // polled once a second
    }));
    auto streamer = makeStreamer();
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return reads.load() >= 1; }, kPatience));

    streamer->stop();
    ASSERT_TRUE(waitFor([&] { return !streamer->isRunning(); }, kPatience));
    EXPECT_EQ(1u, log.count("Thread end"));
    const int readsWhenStopped = reads.load();

    ASSERT_TRUE(streamer->setPosition(3000, AvSampleFilter::AllSamples));
    EXPECT_TRUE(streamer->isRunning());
    ASSERT_TRUE(waitFor([&] { return reads.load() > readsWhenStopped; }, kPatience));
    EXPECT_EQ(2u, log.count("Thread start"));
    EXPECT_EQ(AvStreamerState::Buffering, streamer->getState());
}

TEST_F(AvStreamerThreadTest, PositioningRightAfterStopNeverLosesTheWorker) {
    auto streamer = makeStreamer();
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    for (int i = 0; i < 200; ++i) {
        streamer->stop();
        ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
        // Either the old worker saw the new position or a new one was started.
        ASSERT_TRUE(streamer->isRunning()) << "round " << i;
    }
    const int before = reads.load();
    EXPECT_TRUE(waitFor([&] { return reads.load() > before + 10; }, kPatience));
}

// A ring the host never drains: the worker blocks in the packet buffer's wait, and destruction
// must still complete.
TEST(AvStreamerThreadRingTest, DestructionCompletesWhileTheHostNeverDrainsTheRing) {
    auto ring = std::make_shared<ContigMemBuffer>(8192);
    auto packetBuffer = std::make_shared<avfile::AvPacketBuffer>(ring);
    auto file = std::make_shared<NiceMock<velar_test::MockAvFile>>();
    auto router = std::make_shared<NiceMock<velar_test::MockAvRouter>>();
    ON_CALL(*file, getTracks()).WillByDefault(Return(std::vector<avfile::AvTrack>{videoTrack()}));
    ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke(deliverVideo));
    ON_CALL(*router, noTracks()).WillByDefault(Return(true));
    const std::vector<uint8_t> packet(1000, 0x5A);
    ON_CALL(*router, feedSample(_)).WillByDefault(Invoke([&](const avfile::AvSample&) {
        packetBuffer->writeData(packet.data(), packet.size(), true);
    }));

    auto streamer = std::make_unique<avfile::AvStreamerThread>(file, router, packetBuffer);
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return ring->freeSpace() < packet.size(); }, kPatience));
    EXPECT_EQ(AvStreamerState::Playing, streamer->getState());

    std::promise<void> destroyed;
    std::thread host([&] {
        streamer.reset();
        destroyed.set_value();
    });
    const auto status = destroyed.get_future().wait_for(kPatience);
    if (status != std::future_status::ready) {
        host.detach();  // the destructor hangs; do not hang the whole suite with it
        FAIL() << "destruction did not complete while the ring was full";
    }
    host.join();
}

// By design the worker does not catch what escapes step(): the process ends.
TEST(AvStreamerThreadDeathTest, FeederExceptionEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto file = std::make_shared<NiceMock<velar_test::MockAvFile>>();
            auto router = std::make_shared<NiceMock<velar_test::MockAvRouter>>();
            ON_CALL(*file, getTracks())
                .WillByDefault(Return(std::vector<avfile::AvTrack>{videoTrack()}));
            ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke(deliverVideo));
            ON_CALL(*router, noTracks()).WillByDefault(Return(true));
            ON_CALL(*router, feedSample(_))
                .WillByDefault(::testing::Throw(std::runtime_error("feeder exploded")));
            avfile::AvStreamerThread streamer(
                file, router, std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>());
            streamer.setPosition(0, AvSampleFilter::AllSamples);
            waitFor([] { return false; }, std::chrono::seconds(30));
        },
        "feeder exploded");
}

}  // namespace
