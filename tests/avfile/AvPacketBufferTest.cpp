#include "avfile/AvPacketBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "mpeg4_parsing/PackHeader.h"
#include "platform/ContigMemBuffer.h"
#include "tests/common/LogCapture.h"
#include "tests/common/WaitFor.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The pack header's bytes are spelled in its own test.
const Bytes kPackHeader = [] {
    Bytes header(14);
    ISO::PackHeader().write(header.data());
    return header;
}();

// A packet buffer over a 32-byte ring (its staging memory keeps the default 64 KiB).
class AvPacketBufferTest : public ::testing::Test {
protected:
    ~AvPacketBufferTest() override {
        if (writer.joinable()) {
            packets.discardData(true);  // releases the writer if a failed test left it blocked
            writer.join();
        }
    }

    void write(const Bytes& bytes, bool flush) {
        packets.writeData(bytes.data(), bytes.size(), flush);
    }

    void fillRing(size_t n) { ring->write(Bytes(n, 0xEE).data(), n); }

    Bytes drain() {
        Bytes out(ring->size());
        out.resize(ring->read(out.data(), out.size(), 0));
        return out;
    }

    // The streamer's side: one 16-byte packet, committed from a thread of its own.
    void startWriter() {
        writer = std::thread([this] {
            write(Bytes(16, 0xAB), true);
            written = true;
        });
    }

    std::shared_ptr<ContigMemBuffer> ring = std::make_shared<ContigMemBuffer>(32);
    avfile::AvPacketBuffer packets{ring};
    std::thread writer;
    std::atomic<bool> written{false};
};

// Each packet is committed whole; a packet that can never fit is logged and forgotten.
TEST_F(AvPacketBufferTest, StagesAndCommitsEachPacketWhole) {
    velar_test::LogCapture log;
    write({1, 2, 3}, false);  // a header...
    EXPECT_EQ(0u, ring->size());
    write({4, 5}, true);  // ...and its payload
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5}), drain());
    write(Bytes(40, 0x11), true);  // no wait
    EXPECT_EQ(std::vector<std::string>{"Failed to write data."}, log.messages());
    write({6}, true);  // the next packet starts at the beginning of the staging memory again
    packets.writeData(nullptr, 0, true);  // a flush with nothing staged commits nothing
    EXPECT_EQ(Bytes{6}, drain());
}

TEST_F(AvPacketBufferTest, DiscardingDropsWritesAndLeavingItStartsWithAPackHeader) {
    write({0xA1, 0xA2}, false);
    fillRing(10);
    packets.discardData(true);
    EXPECT_EQ(0u, ring->size());
    write({0xD1, 0xD2, 0xD3}, true);  // dropped: changes nothing, not even what is staged
    EXPECT_EQ(10u, ring->totalWritten());

    fillRing(10);
    packets.discardData(false);  // empties the ring again, then writes the pack header into it
    write({0xB1}, true);         // the bytes staged before discarding complete this packet
    Bytes expected = kPackHeader;
    expected.insert(expected.end(), {0xA1, 0xA2, 0xB1});
    EXPECT_EQ(expected, drain());
}

// A writer blocked on a full ring is released by a discard from another thread.
TEST_F(AvPacketBufferTest, DiscardFromAnotherThreadReleasesABlockedWriter) {
    fillRing(32);
    startWriter();
    packets.discardData(true);  // as the streamer does around a seek
    ASSERT_TRUE(velar_test::waitFor([&] { return written.load(); }));
    write({1, 2, 3}, true);  // dropped
    packets.discardData(false);
    EXPECT_EQ(kPackHeader, drain());
}

}  // namespace
