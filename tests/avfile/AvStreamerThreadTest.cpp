#include "avfile/AvStreamerThread.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "avfile/AvPacketBuffer.h"
#include "platform/ContigMemBuffer.h"
#include "tests/common/LogCapture.h"
#include "tests/common/MockStreamerParts.h"
#include "tests/common/WaitFor.h"

using avfile::AvSampleFilter;
using velar_test::waitFor;

namespace {

class AvStreamerThreadTest : public ::testing::Test {
protected:
    bool position() { return streamer->setPosition(0, AvSampleFilter::AllSamples); }
    bool readsGrow() {
        const int before = parts.reads.load();
        return waitFor([&] { return parts.reads.load() > before; });
    }

    velar_test::LogCapture log;
    velar_test::MockStreamerParts parts;
    std::unique_ptr<avfile::AvStreamerThread> streamer =
        std::make_unique<avfile::AvStreamerThread>(parts.file, parts.router, parts.packets);
};

TEST_F(AvStreamerThreadTest, FailedPositioningStartsNoWorker) {
    parts.makeFeeders = false;
    EXPECT_FALSE(position());
    EXPECT_FALSE(streamer->isRunning());
    streamer.reset();
    EXPECT_EQ(0u, log.count("Thread start"));
    EXPECT_EQ(0, parts.reads.load());
}

TEST_F(AvStreamerThreadTest, OneWorkerUntilStopThenAFreshOne) {
    parts.nextRead = [](avfile::AvSample&) { return avfile::AvStatus::NotEnoughData; };  // slow
    ASSERT_TRUE(position());
    ASSERT_TRUE(position());
    ASSERT_TRUE(readsGrow());
    EXPECT_EQ(1u, log.count("Thread start"));
    streamer->stop();
    ASSERT_TRUE(waitFor([&] { return !streamer->isRunning(); }));
    ASSERT_TRUE(position());
    ASSERT_TRUE(readsGrow());
    EXPECT_EQ(2u, log.count("Thread start"));
}

// The host never drains its ring: the worker blocks in the packet buffer, and destruction must
// still complete.
TEST_F(AvStreamerThreadTest, DestructionCompletesWhileTheRingStaysFull) {
    auto ring = std::make_shared<ContigMemBuffer>(8192);
    auto packetBuffer = std::make_shared<avfile::AvPacketBuffer>(ring);
    const std::vector<uint8_t> packet(1000, 0x5A);
    parts.onFeed = [&](const avfile::AvSample&) {
        packetBuffer->writeData(packet.data(), packet.size(), true);
    };
    auto worker = std::make_unique<avfile::AvStreamerThread>(parts.file, parts.router, packetBuffer);
    ASSERT_TRUE(worker->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return ring->freeSpace() < packet.size(); }));

    std::promise<void> destroyed;
    std::thread host([&] {
        worker.reset();
        destroyed.set_value();
    });
    if (destroyed.get_future().wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        host.detach();  // do not hang the whole suite with the destructor
        FAIL() << "destruction did not complete while the ring was full";
    }
    host.join();
}

// The worker does not catch what escapes step(): the process ends, by design.
TEST(AvStreamerThreadDeathTest, FeederExceptionEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            velar_test::MockStreamerParts parts;
            parts.onFeed = [](const avfile::AvSample&) {
                throw std::runtime_error("feeder exploded");
            };
            avfile::AvStreamerThread streamer(parts.file, parts.router, parts.packets);
            streamer.setPosition(0, AvSampleFilter::AllSamples);
            waitFor([] { return false; }, std::chrono::seconds(30));
        },
        "feeder exploded");
}

}  // namespace
