// AvFileFfmpeg against clips made by tests/data/make-media.sh: tracks and codec-private bytes,
// the samples of a B-frame clip against ffprobe, index queries and seeks, the key-frame filter,
// bad input, and a file that is still being written.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

extern "C" {
#include <libavutil/adler32.h>
}

#include "LogCapture.h"
#include "RecordingCodecDataFactory.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "WaitFor.h"
#include "avfile/AvFileFfmpeg.h"

using namespace avfile;
using velar_test::LogCapture;
using Recorder = velar_test::RecordingCodecDataFactory;
using velar_test::readFileBytes;
using velar_test::readSamples;
using velar_test::testMedia;

namespace {

// One packet as ffprobe reads it, time stamps rescaled to 90 kHz.
struct ProbedPacket {
    uint32_t stream;
    int64_t dts;
    int64_t pts;
    int64_t end;  // byte position after the packet
    bool key;
    std::string hash;  // adler32, hex
};

std::string field(const std::string& record, const std::string& key) {
    const size_t at = record.find("|" + key + "=") + key.size() + 2;
    return record.substr(at, record.find('|', at) - at);
}

// ts / rate in 1/90000, rounded to nearest, halves away from zero (as av_rescale_q).
int64_t rescale90k(int64_t ts, int64_t rate) {
    const int64_t n = ts * 90000;
    return n >= 0 ? (n + rate / 2) / rate : -((-n + rate / 2) / rate);
}

// The packets of high_bframes.mp4: video in 1/12800, audio in 1/44100.
std::vector<ProbedPacket> probePackets() {
    std::istringstream lines(velar_test::commandOutput(
        "ffprobe -v error -show_entries packet=stream_index,pts,dts,pos,size,flags,data_hash "
        "-show_data_hash adler32 -of compact '" + testMedia("high_bframes.mp4") + "'"));
    // A packet with side data goes on over more lines: join them to their record.
    std::vector<std::string> records;
    for (std::string line; std::getline(lines, line);) {
        if (records.empty() || line.rfind("packet|", 0) == 0) {
            records.push_back(line + "|");
        } else {
            records.back() += line + "|";
        }
    }
    std::vector<ProbedPacket> packets;
    for (const std::string& r : records) {
        const uint32_t stream = uint32_t(std::stoul(field(r, "stream_index")));
        const int64_t rate = stream == 0 ? 12800 : 44100;
        packets.push_back({stream, rescale90k(std::stoll(field(r, "dts")), rate),
                           rescale90k(std::stoll(field(r, "pts")), rate),
                           std::stoll(field(r, "pos")) + std::stoll(field(r, "size")),
                           field(r, "flags")[0] == 'K', field(r, "data_hash").substr(8)});
    }
    return packets;
}

std::string hashOf(const std::vector<uint8_t>& data) {
    char text[9];
    std::snprintf(text, sizeof(text), "%08x", av_adler32_update(1, data.data(), data.size()));
    return text;
}

// 90 kHz decode time of the first video sample of high_bframes.mp4 (negative: B-frame delay).
int64_t firstVideoDts() {
    static const int64_t dts = probePackets().front().dts;
    return dts;
}

// The bytes of a clip with 32-bit big-endian fields overwritten in every box of `type`; each
// field is given as (bytes after the type, value).
std::vector<unsigned char> patchBoxes(const std::string& clip, const char* type,
                                      std::initializer_list<std::pair<size_t, uint32_t>> fields) {
    auto bytes = readFileBytes(testMedia(clip));
    const std::string text(bytes.begin(), bytes.end());
    for (size_t at = text.find(type); at != std::string::npos; at = text.find(type, at + 4)) {
        for (const auto& f : fields) {
            for (size_t i = 0; i < 4; ++i) {
                bytes[at + f.first + i] = static_cast<unsigned char>(f.second >> (24 - 8 * i));
            }
        }
    }
    return bytes;
}

// ---------------------------------------------------------------------------------------------
// Every kind of clip: tracks and what the codec-data factory is given.

struct Clip {
    const char* name;
    const char* tracks;  // "<id>:<type>:<codec>", space separated
    std::vector<unsigned char> audioSpecificConfig;
};

void PrintTo(const Clip& clip, std::ostream* os) { *os << clip.name; }

// The payload of the first box of `type` (32-bit big-endian size, 4-character type, payload).
std::vector<unsigned char> boxPayload(const std::vector<unsigned char>& file, const char* type) {
    const size_t at = std::string(file.begin(), file.end()).find(type);
    const uint32_t size = (uint32_t(file[at - 4]) << 24) | (uint32_t(file[at - 3]) << 16) |
                          (uint32_t(file[at - 2]) << 8) | file[at - 1];
    return {file.begin() + at + 4, file.begin() + at - 4 + size};
}

class ClipTest : public ::testing::TestWithParam<Clip> {};

TEST_P(ClipTest, TracksAndWhatTheCodecDataFactoryIsGiven) {
    const std::string path = testMedia(GetParam().name);
    auto factory = Recorder::create();
    AvFileFfmpeg file(factory, path);
    std::string tracks;
    for (const AvTrack& t : file.getTracks()) {
        tracks += std::to_string(t.id) + ":" + toString(t.type) + ":" + t.codec + " ";
        const auto call = factory->calls().at(t.id);
        EXPECT_EQ(t.codec, call.codec);
        EXPECT_EQ(t.codec.empty(), t.codecData == nullptr);
        if (t.codec == "avc1") {
            EXPECT_EQ(boxPayload(readFileBytes(path), "avcC"), call.extraData);
        } else if (t.codec == "aac") {
            ASSERT_GE(call.extraData.size(), 2u);
            EXPECT_EQ(GetParam().audioSpecificConfig,
                      std::vector<unsigned char>(call.extraData.begin(), call.extraData.begin() + 2));
        }
        // First to last sample of a 4 s clip: a frame short, or over by the AAC priming frame.
        EXPECT_NEAR(4000.0, double(t.durationMs), 100.0);
        EXPECT_EQ(t.durationMs, file.getActiveDuration(t.id));
        EXPECT_LE(t.durationMs, file.getDuration());
    }
    EXPECT_EQ(std::string(GetParam().tracks) + " ", tracks);
    EXPECT_FALSE(file.isActive());
}

// AudioSpecificConfig (ISO/IEC 14496-3 1.6.2.1): 5 bits object type 2 (AAC LC), 4 bits sampling
// frequency index (3: 48 kHz, 4: 44.1 kHz), 4 bits channel configuration, 3 zero bits.
INSTANTIATE_TEST_SUITE_P(
    GeneratedMedia, ClipTest,
    ::testing::Values(Clip{"high_bframes.mp4", "0:Video:avc1 1:Audio:aac", {0x12, 0x10}},
                      Clip{"main.mp4", "0:Video:avc1 1:Audio:aac", {0x11, 0x88}},  // mono
                      Clip{"audio_only.mp4", "0:Audio:aac", {0x11, 0x90}},
                      Clip{"video_only.mp4", "0:Video:avc1", {}},
                      Clip{"no_faststart.mp4", "0:Video:avc1 1:Audio:aac", {0x12, 0x10}},
                      Clip{"fragmented.mp4", "0:Video:avc1 1:Audio:aac", {0x12, 0x10}},
                      Clip{"mpeg4part2.mp4", "0:Video: 1:Audio:aac", {0x12, 0x10}}),
    [](const ::testing::TestParamInfo<Clip>& info) {
        const std::string name = info.param.name;
        return name.substr(0, name.find('.'));
    });

TEST(AvFileFfmpegTest, SamplesOfABFrameClipEqualFfprobePacketsIn90kHz) {
    const auto expected = probePackets();
    ASSERT_LT(firstVideoDts(), 0);
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    LogCapture log;

    AvStatus last;
    const auto samples = readSamples(file, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    ASSERT_EQ(expected.size(), samples.size());
    std::map<uint32_t, int> seen;
    for (size_t i = 0; i < samples.size(); ++i) {
        const AvSample& s = samples[i];
        SCOPED_TRACE("sample " + std::to_string(i));
        ASSERT_EQ(expected[i].stream, s.track);
        EXPECT_EQ(uint64_t(expected[i].dts), s.dts);  // negative stamps as two's complement
        EXPECT_EQ(uint64_t(expected[i].pts), s.pts);
        EXPECT_EQ(expected[i].hash, hashOf(s.data));
        EXPECT_EQ(expected[i].key, s.keyFrame);
        EXPECT_EQ(s.track, s.trackInfo.id);
        // Only the first sample of each track is marked, and logged with its text form.
        EXPECT_EQ(seen[s.track]++ == 0, s.firstSample);
        if (s.firstSample) {
            EXPECT_TRUE(log.contains("first sample " + s.toString()));
        }
    }
    EXPECT_EQ(2u, seen.size());
    AvSample again;
    EXPECT_EQ(AvStatus::EndOfFile, file.getNextSample(again));  // the end is final
    EXPECT_FALSE(log.containsFragment("Hit partial-EOF"));
}

// ---------------------------------------------------------------------------------------------
// Index queries and seeks. high_bframes.mp4 has a video key frame every second (frames 0, 25,
// 50, 75 of 100) in a 1/12800 time base; audio is 1/44100, every packet a key frame.
//
// getIFramePosition searches the index by decode time. jumpToTime hands libavformat the first
// index entry's decode time plus the position, which the MP4 demuxer takes as a presentation
// time: with the clip's B-frame delay of two frames (80 ms), a position less than 80 ms after a
// key frame lands one key frame earlier. Both stay at or before the position.
struct SeekCase {
    uint64_t positionMs;
    uint64_t keyMs;      // getIFramePosition, from the first index entry
    uint64_t landingMs;  // the key frame jumpToTime lands on, same reference
};

class SeekTest : public ::testing::TestWithParam<SeekCase> {};

TEST_P(SeekTest, IFramePositionAndJumpLandOnAKeyFrameAtOrBefore) {
    const SeekCase c = GetParam();
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    LogCapture log;
    EXPECT_EQ(c.keyMs, file.getIFramePosition(0, c.positionMs));
    EXPECT_TRUE(log.contains("getIFramePosition 0 pos: " + std::to_string(c.positionMs) +
                             " ffmpeg: " + std::to_string(c.keyMs)));

    AvStatus last;
    ASSERT_EQ(30u, readSamples(file, last, 30).size());  // read a little: the jump must move
    ASSERT_TRUE(file.jumpToTime(0, c.positionMs));
    EXPECT_TRUE(log.contains("jumpToTime 0 inputPos:" + std::to_string(c.positionMs) +
                             " seekPos:" + std::to_string(c.positionMs * 12800 / 1000)));

    const int64_t keyDts = firstVideoDts() + int64_t(c.landingMs) * 90;
    bool seen[2] = {false, false};
    for (const AvSample& s : readSamples(file, last, 400)) {
        ASSERT_LT(s.track, 2u);
        EXPECT_EQ(!seen[s.track], s.firstSample);  // again the first of its track after a jump
        if (s.track == 0 && !seen[0]) {
            EXPECT_TRUE(s.keyFrame);
            EXPECT_EQ(keyDts, int64_t(s.dts));
            EXPECT_EQ(int64_t(c.landingMs) * 90, file.getPositionFromPts(s.dts));
        } else if (s.track == 1 && !seen[1]) {
            // Audio resumes at the AAC frame (1024 / 44.1 kHz = 2090 ticks) at or before the key
            // frame's decode time, or at its first frame (-2090, the encoder delay) when none is.
            EXPECT_LE(int64_t(s.dts), std::max<int64_t>(keyDts, -2090));
            EXPECT_GT(int64_t(s.dts), keyDts - 2091);
        }
        seen[s.track] = true;
    }
    EXPECT_TRUE(seen[0] && seen[1]);
}

INSTANTIATE_TEST_SUITE_P(KeyFrameEverySecond, SeekTest,
                         ::testing::Values(SeekCase{0, 0, 0}, SeekCase{999, 0, 0},
                                           SeekCase{1000, 1000, 0}, SeekCase{1079, 1000, 0},
                                           SeekCase{1080, 1000, 1000}, SeekCase{2999, 2000, 2000},
                                           SeekCase{3000, 3000, 2000}, SeekCase{3999, 3000, 3000},
                                           SeekCase{60000, 3000, 3000}),
                         [](const ::testing::TestParamInfo<SeekCase>& info) {
                             return "at" + std::to_string(info.param.positionMs) + "ms";
                         });

TEST(AvFileFfmpegTest, AudioTrackQueriesUseTheAudioIndexAndTimeBase) {
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    LogCapture log;
    EXPECT_NEAR(1500.0, double(file.getIFramePosition(1, 1500)), 24.0);  // one AAC frame
    ASSERT_TRUE(file.jumpToTime(1, 1500));
    EXPECT_TRUE(log.contains("jumpToTime 1 inputPos:1500 seekPos:66150"));  // 1.5 s * 44100
    AvSample sample;
    while (file.getNextSample(sample) == AvStatus::OK && sample.track != 0) {
    }
    EXPECT_TRUE(sample.keyFrame && sample.firstSample);  // video follows to a key frame
}

TEST(AvFileFfmpegTest, PtsDifferencesAreWrapAware) {
    const uint64_t wrap = uint64_t(1) << 33;
    const uint64_t half = uint64_t(1) << 32;
    const struct {
        uint64_t a;
        uint64_t b;
        int64_t expected;
    } table[] = {
        {100, 50, 50},
        {50, 100, -50},
        {5, wrap - 5, 10},   // a wrapped past 2^33
        {wrap - 5, 5, -10},  // b wrapped
        {wrap + 7, 0, 7},    // whole periods do not count
        {half - 1, 0, int64_t(half) - 1},  // the largest forward distance
        {half, 0, -int64_t(half)},         // bit 32 set: taken as the backward distance
        {0, half, int64_t(half)},
        {(uint64_t(1) << 40) + 3, uint64_t(1) << 40, 3},  // upper bits do not matter
        {3, UINT64_MAX, 4},                               // 64-bit wrap of the subtraction
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.expected, AvFileFfmpeg::getDifferenceBetweenPts(row.a, row.b))
            << row.a << " - " << row.b;
    }
    // getPositionFromPts: the same difference from the first video index entry.
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    const uint64_t first = uint64_t(firstVideoDts());
    EXPECT_EQ(90000, file.getPositionFromPts(first + 90000));
    EXPECT_EQ(-90, file.getPositionFromPts(first - 90));
    EXPECT_EQ(90000, file.getPositionFromPts(first + wrap + 90000));
}

// ---------------------------------------------------------------------------------------------
// The key-frame filter, and clips whose sync-sample box (stss: size, type, version and flags,
// entry_count, entries) is rewritten.

TEST(AvFileFfmpegTest, KeyFramesOnlyDeliversExactlyTheKeySamplesUntilSwitchedBack) {
    const std::string path = testMedia("high_bframes.mp4");
    AvStatus last;
    AvFileFfmpeg reference(Recorder::create(), path);
    const auto all = readSamples(reference, last);
    std::vector<AvSample> keys;
    std::copy_if(all.begin(), all.end(), std::back_inserter(keys),
                 [](const AvSample& s) { return s.keyFrame; });
    EXPECT_EQ(4, std::count_if(keys.begin(), keys.end(),
                               [](const AvSample& s) { return s.track == 0; }));

    AvFileFfmpeg file(Recorder::create(), path);
    file.setSampleFilter(AvSampleFilter::KeyFramesOnly);
    velar_test::expectSameSamples(keys, readSamples(file, last));
    EXPECT_EQ(AvStatus::EndOfFile, last);
    ASSERT_TRUE(file.jumpToTime(0, 0));
    file.setSampleFilter(AvSampleFilter::AllSamples);
    EXPECT_EQ(all.size(), readSamples(file, last).size());
}

TEST(AvFileFfmpegTest, NoKeyFrameBeforeThePositionFailsTheSeekAndNoneAfterEndsTheFilter) {
    // A single sync sample: frame 51 (1-based), at 2000 ms.
    velar_test::ScratchDir dir("avfile");
    AvFileFfmpeg file(Recorder::create(), dir.write("latekey.mp4", patchBoxes("video_only.mp4", "stss",
                                                                     {{8, 1}, {12, 51}})));
    LogCapture log;
    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_TRUE(log.contains("getIFramePosition could not find for pos:1000"));
    EXPECT_EQ(2000u, file.getIFramePosition(0, 2500));
    // libavformat's generic search answers -1: the one result taken as a failed seek.
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_TRUE(log.contains("Seek failed with -1"));

    ASSERT_TRUE(file.jumpToTime(0, 2500));
    file.setSampleFilter(AvSampleFilter::KeyFramesOnly);
    AvStatus last;
    const auto samples = readSamples(file, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);  // no key frame after it: read to the end
    ASSERT_EQ(1u, samples.size());
    EXPECT_TRUE(samples[0].keyFrame && samples[0].firstSample);
    EXPECT_EQ(2000 * 90, file.getPositionFromPts(samples[0].dts));
}

// ---------------------------------------------------------------------------------------------
// Bad input and track numbers.

TEST(AvFileFfmpegTest, StreamsWithoutIndexStillOpenButIndexAnswersAreZeroOrFalse) {
    // Chunk offset boxes (stco: size, type, version and flags, entry_count) emptied: no sample
    // can be located, so libavformat builds no index; the streams and their durations remain.
    velar_test::ScratchDir dir("avfile");
    const auto bytes = patchBoxes("high_bframes.mp4", "stco", {{8, 0}});
    const std::string noIndex = "Index entries is null, probably mov file corruption";
    LogCapture log;
    AvFileFfmpeg file(Recorder::create(), dir.write("noindex.mp4", bytes));
    EXPECT_EQ(2u, log.count(noIndex));
    EXPECT_EQ(4000u, file.getTracks().at(0).durationMs);  // from the stream durations
    EXPECT_EQ(4000u, file.getTracks().at(1).durationMs);
    EXPECT_FALSE(file.isActive());
    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_EQ(0, file.getPositionFromPts(90000));
    EXPECT_EQ(5u, log.count(noIndex));
    AvSample sample;
    EXPECT_EQ(AvStatus::EndOfFile, file.getNextSample(sample));
}

TEST(AvFileFfmpegTest, OnlyTrackNumbersPastTheStreamCountAreRefusedAtOnce) {
    AvFileFfmpeg file(Recorder::create(), testMedia("high_bframes.mp4"));
    LogCapture log;
    // Equal to the stream count: passes the range check, then finds no index to answer from.
    EXPECT_EQ(0u, file.getIFramePosition(2, 1000));
    EXPECT_FALSE(file.jumpToTime(2, 1000));
    EXPECT_EQ(0u, file.getActiveDuration(2));
    EXPECT_EQ(2u, log.count("Index entries is null, probably mov file corruption"));
    log.clear();
    EXPECT_EQ(0u, file.getIFramePosition(3, 1000));
    EXPECT_FALSE(file.jumpToTime(3, 1000));
    EXPECT_EQ(0u, file.getActiveDuration(3));
    EXPECT_TRUE(log.messages().empty());
    AvSample sample;
    EXPECT_EQ(AvStatus::OK, file.getNextSample(sample));  // the file is unharmed
}

TEST(AvFileFfmpegTest, WithoutDemuxerEveryQueryAnswersEmptyAndReadingThrows) {
    AvFileFfmpeg file(Recorder::create());
    EXPECT_EQ(0u, file.getDuration() | file.getActiveDuration(0) | file.getIFramePosition(0, 0));
    EXPECT_EQ(0, file.getPositionFromPts(1234));
    EXPECT_FALSE(file.isActive() || file.jumpToTime(0, 0));
    EXPECT_TRUE(file.getTracks().empty());
    AvSample sample;
    EXPECT_EQ(std::make_pair(0, std::string("Format context is null")),
              velar_test::failureOf([&] { file.getNextSample(sample); }));
}

TEST(AvFileFfmpegTest, BadInputGivesTheNamedExceptionAndLogLine) {
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/no-such-file.mp4";
    for (const std::string& path : std::vector<std::string>{
             missing, testMedia("text.mp4"), testMedia("empty.mp4"), VELAR_TEST_WORK_DIR}) {
        SCOPED_TRACE(path);
        LogCapture log;
        const auto failure = velar_test::failureOf([&] { AvFileFfmpeg file(Recorder::create(), path); });
        if (path == missing) {
            EXPECT_EQ(std::make_pair(6, "Failed to open file " + path), failure);
            EXPECT_TRUE(log.contains("File is not present '" + path + "'"));
        } else {
            EXPECT_EQ(std::make_pair(3, "Ffmpeg failed to open file " + path), failure);
            EXPECT_TRUE(log.contains("end, Failed to open file: '" + path + "'"));
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Files that hold less than their index promises.

TEST(AvFileFfmpegTest, TruncatedFileLooksLikeAGrowingOneAndStopsAtTheCut) {
    const auto expected = probePackets();
    const std::string path = testMedia("truncated.mp4");
    const int64_t size = int64_t(readFileBytes(path).size());
    // Where the index says the file ends: the whole clip, its media data being last.
    const int64_t expectedSize = expected.back().end;
    ASSERT_EQ(int64_t(readFileBytes(testMedia("high_bframes.mp4")).size()), expectedSize);
    // Available: up to the first video sample that reaches past the cut.
    const auto cut = std::find_if(expected.begin(), expected.end(), [&](const ProbedPacket& p) {
        return p.stream == 0 && p.end >= size;
    });
    ASSERT_NE(expected.end(), cut);

    LogCapture log;
    AvFileFfmpeg file(Recorder::create(), path);
    EXPECT_TRUE(file.isActive());
    EXPECT_EQ(uint64_t(cut->dts - firstVideoDts()) / 90, file.getActiveDuration(0));
    EXPECT_TRUE(log.contains("Size is " + std::to_string(size) + " expected " +
                             std::to_string(expectedSize)));
    AvStatus last;
    const auto samples = readSamples(file, last);
    EXPECT_EQ(AvStatus::NotEnoughData, last);
    ASSERT_LT(samples.size(), expected.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(expected[i].hash, hashOf(samples[i].data)) << i;
    }
    EXPECT_TRUE(log.containsFragment(" expected:" + std::to_string(expectedSize)));
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF: Current position "));
    EXPECT_FALSE(log.contains("Inactive file is incomplete!"));
    AvSample sample;
    for (int i = 0; i < 100; ++i) {  // nothing arrives: the same answer, at once
        ASSERT_EQ(AvStatus::NotEnoughData, file.getNextSample(sample));
    }
}

TEST(AvFileFfmpegTest, FileStillBeingWrittenResumesWithoutLosingOrRepeatingSamples) {
    const auto full = readFileBytes(testMedia("high_bframes.mp4"));
    AvStatus last;
    AvFileFfmpeg reference(Recorder::create(), testMedia("high_bframes.mp4"));
    const auto wanted = readSamples(reference, last);

    // The first fifth (the moov box and a little media) is there at the start; a writer thread
    // appends the rest in pieces, each once the reader has run out of data.
    const size_t head = full.size() / 5;
    const int kPieces = 4;
    velar_test::ScratchDir dir("avfile");
    const std::string path = dir.write("growing.mp4", std::vector<uint8_t>(full.begin(), full.begin() + head));
    std::atomic<int> stalls{0};
    std::atomic<int> written{0};
    std::thread writer([&] {
        const size_t rest = full.size() - head;
        for (int k = 0; k < kPieces && velar_test::waitFor([&] { return stalls > k; }); ++k) {
            std::ofstream(path, std::ios::binary | std::ios::app)
                .write(reinterpret_cast<const char*>(full.data()) + head + rest * k / kPieces,
                       std::streamsize(rest * (k + 1) / kPieces - rest * k / kPieces));
            written = k + 1;
        }
    });

    LogCapture log;
    std::vector<AvSample> got;
    {
        AvFileFfmpeg file(Recorder::create(), path);
        EXPECT_TRUE(file.isActive());
        // At most two stalls per piece; no ASSERT before the writer is joined.
        for (int stall = 1; stall <= 2 * kPieces; ++stall) {
            const auto more = readSamples(file, last);
            got.insert(got.end(), more.begin(), more.end());
            stalls = stall;
            if (last != AvStatus::NotEnoughData ||
                !velar_test::waitFor([&] { return written >= std::min(stall, kPieces); })) {
                break;
            }
        }
        EXPECT_EQ(AvStatus::EndOfFile, last);
        EXPECT_FALSE(file.isActive());
    }
    stalls = kPieces;  // releases the writer if the reader stopped early
    writer.join();
    EXPECT_EQ(kPieces, written.load());
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF"));
    EXPECT_FALSE(log.contains("Inactive file is incomplete!"));
    velar_test::expectSameSamples(wanted, got);  // resuming is not a jump: no new firstSample
}

}  // namespace
