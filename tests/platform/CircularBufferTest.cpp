#include "platform/CircularBuffer.h"
#include "platform/ContigMemBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <numeric>
#include <thread>
#include <vector>

#include "WaitFor.h"

namespace {

std::vector<uint8_t> bytes(size_t n, uint8_t first = 0) {
    std::vector<uint8_t> v(n);
    std::iota(v.begin(), v.end(), first);
    return v;
}

TEST(CircularBufferTest, WriteIsAllOrNothing) {
    CircularBuffer ring(10);
    auto six = bytes(6);
    EXPECT_EQ(6u, ring.write(six.data(), 6));
    EXPECT_EQ(0u, ring.write(six.data(), 6));  // 4 free: nothing is written
    EXPECT_EQ(6u, ring.size());
    EXPECT_EQ(4u, ring.write(six.data(), 4));
    EXPECT_EQ(0u, ring.freeSpace());
}

TEST(CircularBufferTest, ReadsBackAcrossTheWrapPoint) {
    CircularBuffer ring(8);
    auto a = bytes(6, 1);
    ASSERT_EQ(6u, ring.write(a.data(), 6));
    uint8_t out[16];
    ASSERT_EQ(4u, ring.read(out, 4, 0));
    auto b = bytes(6, 100);  // wraps: 2 bytes at the end, 4 at the start
    ASSERT_EQ(6u, ring.write(b.data(), 6));
    ASSERT_EQ(8u, ring.read(out, sizeof(out), 0));
    const uint8_t expected[] = {5, 6, 100, 101, 102, 103, 104, 105};
    EXPECT_EQ(0, std::memcmp(expected, out, sizeof(expected)));
}

TEST(CircularBufferTest, ReadTimesOutOnEmptyRing) {
    CircularBuffer ring(8);
    uint8_t out[4];
    EXPECT_EQ(0u, ring.read(out, 4, 0));
    EXPECT_EQ(0u, ring.read(out, 4, 5));
}

TEST(CircularBufferTest, WaitForFreeSpaceRefusesMoreThanCapacity) {
    CircularBuffer ring(8);
    EXPECT_FALSE(ring.waitForFreeSpace(9, 0));  // would never fit: no wait
    EXPECT_TRUE(ring.waitForFreeSpace(8, 0));
}

TEST(CircularBufferTest, WaitForFreeSpaceTimesOut) {
    CircularBuffer ring(8);
    auto a = bytes(8);
    ring.write(a.data(), 8);
    EXPECT_FALSE(ring.waitForFreeSpace(1, 5));
}

TEST(CircularBufferTest, ClearReleasesABlockedWriter) {
    CircularBuffer ring(8);
    auto a = bytes(8);
    ring.write(a.data(), 8);
    std::atomic<int> result{-1};
    std::thread writer([&] { result = ring.waitForFreeSpace(4, 0) ? 1 : 0; });
    ring.clear();
    writer.join();
    EXPECT_EQ(1, result.load());
    EXPECT_EQ(0u, ring.size());
    EXPECT_EQ(1u, ring.clearCount());
}

TEST(CircularBufferTest, ReaderDrainingReleasesABlockedWriter) {
    CircularBuffer ring(8);
    auto a = bytes(8);
    ring.write(a.data(), 8);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        EXPECT_TRUE(ring.waitForFreeSpace(6, 0));
        done = true;
    });
    uint8_t out[8];
    EXPECT_EQ(8u, ring.read(out, 8, 0));
    EXPECT_TRUE(velar_test::waitFor([&] { return done.load(); }));
    writer.join();
}

TEST(CircularBufferTest, PacketsCrossThreadsWholeAndInOrder) {
    // A writer commits 2000 packets of varying size; the reader sees exactly the bytes written.
    CircularBuffer ring(1000);
    std::vector<uint8_t> sent;
    std::vector<uint8_t> received;
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i) {
            std::vector<uint8_t> packet(1 + (i * 37) % 400, static_cast<uint8_t>(i));
            ASSERT_TRUE(ring.waitForFreeSpace(packet.size(), 0));
            ASSERT_EQ(packet.size(), ring.write(packet.data(), packet.size()));
            sent.insert(sent.end(), packet.begin(), packet.end());
        }
    });
    uint8_t out[333];
    const uint64_t total = [] {
        uint64_t t = 0;
        for (int i = 0; i < 2000; ++i) t += 1 + (i * 37) % 400;
        return t;
    }();
    while (received.size() < total) {
        size_t n = ring.read(out, sizeof(out), 1000);
        received.insert(received.end(), out, out + n);
        if (n == 0) break;
    }
    writer.join();
    EXPECT_EQ(sent, received);
    EXPECT_EQ(total, ring.totalWritten());
}

TEST(ContigMemBufferTest, StagedBytesAreCommittedWhole) {
    ContigMemBuffer buffer(100, 64);
    auto mem = buffer.getContigMem();
    ASSERT_EQ(64u, mem.size);
    for (size_t i = 0; i < 10; ++i) mem.data[i] = static_cast<uint8_t>(0xA0 + i);
    EXPECT_EQ(6u, buffer.writeFromSource(4, 6, false));
    uint8_t out[10];
    ASSERT_EQ(6u, buffer.read(out, sizeof(out), 0));
    const uint8_t expected[] = {0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9};
    EXPECT_EQ(0, std::memcmp(expected, out, 6));
}

TEST(ContigMemBufferTest, RefusesRangesOutsideTheStagingMemory) {
    ContigMemBuffer buffer(100, 64);
    EXPECT_EQ(0u, buffer.writeFromSource(60, 5, false));
    EXPECT_EQ(0u, buffer.writeFromSource(65, 0, false));
    EXPECT_EQ(0u, buffer.size());
}

TEST(ContigMemBufferTest, DoesNotCommitPartOfAPacketWhenFull) {
    ContigMemBuffer buffer(10, 64);
    EXPECT_EQ(8u, buffer.writeFromSource(0, 8, false));
    EXPECT_EQ(0u, buffer.writeFromSource(0, 8, false));
    EXPECT_EQ(8u, buffer.size());
}

}  // namespace
