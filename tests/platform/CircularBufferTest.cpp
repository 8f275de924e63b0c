#include "platform/CircularBuffer.h"
#include "platform/ContigMemBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <thread>
#include <vector>

namespace {

std::vector<uint8_t> bytes(size_t n, uint8_t first = 0) {
    std::vector<uint8_t> v(n);
    std::iota(v.begin(), v.end(), first);
    return v;
}

// Writes are all or nothing, and read back in order across the wrap point.
TEST(CircularBufferTest, WriteIsAllOrNothing) {
    CircularBuffer ring(8);
    const auto a = bytes(6, 1);
    EXPECT_EQ(6u, ring.write(a.data(), 6));
    EXPECT_EQ(0u, ring.write(a.data(), 6));  // 2 free: nothing is written
    std::vector<uint8_t> out(16);
    ASSERT_EQ(4u, ring.read(out.data(), 4, 0));
    const auto b = bytes(6, 100);  // wraps: 2 bytes at the end, 4 at the start
    ASSERT_EQ(6u, ring.write(b.data(), 6));
    out.resize(ring.read(out.data(), out.size(), 0));
    EXPECT_EQ((std::vector<uint8_t>{5, 6, 100, 101, 102, 103, 104, 105}), out);
    EXPECT_FALSE(ring.waitForFreeSpace(9, 0));  // would never fit: no wait
}

TEST(CircularBufferTest, ClearReleasesABlockedWriter) {
    CircularBuffer ring(8);
    const auto a = bytes(8);
    ring.write(a.data(), 8);
    std::atomic<int> result{-1};
    std::thread writer([&] { result = ring.waitForFreeSpace(4, 0) ? 1 : 0; });
    ring.clear();
    writer.join();
    EXPECT_EQ(1, result.load());
    EXPECT_EQ(0u, ring.size());
}

// A packet staged in the contiguous memory is committed whole or not at all.
TEST(ContigMemBufferTest, StagedBytesAreCommittedWhole) {
    ContigMemBuffer buffer(10, 64);
    auto mem = buffer.getContigMem();
    ASSERT_EQ(64u, mem.size);
    for (size_t i = 0; i < 10; ++i) mem.data[i] = static_cast<uint8_t>(0xA0 + i);
    EXPECT_EQ(0u, buffer.writeFromSource(60, 5, false));  // outside the staging memory
    EXPECT_EQ(6u, buffer.writeFromSource(4, 6, false));
    EXPECT_EQ(0u, buffer.writeFromSource(0, 6, false));  // 4 free
    std::vector<uint8_t> out(10);
    out.resize(buffer.read(out.data(), out.size(), 0));
    EXPECT_EQ((std::vector<uint8_t>{0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9}), out);
}

}  // namespace
