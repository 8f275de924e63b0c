// AvFileFfmpegMemory: the same samples and seeks as the file on disk, the byte-source callbacks
// as libavformat calls them, and the refusals of empty and unreadable blocks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
}

#include "LogCapture.h"
#include "RecordingCodecDataFactory.h"
#include "TestMedia.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"

using namespace avfile;
using velar_test::LogCapture;
using Recorder = velar_test::RecordingCodecDataFactory;
using velar_test::readFileBytes;
using velar_test::readSamples;
using velar_test::testMedia;

namespace {

// no_faststart has its moov box at the end (the demuxer seeks through the callback), fragmented
// has one moof+mdat per second.
class MemoryClipTest : public ::testing::TestWithParam<const char*> {};

TEST_P(MemoryClipTest, DeliversAndSeeksAsTheFileOnDisk) {
    const std::string path = testMedia(GetParam());
    AvFileFfmpeg onDisk(Recorder::create(), path);
    auto bytes = readFileBytes(path);
    AvFileFfmpegMemory memory(Recorder::create(), bytes);
    std::fill(bytes.begin(), bytes.end(), 0);  // the block was copied: the caller's may change

    const auto diskTracks = onDisk.getTracks();
    const auto tracks = memory.getTracks();
    ASSERT_EQ(diskTracks.size(), tracks.size());
    for (size_t i = 0; i < tracks.size(); ++i) {
        EXPECT_EQ(diskTracks[i].toString(), tracks[i].toString());
        EXPECT_EQ(tracks[i].durationMs, memory.getActiveDuration(uint32_t(i)));
    }
    EXPECT_EQ(0u, memory.getActiveDuration(uint32_t(tracks.size())));  // no track behind it
    EXPECT_EQ(onDisk.getDuration(), memory.getDuration());
    EXPECT_FALSE(memory.isActive());

    AvStatus diskLast, last;
    velar_test::expectSameSamples(readSamples(onDisk, diskLast), readSamples(memory, last));
    EXPECT_EQ(AvStatus::EndOfFile, diskLast);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    for (uint64_t position : {1500u, 0u, 3999u}) {
        SCOPED_TRACE(position);
        EXPECT_EQ(onDisk.getIFramePosition(0, position), memory.getIFramePosition(0, position));
        ASSERT_TRUE(onDisk.jumpToTime(0, position));
        ASSERT_TRUE(memory.jumpToTime(0, position));
        velar_test::expectSameSamples(readSamples(onDisk, diskLast, 10),
                                      readSamples(memory, last, 10));
    }
    EXPECT_EQ(onDisk.getPositionFromPts(123456), memory.getPositionFromPts(123456));
}

INSTANTIATE_TEST_SUITE_P(GeneratedMedia, MemoryClipTest,
                         ::testing::Values("high_bframes.mp4", "no_faststart.mp4",
                                           "fragmented.mp4"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             const std::string name = info.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(AvFileFfmpegMemoryTest, EmptyBlockIsAPlainRuntimeErrorAndNeverReachesTheDemuxer) {
    LogCapture log;
    EXPECT_EQ(std::make_pair(-1, std::string("Data is zero sized")), velar_test::failureOf([] {
                  AvFileFfmpegMemory memory(Recorder::create(), {});
              }));
    EXPECT_TRUE(log.contains("Data is sized zero"));  // the log's word order differs on purpose
    EXPECT_FALSE(log.containsFragment("Failed to open file"));
}

TEST(AvFileFfmpegMemoryTest, UnreadableBlocksNameTheMemoryInput) {
    // All zeros once made probing ask for more bytes for ever: it must end.
    for (const auto& bytes : {readFileBytes(testMedia("text.mp4")),
                              std::vector<unsigned char>{0x00},
                              std::vector<unsigned char>(10000, 0)}) {
        SCOPED_TRACE(bytes.size());
        LogCapture log;
        EXPECT_EQ(std::make_pair(3, std::string("Ffmpeg failed to open file AvFileFfmpegMemory")),
                  velar_test::failureOf([&] { AvFileFfmpegMemory memory(Recorder::create(), bytes); }));
        EXPECT_TRUE(log.contains("end, Failed to open file: 'AvFileFfmpegMemory'"));
    }
}

TEST(AvFileFfmpegMemoryTest, CutBlockIsNeverActiveSoItsCutIsTheEnd) {
    const auto whole = readFileBytes(testMedia("high_bframes.mp4"));
    LogCapture log;
    AvFileFfmpegMemory memory(Recorder::create(), {whole.begin(), whole.begin() + whole.size() / 2});
    EXPECT_FALSE(memory.isActive());
    EXPECT_EQ(memory.getTracks()[0].durationMs, memory.getActiveDuration(0));  // bytes not looked at
    AvStatus last;
    EXPECT_GT(readSamples(memory, last).size(), 10u);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF: Current position "));
    EXPECT_TRUE(log.contains("Inactive file is incomplete!"));
}

// The byte source as libavformat drives it, on a block whose bytes are known.
class MemoryCallbackTest : public ::testing::Test {
protected:
    // Reads `size` bytes with read() and returns what was copied; checks nothing is written
    // past the count.
    std::vector<unsigned char> read(int size) {
        std::vector<unsigned char> buffer(size_t(size) + 16, 0xEE);
        const int count = memory.read(buffer.data(), size);
        EXPECT_TRUE(count >= 0 && buffer[size_t(count)] == 0xEE) << count;
        buffer.resize(size_t(std::max(count, 0)));
        return buffer;
    }
    int64_t seek(int64_t offset, int whence) {
        return AvFileFfmpegMemory::memseek(&memory, offset, whence);
    }
    std::vector<unsigned char> at(size_t from, size_t count) const {
        return {block.begin() + from, block.begin() + from + count};
    }

    const std::vector<unsigned char> block = readFileBytes(testMedia("audio_only.mp4"));
    AvFileFfmpegMemory memory{Recorder::create(), block};
};

TEST_F(MemoryCallbackTest, SeekTable) {
    LogCapture log;
    EXPECT_EQ(100, seek(100, SEEK_SET));
    EXPECT_EQ(at(100, 8), read(8));
    EXPECT_EQ(158, seek(50, SEEK_CUR));  // 108 + 50
    EXPECT_EQ(152, seek(-6, SEEK_CUR));
    EXPECT_EQ(at(152, 4), read(4));
    // AVSEEK_SIZE answers the block size and leaves the position alone.
    EXPECT_EQ(int64_t(block.size()), seek(0, AVSEEK_SIZE));
    EXPECT_EQ(at(156, 4), read(4));
    // No seeking from the end: whence 2 is unknown, logged, and the position stays.
    EXPECT_EQ(160, seek(-4, SEEK_END));
    EXPECT_TRUE(log.contains("Unknown Seek whence 2"));
    EXPECT_EQ(at(160, 4), read(4));
    EXPECT_EQ(164, seek(0, 12345));
    EXPECT_TRUE(log.contains("Unknown Seek whence 12345"));
    // Only the low 32 bits of the offset count.
    EXPECT_EQ(10, seek((int64_t(1) << 32) + 10, SEEK_SET));
    EXPECT_EQ(at(10, 2), read(2));
}

TEST_F(MemoryCallbackTest, ReadsStopAtTheEnd) {
    const size_t size = block.size();
    ASSERT_EQ(int64_t(size - 3), seek(int64_t(size - 3), SEEK_SET));
    EXPECT_EQ(at(size - 3, 3), read(4096));  // only what is left
    EXPECT_TRUE(read(4096).empty());         // read answers 0 at the end ...
    std::vector<unsigned char> buffer(4096);
    // ... and the callback AVERROR_EOF, which libavformat 59 needs to stop asking.
    EXPECT_EQ(AVERROR_EOF, AvFileFfmpegMemory::memread(&memory, buffer.data(), 4096));
    EXPECT_EQ(0, AvFileFfmpegMemory::memread(&memory, buffer.data(), 0));
    // A position past the end (no range check on seeks) reads nothing and does not crash.
    EXPECT_EQ(int64_t(size + 1000), seek(int64_t(size + 1000), SEEK_SET));
    EXPECT_TRUE(read(4096).empty());
    EXPECT_EQ(0, seek(0, SEEK_SET));
    EXPECT_EQ(4096, AvFileFfmpegMemory::memread(&memory, buffer.data(), 4096));
    EXPECT_EQ(at(0, 4096), buffer);
}

}  // namespace
