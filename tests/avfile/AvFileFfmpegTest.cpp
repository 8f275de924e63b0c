// AvFileFfmpeg and AvFileFfmpegMemory on generated clips: index queries and seeks, the wrap-aware
// time stamp arithmetic, bad input, and the byte-source callbacks of the in-memory file.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
}

#include "LogCapture.h"
#include "RecordingCodecDataFactory.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::failureOf;
using velar_test::readFileBytes;
using velar_test::readSamples;
using velar_test::testMedia;
using Recorder = velar_test::RecordingCodecDataFactory;

namespace {

// 90 kHz decode time of the first video sample of a clip (negative with B-frames).
int64_t firstVideoDts(IAvFile& file) {
    AvSample sample;
    while (file.getNextSample(sample) == AvStatus::OK && sample.track != 0) {
    }
    return int64_t(sample.dts);
}

// high_bframes.mp4 has a video key frame every second in 1/12800. getIFramePosition searches
// the index by decode time; jumpToTime's target is taken by the demuxer as a presentation time,
// so with the clip's B-frame delay of 80 ms a position less than 80 ms after a key frame lands
// one key frame earlier. Both stay at or before the position.
struct SeekCase {
    uint64_t positionMs;
    uint64_t keyMs;      // getIFramePosition
    uint64_t landingMs;  // the key frame jumpToTime lands on
};

class SeekTest : public ::testing::TestWithParam<SeekCase> {};

TEST_P(SeekTest, IFramePositionAndJumpLandOnAKeyFrameAtOrBefore) {
    const SeekCase c = GetParam();
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    const int64_t first = firstVideoDts(file);
    EXPECT_EQ(c.keyMs, file.getIFramePosition(0, c.positionMs));
    ASSERT_TRUE(file.jumpToTime(0, c.positionMs));
    AvSample sample;
    while (file.getNextSample(sample) == AvStatus::OK && sample.track != 0) {
    }
    EXPECT_TRUE(sample.keyFrame && sample.firstSample);
    EXPECT_EQ(first + int64_t(c.landingMs) * 90, int64_t(sample.dts));
    EXPECT_EQ(int64_t(c.landingMs) * 90, file.getPositionFromPts(sample.dts));
}

INSTANTIATE_TEST_SUITE_P(KeyFrameEverySecond, SeekTest,
                         ::testing::Values(SeekCase{999, 0, 0}, SeekCase{1079, 1000, 0},
                                           SeekCase{1080, 1000, 1000}, SeekCase{3000, 3000, 2000},
                                           SeekCase{60000, 3000, 3000}));

TEST(AvFileFfmpegTest, PtsDifferencesAreWrapAware) {
    const uint64_t wrap = uint64_t(1) << 33;
    const uint64_t half = uint64_t(1) << 32;
    const struct {
        uint64_t a, b;
        int64_t expected;
    } table[] = {
        {100, 50, 50},
        {50, 100, -50},
        {5, wrap - 5, 10},                 // a wrapped past 2^33
        {wrap - 5, 5, -10},                // b wrapped
        {wrap + 7, 0, 7},                  // whole periods do not count
        {half - 1, 0, int64_t(half) - 1},  // the largest forward distance
        {half, 0, -int64_t(half)},         // bit 32 set: taken as the backward distance
        {3, UINT64_MAX, 4},                // 64-bit wrap of the subtraction
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.expected, AvFileFfmpeg::getDifferenceBetweenPts(row.a, row.b))
            << row.a << " - " << row.b;
    }
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    const uint64_t first = uint64_t(firstVideoDts(file));
    EXPECT_EQ(-90, file.getPositionFromPts(first - 90));
    EXPECT_EQ(90000, file.getPositionFromPts(first + wrap + 90000));
}

// Only -1 from libavformat counts as a failed seek. The clip's single sync sample (stss
// entry_count 1, entry 51) is frame 51, at 2000 ms: nothing before 1000 ms.
TEST(AvFileFfmpegTest, NoKeyFrameBeforeThePositionFailsTheSeek) {
    auto bytes = readFileBytes(testMedia("video_only.mp4"));
    const size_t stss = std::string(bytes.begin(), bytes.end()).find("stss");
    const uint8_t entries[] = {0, 0, 0, 1, 0, 0, 0, 51};  // entry_count, first entry
    std::copy(entries, entries + 8, bytes.begin() + stss + 8);
    velar_test::ScratchDir dir("avfile");
    AvFileFfmpeg file(Recorder::create(), dir.write("latekey.mp4", bytes));
    LogCapture log;
    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_EQ(2000u, file.getIFramePosition(0, 2500));
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_TRUE(log.contains("Seek failed with -1"));
    EXPECT_TRUE(file.jumpToTime(0, 2500));
}

// Track numbers from the stream count up, and a file without demuxer, answer empty.
TEST(AvFileFfmpegTest, BadTrackNumbersAndNoDemuxerAnswerEmpty) {
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    EXPECT_EQ(0u, file.getIFramePosition(2, 1000) | file.getActiveDuration(3));
    EXPECT_FALSE(file.jumpToTime(2, 1000) || file.jumpToTime(3, 1000));
    AvFileFfmpeg empty(Recorder::create());
    EXPECT_EQ(0u, empty.getDuration() | empty.getIFramePosition(0, 0));
    EXPECT_FALSE(empty.isActive() || empty.jumpToTime(0, 0));
    AvSample sample;
    EXPECT_EQ(std::make_pair(0, std::string("Format context is null")),
              failureOf([&] { empty.getNextSample(sample); }));
}

TEST(AvFileFfmpegTest, BadInputGivesTheNamedException) {
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/no-such-file.mp4";
    const std::string text = testMedia("text.mp4");
    const auto textBytes = readFileBytes(text);
    const struct {
        std::function<void()> open;
        std::pair<int, std::string> failure;  // code (-1: not a file-layer exception), text
    } table[] = {
        {[&] { AvFileFfmpeg(Recorder::create(), missing); }, {6, "Failed to open file " + missing}},
        {[&] { AvFileFfmpeg(Recorder::create(), text); }, {3, "Ffmpeg failed to open file " + text}},
        // Deliberately no AvBaseException; the log line's word order differs.
        {[] { AvFileFfmpegMemory(Recorder::create(), {}); }, {-1, "Data is zero sized"}},
        {[&] { AvFileFfmpegMemory(Recorder::create(), textBytes); },
         {3, "Ffmpeg failed to open file AvFileFfmpegMemory"}},
        // All zeros once made probing ask for more bytes for ever.
        {[] { AvFileFfmpegMemory(Recorder::create(), std::vector<unsigned char>(10000, 0)); },
         {3, "Ffmpeg failed to open file AvFileFfmpegMemory"}},
    };
    for (const auto& row : table) {
        LogCapture log;
        EXPECT_EQ(row.failure, failureOf(row.open));
        EXPECT_EQ(row.failure.first == -1, log.contains("Data is sized zero"));
    }
}

// A file cut short on disk may still grow (the end-to-end runs see it wait); a block in memory
// never does: its cut is the end.
TEST(AvFileFfmpegMemoryTest, CutBlockEnds) {
    AvStatus last;
    const auto whole = readFileBytes(testMedia("high_bframes.mp4"));
    LogCapture log;
    AvFileFfmpegMemory memory(Recorder::create(), {whole.begin(), whole.begin() + whole.size() / 2});
    EXPECT_FALSE(memory.isActive());
    EXPECT_GT(readSamples(memory, last).size(), 10u);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    EXPECT_TRUE(log.contains("Inactive file is incomplete!"));
}

// The in-memory file demuxes as the file on disk; no_faststart makes the demuxer seek through
// the callback to its moov box at the end.
TEST(AvFileFfmpegMemoryTest, DeliversAndSeeksAsTheFileOnDisk) {
    const std::string path = testMedia("no_faststart.mp4");
    AvFileFfmpeg onDisk(Recorder::create(), path);
    auto bytes = readFileBytes(path);
    AvFileFfmpegMemory memory(Recorder::create(), bytes);
    std::fill(bytes.begin(), bytes.end(), 0);  // the block was copied
    AvStatus diskLast, last;
    velar_test::expectSameSamples(readSamples(onDisk, diskLast), readSamples(memory, last));
    EXPECT_EQ(AvStatus::EndOfFile, last);
    ASSERT_TRUE(onDisk.jumpToTime(0, 1500) && memory.jumpToTime(0, 1500));
    velar_test::expectSameSamples(readSamples(onDisk, diskLast, 10), readSamples(memory, last, 10));
}

// The byte source as libavformat drives it.
TEST(AvFileFfmpegMemoryTest, SeekAndReadCallbacks) {
    const auto block = readFileBytes(testMedia("audio_only.mp4"));
    AvFileFfmpegMemory memory(Recorder::create(), block);
    const auto seek = [&](int64_t offset, int whence) {
        return AvFileFfmpegMemory::memseek(&memory, offset, whence);
    };
    std::vector<unsigned char> buffer(4096);
    const auto read = [&](int size) {
        const int n = AvFileFfmpegMemory::memread(&memory, buffer.data(), size);
        return std::vector<unsigned char>(buffer.begin(), buffer.begin() + std::max(n, 0));
    };
    const auto at = [&](size_t from, size_t n) {
        return std::vector<unsigned char>(block.begin() + from, block.begin() + from + n);
    };
    LogCapture log;
    EXPECT_EQ(100, seek(100, SEEK_SET));
    EXPECT_EQ(158, seek(58, SEEK_CUR));
    EXPECT_EQ(int64_t(block.size()), seek(0, AVSEEK_SIZE));  // leaves the position alone
    EXPECT_EQ(158, seek(-4, SEEK_END));  // unknown whence: logged, position kept
    EXPECT_TRUE(log.contains("Unknown Seek whence 2"));
    EXPECT_EQ(at(158, 4), read(4));
    EXPECT_EQ(10, seek((int64_t(1) << 32) + 10, SEEK_SET));  // only the low 32 bits count
    EXPECT_EQ(at(10, 2), read(2));

    seek(int64_t(block.size() - 3), SEEK_SET);
    EXPECT_EQ(at(block.size() - 3, 3), read(4096));  // only what is left
    EXPECT_EQ(AVERROR_EOF, AvFileFfmpegMemory::memread(&memory, buffer.data(), 4096));
    EXPECT_EQ(0, AvFileFfmpegMemory::memread(&memory, buffer.data(), 0));
    seek(int64_t(block.size() + 1000), SEEK_SET);  // past the end: no crash, nothing read
    EXPECT_TRUE(read(4096).empty());
}

}  // namespace
