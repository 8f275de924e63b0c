// AvFileFfmpegMemory: the same samples as the file on disk, the byte-source callbacks as
// libavformat calls them, and the refusals of empty and unreadable blocks.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
}

#include "LogCapture.h"
#include "TestMedia.h"
#include "avfile/AvBaseException.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "avfile/AvParseErrorException.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::testMedia;

namespace {

class MarkerCodecData : public IAvCodecData {};

// Answers a marker for "avc1" and "aac", counts the calls.
class CountingCodecDataFactory : public IAvCodecDataFactory {
public:
    std::shared_ptr<IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>& /*extraData*/) const override {
        ++calls;
        return codec.empty() ? nullptr : std::make_shared<MarkerCodecData>();
    }
    mutable int calls = 0;
};

std::shared_ptr<CountingCodecDataFactory> codecFactory() {
    return std::make_shared<CountingCodecDataFactory>();
}

std::vector<AvSample> readAll(IAvFile& file, AvStatus& last) {
    std::vector<AvSample> samples;
    AvSample sample;
    while (samples.size() < 20000 && (last = file.getNextSample(sample)) == AvStatus::OK) {
        samples.push_back(sample);
    }
    return samples;
}

void expectSameSamples(const std::vector<AvSample>& expected, const std::vector<AvSample>& got) {
    ASSERT_EQ(expected.size(), got.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE("sample " + std::to_string(i));
        EXPECT_EQ(expected[i].track, got[i].track);
        EXPECT_EQ(expected[i].dts, got[i].dts);
        EXPECT_EQ(expected[i].pts, got[i].pts);
        EXPECT_EQ(expected[i].keyFrame, got[i].keyFrame);
        EXPECT_EQ(expected[i].firstSample, got[i].firstSample);
        EXPECT_EQ(expected[i].data, got[i].data);
        EXPECT_EQ(expected[i].trackInfo.toString(), got[i].trackInfo.toString());
    }
}

class MemoryClipTest : public ::testing::TestWithParam<const char*> {};

TEST_P(MemoryClipTest, DeliversTheSameTracksAndSamplesAsTheFileOnDisk) {
    const std::string path = testMedia(GetParam());
    AvFileFfmpeg onDisk(codecFactory(), path);
    AvStatus last;
    const auto expected = readAll(onDisk, last);
    ASSERT_EQ(AvStatus::EndOfFile, last);

    auto bytes = velar_test::readFileBytes(path);
    auto factory = codecFactory();
    AvFileFfmpegMemory memory(factory, bytes);
    // The block was copied: the caller's vector is free to change or go.
    std::fill(bytes.begin(), bytes.end(), 0);
    bytes.clear();
    bytes.shrink_to_fit();

    const auto diskTracks = onDisk.getTracks();
    const auto memoryTracks = memory.getTracks();
    ASSERT_EQ(diskTracks.size(), memoryTracks.size());
    EXPECT_EQ(int(memoryTracks.size()), factory->calls);
    for (size_t i = 0; i < diskTracks.size(); ++i) {
        EXPECT_EQ(diskTracks[i].toString(), memoryTracks[i].toString());
        EXPECT_EQ(memoryTracks[i].durationMs, memory.getActiveDuration(uint32_t(i)));
    }
    EXPECT_EQ(onDisk.getDuration(), memory.getDuration());
    EXPECT_FALSE(memory.isActive());

    expectSameSamples(expected, readAll(memory, last));
    EXPECT_EQ(AvStatus::EndOfFile, last);
}

INSTANTIATE_TEST_SUITE_P(GeneratedMedia, MemoryClipTest,
                         ::testing::Values("high_bframes.mp4", "no_faststart.mp4",
                                           "fragmented.mp4", "audio_only.mp4", "main.mp4"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             const std::string name = info.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(AvFileFfmpegMemoryTest, SeeksAndIndexQueriesWorkAsOnDisk) {
    const std::string path = testMedia("high_bframes.mp4");
    AvFileFfmpeg onDisk(codecFactory(), path);
    AvFileFfmpegMemory memory(codecFactory(), velar_test::readFileBytes(path));
    for (uint64_t position : {0u, 1500u, 2500u, 3999u}) {
        EXPECT_EQ(onDisk.getIFramePosition(0, position), memory.getIFramePosition(0, position));
        ASSERT_TRUE(onDisk.jumpToTime(0, position));
        ASSERT_TRUE(memory.jumpToTime(0, position));
        AvSample a, b;
        for (int i = 0; i < 10; ++i) {
            ASSERT_EQ(AvStatus::OK, onDisk.getNextSample(a));
            ASSERT_EQ(AvStatus::OK, memory.getNextSample(b));
            EXPECT_EQ(a.dts, b.dts);
            EXPECT_EQ(a.track, b.track);
            EXPECT_EQ(a.firstSample, b.firstSample);
        }
    }
    EXPECT_EQ(onDisk.getPositionFromPts(123456), memory.getPositionFromPts(123456));
}

TEST(AvFileFfmpegMemoryTest, EmptyBlockIsAPlainRuntimeErrorAndNeverReachesTheDemuxer) {
    LogCapture log;
    bool caughtAsBase = false;
    bool caughtPlain = false;
    try {
        AvFileFfmpegMemory memory(codecFactory(), std::vector<unsigned char>());
    } catch (const AvBaseException&) {
        caughtAsBase = true;
    } catch (const std::runtime_error& e) {
        caughtPlain = true;
        EXPECT_STREQ("Data is zero sized", e.what());
    }
    EXPECT_FALSE(caughtAsBase);
    EXPECT_TRUE(caughtPlain);
    EXPECT_TRUE(log.contains("Data is sized zero"));  // the log's word order differs on purpose
    EXPECT_FALSE(log.containsFragment("Failed to open file"));
}

TEST(AvFileFfmpegMemoryTest, UnreadableBlocksNameTheMemoryInput) {
    const struct {
        const char* what;
        std::vector<unsigned char> bytes;
    } table[] = {
        {"text", velar_test::readFileBytes(testMedia("text.mp4"))},
        {"one byte", {0x00}},
        {"zeros", std::vector<unsigned char>(10000, 0)},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        LogCapture log;
        try {
            AvFileFfmpegMemory memory(codecFactory(), row.bytes);
            ADD_FAILURE() << "opened";
        } catch (const AvParseErrorException& e) {
            EXPECT_EQ(3, e.getErrorCode());
            EXPECT_STREQ("Ffmpeg failed to open file AvFileFfmpegMemory", e.what());
        }
        EXPECT_TRUE(log.contains("end, Failed to open file: 'AvFileFfmpegMemory'"));
    }
}

TEST(AvFileFfmpegMemoryTest, CutBlockIsNeverActiveSoItsCutIsTheEnd) {
    // A block that stops in the middle of its media data: a memory file does not grow, so the
    // cut is final.
    const auto whole = velar_test::readFileBytes(testMedia("high_bframes.mp4"));
    const std::vector<unsigned char> half(whole.begin(), whole.begin() + whole.size() / 2);
    LogCapture log;
    AvFileFfmpegMemory memory(codecFactory(), half);
    EXPECT_FALSE(memory.isActive());
    EXPECT_EQ(memory.getTracks()[0].durationMs, memory.getActiveDuration(0));

    AvStatus last;
    const auto samples = readAll(memory, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    EXPECT_GT(samples.size(), 10u);
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF: Current position "));
    EXPECT_TRUE(log.contains("Inactive file is incomplete!"));
}

TEST(AvFileFfmpegMemoryTest, ActiveDurationRefusesOnlyTrackNumbersPastTheStreams) {
    AvFileFfmpegMemory memory(codecFactory(),
                              velar_test::readFileBytes(testMedia("audio_only.mp4")));
    ASSERT_EQ(1u, memory.getTracks().size());
    EXPECT_EQ(memory.getTracks()[0].durationMs, memory.getActiveDuration(0));
    EXPECT_EQ(0u, memory.getActiveDuration(1));  // equal to the stream count: no track behind it
    EXPECT_EQ(0u, memory.getActiveDuration(2));
}

// The byte source as libavformat drives it, on a block whose bytes are known.
class MemoryCallbackTest : public ::testing::Test {
protected:
    void SetUp() override {
        block = velar_test::readFileBytes(testMedia("audio_only.mp4"));
        memory = std::make_unique<AvFileFfmpegMemory>(codecFactory(), block);
    }
    // Reads `size` bytes with read(); returns them (as many as were copied).
    std::vector<unsigned char> read(int size) {
        std::vector<unsigned char> buffer(size_t(size > 0 ? size : 0) + 16, 0xEE);
        const int count = memory->read(buffer.data(), size);
        EXPECT_GE(count, 0);
        EXPECT_EQ(0xEE, buffer[size_t(count)]) << "wrote past the count";
        buffer.resize(size_t(count));
        return buffer;
    }
    // Seeks through the callback libavformat is given.
    int64_t seek(int64_t offset, int whence) {
        return AvFileFfmpegMemory::memseek(memory.get(), offset, whence);
    }
    std::vector<unsigned char> at(size_t from, size_t count) const {
        return std::vector<unsigned char>(block.begin() + from, block.begin() + from + count);
    }

    std::vector<unsigned char> block;
    std::unique_ptr<AvFileFfmpegMemory> memory;
};

TEST_F(MemoryCallbackTest, SeekTable) {
    const int64_t size = int64_t(block.size());
    LogCapture log;
    EXPECT_EQ(100, seek(100, SEEK_SET));
    EXPECT_EQ(at(100, 8), read(8));
    EXPECT_EQ(158, seek(50, SEEK_CUR));  // 108 + 50
    EXPECT_EQ(at(158, 4), read(4));
    EXPECT_EQ(152, seek(-10, SEEK_CUR));  // 162 - 10
    EXPECT_EQ(at(152, 4), read(4));

    // AVSEEK_SIZE answers the block size and leaves the position alone.
    EXPECT_EQ(size, seek(0, AVSEEK_SIZE));
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

TEST_F(MemoryCallbackTest, ReadsStopAtTheEndWithZero) {
    const size_t size = block.size();
    ASSERT_EQ(int64_t(size - 3), seek(int64_t(size - 3), SEEK_SET));
    EXPECT_EQ(at(size - 3, 3), read(4096));  // only what is left
    EXPECT_TRUE(read(4096).empty());         // 0 at the end, not an FFmpeg error code
    EXPECT_TRUE(read(1).empty());
    // A position past the end (no range check on seeks) reads nothing and does not crash.
    EXPECT_EQ(int64_t(size + 1000), seek(int64_t(size + 1000), SEEK_SET));
    EXPECT_TRUE(read(4096).empty());
    EXPECT_TRUE(read(0).empty());
    EXPECT_EQ(0, seek(0, SEEK_SET));
    EXPECT_EQ(at(0, 4096), read(4096));
}

TEST_F(MemoryCallbackTest, TheCallbackReportsTheEndAsEndOfFile) {
    // libavformat 59 would ask again for ever after a 0; the callback says AVERROR_EOF instead.
    std::vector<unsigned char> buffer(4096);
    const size_t size = block.size();
    seek(int64_t(size - 5), SEEK_SET);
    EXPECT_EQ(5, AvFileFfmpegMemory::memread(memory.get(), buffer.data(), 4096));
    EXPECT_EQ(at(size - 5, 5), std::vector<unsigned char>(buffer.begin(), buffer.begin() + 5));
    EXPECT_EQ(AVERROR_EOF, AvFileFfmpegMemory::memread(memory.get(), buffer.data(), 4096));
    EXPECT_EQ(0, AvFileFfmpegMemory::memread(memory.get(), buffer.data(), 0));
    seek(0, SEEK_SET);
    EXPECT_EQ(4096, AvFileFfmpegMemory::memread(memory.get(), buffer.data(), 4096));
    EXPECT_EQ(at(0, 4096), buffer);
}

}  // namespace
