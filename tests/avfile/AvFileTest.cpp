// The file layer on generated clips: the factory's MIME dispatch and refusals, the FFmpeg file's index queries and
// seeks that the end-to-end runs do not reach, its wrap-aware time stamp arithmetic and bad input, and the byte
// source of the in-memory file.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
}

#include "LogCapture.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFileFactory.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "dash/DashDownloadCommandFactory.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::failureOf;
using velar_test::readFileBytes;
using velar_test::testMedia;

namespace {

// Counts the requests for codec data and answers none.
struct CountingCodecData : IAvCodecDataFactory {
    std::shared_ptr<IAvCodecData> getCodecData(const std::string&, const std::vector<unsigned char>&) const override {
        ++calls;
        return nullptr;
    }
    mutable std::atomic<int> calls{0};
};

struct Fixture {
    std::shared_ptr<CountingCodecData> codec = std::make_shared<CountingCodecData>();
    AvFileFactory factory{codec, std::make_shared<dash::DashDownloadCommandFactory>()};
};

// Only the whole, case-sensitive names of the MP4 types open a file.
TEST(AvFileFactoryTest, MimeTable) {
    const struct {
        const char* mime;
        AvTrackType supported;
    } table[] = {
        {"video/mp4", AvTrackType::Video},     {"audio/mp4", AvTrackType::Audio},
        {"media/mp4", AvTrackType::Video},     {"Video/mp4", AvTrackType::Unknown},
        {"video/mp4 ", AvTrackType::Unknown},  {"video/mp4;codecs=avc1", AvTrackType::Unknown},
        {"", AvTrackType::Unknown},            {"APPLICATION/DASH+XML", AvTrackType::Unknown},
    };
    const std::string path = testMedia("video_only.mp4");
    const auto bytes = readFileBytes(path);
    for (const auto& row : table) {
        SCOPED_TRACE(row.mime);
        Fixture f;
        LogCapture log;
        const auto onDisk = f.factory.openPath(path, row.mime);
        const auto inMemory = f.factory.openMemory(bytes, row.mime);
        EXPECT_EQ(row.supported, f.factory.supportedMimeType(row.mime));
        if (row.supported == AvTrackType::Unknown) {
            EXPECT_EQ(nullptr, onDisk);
            EXPECT_EQ(nullptr, inMemory);
            EXPECT_EQ(2u, log.count(std::string("Mimetype ") + row.mime + " is unknown"));
        } else {
            EXPECT_TRUE(dynamic_cast<AvFileFfmpeg*>(onDisk.get()) && !dynamic_cast<AvFileFfmpegMemory*>(onDisk.get()));
            EXPECT_TRUE(dynamic_cast<AvFileFfmpegMemory*>(inMemory.get()));
            EXPECT_EQ(2, f.codec->calls.load());  // the codec-data factory is handed on
        }
    }
}

// DASH is no memory type. Constructor failures pass through the factory unchanged, after its own line: a DASH file
// whose MPD cannot be fetched (nothing listens on port 1) as the parse error of its download command.
TEST(AvFileFactoryTest, RefusalsAndFailuresAreLogged) {
    const std::string url = "http://127.0.0.1:1/presentation.mpd";
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/missing.mp4";
    Fixture f;
    LogCapture log;
    EXPECT_EQ(nullptr, f.factory.openMemory({0}, "application/dash+xml"));
    EXPECT_TRUE(log.contains("Mimetype application/dash+xml is unknown"));
    EXPECT_EQ(std::make_pair(3, std::string("Invalid MPD")), failureOf([&] { f.factory.openPath(url, "application/dash+xml"); }));
    EXPECT_TRUE(log.contains("end, Failed to open " + url + " with mimetype application/dash+xml"));
    // No command from the command factory: no file, no exception.
    EXPECT_EQ(nullptr, AvFileFactory(nullptr, nullptr).openPath(url, "application/dash+xml"));
    EXPECT_EQ(std::make_pair(6, "Failed to open file " + missing),
              failureOf([&] { f.factory.openPath(missing, "video/mp4"); }));
    EXPECT_TRUE(log.contains("end, Failed to open " + missing + " with mimetype video/mp4"));
    EXPECT_EQ(std::make_pair(-1, std::string("Data is zero sized")),
              failureOf([&] { f.factory.openMemory({}, "media/mp4"); }));
    EXPECT_TRUE(log.contains("end, Failed to open mimetype media/mp4"));
}

std::shared_ptr<AvCodecDataFactory> codecs() { return std::make_shared<AvCodecDataFactory>(); }

// The first video sample (track 0) the file delivers.
AvSample nextVideo(IAvFile& file) {
    AvSample sample;
    while (file.getNextSample(sample) == AvStatus::OK && sample.track != 0) {
    }
    return sample;
}

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
        EXPECT_EQ(row.expected, AvFileFfmpeg::getDifferenceBetweenPts(row.a, row.b)) << row.a << " - " << row.b;
    }
    // Positions count from the first video decode time (negative with B-frames).
    AvFileFfmpeg file(codecs(), testMedia("high_bframes.mp4"));
    const uint64_t first = nextVideo(file).dts;
    EXPECT_EQ(-90, file.getPositionFromPts(first - 90));
    EXPECT_EQ(90000, file.getPositionFromPts(first + wrap + 90000));
}

// Only -1 from libavformat counts as a failed seek. The clip's single sync sample (stss entry_count 1, entry 51) is
// frame 51, at 2000 ms: nothing before 1000 ms.
TEST(AvFileFfmpegTest, NoKeyFrameBeforeThePositionFailsTheSeek) {
    auto bytes = readFileBytes(testMedia("video_only.mp4"));
    const size_t stss = std::string(bytes.begin(), bytes.end()).find("stss");
    const uint8_t entries[] = {0, 0, 0, 1, 0, 0, 0, 51};  // entry_count, first entry
    std::copy(entries, entries + 8, bytes.begin() + stss + 8);
    velar_test::ScratchDir dir("avfile");
    AvFileFfmpeg file(codecs(), dir.write("latekey.mp4", bytes));
    const int64_t first = int64_t(nextVideo(file).dts);
    LogCapture log;
    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_EQ(2000u, file.getIFramePosition(0, 2500));
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_TRUE(log.contains("Seek failed with -1"));
    ASSERT_TRUE(file.jumpToTime(0, 2500));
    const AvSample landed = nextVideo(file);
    EXPECT_TRUE(landed.keyFrame && landed.firstSample);
    EXPECT_EQ(first + 2000 * 90, int64_t(landed.dts));
    EXPECT_EQ(2000 * 90, file.getPositionFromPts(landed.dts));
}

// Track numbers from the stream count up, and a file without demuxer, answer empty.
TEST(AvFileFfmpegTest, BadTrackNumbersAndNoDemuxerAnswerEmpty) {
    AvFileFfmpeg file(codecs(), testMedia("high_bframes.mp4"));
    EXPECT_EQ(0u, file.getIFramePosition(2, 1000) | file.getActiveDuration(3));
    EXPECT_FALSE(file.jumpToTime(2, 1000) || file.jumpToTime(3, 1000));
    AvFileFfmpeg empty(codecs());
    EXPECT_EQ(0u, empty.getDuration() | empty.getIFramePosition(0, 0));
    EXPECT_FALSE(empty.isActive() || empty.jumpToTime(0, 0));
    AvSample sample;
    EXPECT_EQ(std::make_pair(0, std::string("Format context is null")),
              failureOf([&] { empty.getNextSample(sample); }));
}

// FFmpeg's own complaints reach the host's log as single lines, never standard error.
TEST(AvFileFfmpegTest, BadInputGivesTheNamedException) {
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/no-such-file.mp4";
    const std::string text = testMedia("text.mp4");
    const auto textBytes = readFileBytes(text);
    auto cut = readFileBytes(testMedia("no_faststart.mp4"));
    cut.resize(cut.size() / 2);  // its moov box was at the end
    velar_test::ScratchDir dir("avfile");
    const std::string noMoov = dir.write("no_moov.mp4", cut);
    const struct {
        std::function<void()> open;
        std::pair<int, std::string> failure;  // code (-1: not a file-layer exception), text
        std::string ffmpegSays;               // in a line of the log bridge, "" when not checked
    } table[] = {
        {[&] { AvFileFfmpeg(codecs(), missing); }, {6, "Failed to open file " + missing}, ""},
        {[&] { AvFileFfmpeg(codecs(), text); }, {3, "Ffmpeg failed to open file " + text}, ""},
        {[&] { AvFileFfmpeg(codecs(), noMoov); }, {3, "Ffmpeg failed to open file " + noMoov}, "moov atom not found"},
        // Deliberately no AvBaseException; the log line's word order differs.
        {[] { AvFileFfmpegMemory(codecs(), {}); }, {-1, "Data is zero sized"}, ""},
        {[&] { AvFileFfmpegMemory(codecs(), textBytes); }, {3, "Ffmpeg failed to open file AvFileFfmpegMemory"}, ""},
        // All zeros once made probing ask for more bytes for ever.
        {[] { AvFileFfmpegMemory(codecs(), std::vector<unsigned char>(10000, 0)); },
         {3, "Ffmpeg failed to open file AvFileFfmpegMemory"}, ""},
    };
    for (const auto& row : table) {
        LogCapture log;
        testing::internal::CaptureStderr();
        EXPECT_EQ(row.failure, failureOf(row.open));
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        EXPECT_EQ(row.failure.first == -1, log.contains("Data is sized zero"));
        const auto lines = log.lines();
        const auto bridged = [&](const velar_test::LogLine& l) {
            return l.source == "avfile/FfmpegLogBridge" && l.level == 0 && l.message.find('\n') == std::string::npos &&
                   l.message.find(row.ffmpegSays) != std::string::npos;
        };
        EXPECT_TRUE(row.ffmpegSays.empty() || std::any_of(lines.begin(), lines.end(), bridged)) << row.failure.second;
    }
}

// A file cut short on disk may still grow (the end-to-end runs see it wait); a block in memory never does: its cut
// is the end. The block given to the constructor is a temporary: the file keeps its own copy.
TEST(AvFileFfmpegMemoryTest, CutBlockEnds) {
    AvStatus last;
    const auto whole = readFileBytes(testMedia("high_bframes.mp4"));
    LogCapture log;
    AvFileFfmpegMemory memory(codecs(), {whole.begin(), whole.begin() + whole.size() / 2});
    EXPECT_FALSE(memory.isActive());
    EXPECT_GT(velar_test::readSamples(memory, last).size(), 10u);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    EXPECT_TRUE(log.contains("Inactive file is incomplete!"));
}

// The byte source as libavformat drives it.
TEST(AvFileFfmpegMemoryTest, SeekAndReadCallbacks) {
    const auto block = readFileBytes(testMedia("audio_only.mp4"));
    AvFileFfmpegMemory memory(codecs(), block);
    const auto seek = [&](int64_t offset, int whence) { return AvFileFfmpegMemory::memseek(&memory, offset, whence); };
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
    EXPECT_EQ(158, seek(-4, SEEK_END));                       // unknown whence: logged, position kept
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
