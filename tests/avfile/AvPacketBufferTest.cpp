#include "avfile/AvPacketBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/WaitFor.h"
#include "platform/ContigMemBuffer.h"

namespace {

using Bytes = std::vector<uint8_t>;

const Bytes kPackHeader = {
    0x00, 0x00, 0x01, 0xBA,  // pack_start_code
    0x44, 0x00, 0x04, 0x00,  // SCR 0 with its markers
    0x04, 0x01,              // SCR 0, SCR_extension 0, markers
    0xFF, 0xFF, 0xFF,        // program_mux_rate all ones, markers
    0x00,                    // reserved bits 0, no stuffing
};

Bytes bytes(size_t n, uint8_t first) {
    Bytes v(n);
    std::iota(v.begin(), v.end(), first);
    return v;
}

Bytes concat(const Bytes& a, const Bytes& b) {
    Bytes out = a;
    out.insert(out.end(), b.begin(), b.end());
    return out;
}

class AvPacketBufferTest : public ::testing::Test {
protected:
    explicit AvPacketBufferTest(size_t ringBytes = 4096)
        : ring(std::make_shared<ContigMemBuffer>(ringBytes)), packets(ring) {}

    Bytes drain() {
        Bytes out(ring->size());
        out.resize(ring->read(out.data(), out.size(), 0));
        return out;
    }

    std::shared_ptr<ContigMemBuffer> ring;
    avfile::AvPacketBuffer packets;
};

TEST_F(AvPacketBufferTest, StagesInTheContiguousMemoryAndCommitsOnFlush) {
    const Bytes header = bytes(9, 1);
    const Bytes payload = bytes(20, 100);
    packets.writeData(header.data(), header.size(), false);
    EXPECT_EQ(0u, ring->size());
    EXPECT_EQ(header, Bytes(ring->getContigMem().data, ring->getContigMem().data + 9));

    packets.writeData(payload.data(), payload.size(), true);
    EXPECT_EQ(concat(header, payload), drain());

    // The next packet starts at the beginning of the staging memory again.
    packets.writeData(payload.data(), 4, true);
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 4), drain());
    EXPECT_EQ(33u, ring->totalWritten());
}

TEST_F(AvPacketBufferTest, FlushWithNothingStagedCommitsNothing) {
    packets.writeData(nullptr, 0, true);
    const Bytes one = {0x42};
    packets.writeData(one.data(), 0, true);
    EXPECT_EQ(0u, ring->totalWritten());
}

TEST_F(AvPacketBufferTest, LeavingDiscardOnAFreshBufferWritesThePackHeader) {
    packets.discardData(false);
    EXPECT_EQ(1u, ring->clearCount());
    EXPECT_EQ(kPackHeader, drain());
}

TEST_F(AvPacketBufferTest, EnteringDiscardEmptiesTheRingAndDropsWrites) {
    const Bytes old = bytes(50, 0);
    ASSERT_EQ(50u, ring->write(old.data(), old.size()));
    packets.discardData(true);
    EXPECT_EQ(0u, ring->size());

    const Bytes dropped = bytes(10, 7);
    packets.writeData(dropped.data(), dropped.size(), false);
    packets.writeData(dropped.data(), dropped.size(), true);
    EXPECT_EQ(0u, ring->size());
    EXPECT_EQ(50u, ring->totalWritten());
}

TEST_F(AvPacketBufferTest, DiscardingLeavesStagedBytesAsTheyWere) {
    const Bytes staged = {0xA1, 0xA2};
    const Bytes dropped = {0xD1, 0xD2, 0xD3};
    const Bytes later = {0xB1};
    packets.writeData(staged.data(), staged.size(), false);
    packets.discardData(true);
    packets.writeData(dropped.data(), dropped.size(), true);  // changes nothing, not even fill
    packets.discardData(false);
    packets.writeData(later.data(), later.size(), true);
    // The pack header goes straight into the ring; the staged bytes complete the next packet.
    EXPECT_EQ(concat(kPackHeader, Bytes{0xA1, 0xA2, 0xB1}), drain());
    EXPECT_EQ(2u, ring->clearCount());
}

TEST_F(AvPacketBufferTest, LeavingDiscardAlsoEmptiesTheRing) {
    const Bytes old = bytes(50, 0);
    packets.writeData(old.data(), old.size(), true);
    packets.discardData(false);
    packets.discardData(false);
    EXPECT_EQ(kPackHeader, drain());
}

TEST(AvPacketBufferSmallRingTest, ShortCommitIsLoggedAndForgotten) {
    velar_test::LogCapture log;
    auto ring = std::make_shared<ContigMemBuffer>(16);
    avfile::AvPacketBuffer packets(ring);
    const Bytes tooBig = bytes(20, 0);
    packets.writeData(tooBig.data(), tooBig.size(), true);  // can never fit: no wait
    EXPECT_EQ(0u, ring->size());
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ("Failed to write data.", log.lines()[0].message);
    EXPECT_EQ("avfile/AvPacketBuffer", log.lines()[0].source);
    EXPECT_EQ(0, log.lines()[0].level);

    const Bytes next = {1, 2, 3};
    packets.writeData(next.data(), next.size(), true);
    Bytes out(16);
    out.resize(ring->read(out.data(), out.size(), 0));
    EXPECT_EQ(next, out);
}

TEST(AvPacketBufferSmallRingTest, BlocksWhileTheRingIsFullThenCommitsWhole) {
    auto ring = std::make_shared<ContigMemBuffer>(32);
    avfile::AvPacketBuffer packets(ring);
    const Bytes first = bytes(20, 0);
    ASSERT_EQ(20u, ring->write(first.data(), first.size()));

    const Bytes packet = bytes(16, 100);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        packets.writeData(packet.data(), packet.size(), true);
        done = true;
    });
    EXPECT_FALSE(velar_test::waitFor([&] { return done.load(); }, std::chrono::milliseconds(50)));
    EXPECT_EQ(20u, ring->size());  // nothing of the packet yet

    Bytes out(32);
    ASSERT_EQ(20u, ring->read(out.data(), 20, 0));
    ASSERT_TRUE(velar_test::waitFor([&] { return done.load(); }));
    writer.join();
    out.resize(ring->read(out.data(), out.size(), 0));
    EXPECT_EQ(packet, out);
}

TEST(AvPacketBufferSmallRingTest, DiscardReleasesABlockedWriter) {
    auto ring = std::make_shared<ContigMemBuffer>(32);
    avfile::AvPacketBuffer packets(ring);
    const Bytes full = bytes(32, 0);
    ASSERT_EQ(32u, ring->write(full.data(), full.size()));

    const Bytes packet = bytes(16, 100);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        packets.writeData(packet.data(), packet.size(), true);
        done = true;
    });
    packets.discardData(true);  // from another thread, as the streamer does around a seek
    ASSERT_TRUE(velar_test::waitFor([&] { return done.load(); }));
    writer.join();

    packets.writeData(packet.data(), packet.size(), true);  // dropped
    packets.discardData(false);
    Bytes out(32);
    out.resize(ring->read(out.data(), out.size(), 0));
    EXPECT_EQ(kPackHeader, out);
}

// The streamer thread writes while another thread switches discarding under the streamer lock:
// the flag is shared without a lock of its own (run under TSan to see the point).
TEST(AvPacketBufferSmallRingTest, DiscardSwitchesWhileTheStreamerWrites) {
    auto ring = std::make_shared<ContigMemBuffer>(4096);
    avfile::AvPacketBuffer packets(ring);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        const Bytes packet = bytes(100, 0);
        while (!stop) {
            packets.writeData(packet.data(), 40, false);
            packets.writeData(packet.data() + 40, 60, true);
        }
    });
    for (int i = 0; i < 500; ++i) {
        packets.discardData(i % 2 == 0);
        Bytes out(4096);
        ring->read(out.data(), out.size(), 0);
    }
    stop = true;
    packets.discardData(true);  // releases the writer if it waits for space
    writer.join();
    packets.discardData(false);
    Bytes out(4096);
    out.resize(ring->read(out.data(), out.size(), 0));
    EXPECT_EQ(kPackHeader, out);
}

}  // namespace
