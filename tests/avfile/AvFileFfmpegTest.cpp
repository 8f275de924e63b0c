// AvFileFfmpeg against clips made by tests/data/make-media.sh, checked against what ffprobe reads
// from the same files: tracks, codec-private bytes, every sample's payload, flags and 90 kHz time
// stamps, index queries and seeks, and the file that is still being written.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <ostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <libavutil/md5.h>
}

#include "LogCapture.h"
#include "TestMedia.h"
#include "WaitFor.h"
#include "avfile/AvBaseException.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::testMedia;

namespace {

// Records what the file asks of the codec-data factory; answers a marker for "avc1" and "aac".
class RecordingCodecDataFactory : public IAvCodecDataFactory {
public:
    struct Call {
        std::string codec;
        std::vector<unsigned char> extraData;
    };
    class Marker : public IAvCodecData {};

    std::shared_ptr<IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>& extraData) const override {
        calls.push_back({codec, extraData});
        if (codec == "avc1" || codec == "aac") {
            return std::make_shared<Marker>();
        }
        return nullptr;
    }
    mutable std::vector<Call> calls;
};

// One packet as ffprobe reads it.
struct ProbedPacket {
    uint32_t stream = 0;
    int64_t pts = 0;  // stream time base
    int64_t dts = 0;
    int64_t pos = 0;  // bytes
    size_t size = 0;
    bool key = false;
    std::string md5;  // hex
};

struct Probe {
    std::vector<ProbedPacket> packets;
    std::map<uint32_t, std::pair<int64_t, int64_t>> timeBase;  // stream -> (num, den)
};

std::map<std::string, std::string> fields(const std::string& line) {
    std::map<std::string, std::string> out;
    std::istringstream in(line);
    std::string item;
    while (std::getline(in, item, '|')) {
        const auto eq = item.find('=');
        if (eq != std::string::npos) {
            out[item.substr(0, eq)] = item.substr(eq + 1);
        }
    }
    return out;
}

Probe probe(const std::string& path) {
    Probe result;
    std::istringstream packets(velar_test::commandOutput(
        "ffprobe -v error -show_entries packet=stream_index,pts,dts,pos,size,flags,data_hash "
        "-show_data_hash MD5 -of compact '" + path + "'"));
    // A packet with side data continues on the following line(s): join them to their record.
    std::vector<std::string> records;
    std::string line;
    while (std::getline(packets, line)) {
        if (line.rfind("packet|", 0) == 0) {
            records.push_back(line);
        } else if (!records.empty()) {
            records.back() += "|" + line;
        }
    }
    for (const std::string& record : records) {
        auto f = fields(record);
        ProbedPacket p;
        p.stream = static_cast<uint32_t>(std::stoul(f["stream_index"]));
        p.pts = std::stoll(f["pts"]);
        p.dts = std::stoll(f["dts"]);
        p.pos = std::stoll(f["pos"]);
        p.size = std::stoul(f["size"]);
        p.key = !f["flags"].empty() && f["flags"][0] == 'K';
        p.md5 = f["data_hash"].substr(4);  // "MD5:..."
        result.packets.push_back(p);
    }
    std::istringstream streams(velar_test::commandOutput(
        "ffprobe -v error -show_entries stream=index,time_base -of compact '" + path + "'"));
    while (std::getline(streams, line)) {
        auto f = fields(line);
        if (f.count("index") == 0) {
            continue;
        }
        const std::string tb = f["time_base"];
        const auto slash = tb.find('/');
        result.timeBase[static_cast<uint32_t>(std::stoul(f["index"]))] = {
            std::stoll(tb.substr(0, slash)), std::stoll(tb.substr(slash + 1))};
    }
    return result;
}

// ts * num / den in units of 1/scale, rounded to nearest, halves away from zero.
int64_t rescale(int64_t ts, std::pair<int64_t, int64_t> timeBase, int64_t scale) {
    const __int128 n = static_cast<__int128>(ts) * timeBase.first * scale;
    const __int128 d = timeBase.second;
    const __int128 q = n >= 0 ? (n + d / 2) / d : -((-n + d / 2) / d);
    return static_cast<int64_t>(q);
}

std::string md5Hex(const std::vector<uint8_t>& data) {
    uint8_t digest[16];
    av_md5_sum(digest, data.data(), data.size());
    char text[33];
    for (int i = 0; i < 16; ++i) {
        std::snprintf(text + 2 * i, 3, "%02x", digest[i]);
    }
    return std::string(text, 32);
}

// Reads samples until the status is not OK (at most `limit`); returns them and that status.
std::vector<AvSample> readAll(IAvFile& file, AvStatus& last, size_t limit = 20000) {
    std::vector<AvSample> samples;
    AvSample sample;
    while (samples.size() < limit) {
        last = file.getNextSample(sample);
        if (last != AvStatus::OK) {
            break;
        }
        samples.push_back(sample);
    }
    return samples;
}

// The payload of the first box of the given type in an MP4 file (ISO/IEC 14496-12 box: 32-bit
// big-endian size, 4-character type, payload).
std::vector<unsigned char> boxPayload(const std::vector<unsigned char>& file, const char* type) {
    const std::string bytes(file.begin(), file.end());
    const auto at = bytes.find(type);
    if (at == std::string::npos || at < 4) {
        return {};
    }
    const uint32_t size = (uint32_t(file[at - 4]) << 24) | (uint32_t(file[at - 3]) << 16) |
                          (uint32_t(file[at - 2]) << 8) | uint32_t(file[at - 1]);
    return std::vector<unsigned char>(file.begin() + at + 4, file.begin() + at - 4 + size);
}

// A file in the test work folder, removed at the end of the test.
class TempFile {
public:
    explicit TempFile(const std::string& name)
        : mPath(std::string(VELAR_TEST_WORK_DIR) + "/avfile-" + std::to_string(getpid()) + "-" +
                name) {}
    ~TempFile() { std::remove(mPath.c_str()); }
    const std::string& path() const { return mPath; }
    void write(const std::vector<unsigned char>& bytes, bool append = false) const {
        std::ofstream out(mPath, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }

private:
    std::string mPath;
};

// Overwrites a 32-bit big-endian field `offset` bytes after the type of every box of `type`.
void patchBoxes(std::vector<unsigned char>& file, const char* type, size_t offset,
                uint32_t value) {
    const std::string bytes(file.begin(), file.end());
    size_t at = 0;
    int patched = 0;
    while ((at = bytes.find(type, at)) != std::string::npos) {
        for (int i = 0; i < 4; ++i) {
            file[at + offset + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
        }
        ++patched;
        at += 4;
    }
    ASSERT_GT(patched, 0) << type;
}

std::shared_ptr<RecordingCodecDataFactory> recorder() {
    return std::make_shared<RecordingCodecDataFactory>();
}

// ---------------------------------------------------------------------------------------------
// Every clip: tracks, codec data, and the sample stream against ffprobe.

struct ExpectedTrack {
    AvTrackType type;
    const char* codec;
    // AAC: the AudioSpecificConfig (ISO/IEC 14496-3 1.6.2.1): 5 bits object type 2 (LC), 4 bits
    // sampling frequency index (3 = 48 kHz, 4 = 44.1 kHz), 4 bits channel configuration, 3 zero
    // bits. Empty for video.
    std::vector<unsigned char> audioSpecificConfig;
};

struct Clip {
    const char* name;
    std::vector<ExpectedTrack> tracks;
};

const std::vector<unsigned char> kAsc44100Stereo = {0x12, 0x10};  // 00010 0100 0010 000
const std::vector<unsigned char> kAsc48000Stereo = {0x11, 0x90};  // 00010 0011 0010 000
const std::vector<unsigned char> kAsc48000Mono = {0x11, 0x88};    // 00010 0011 0001 000

const ExpectedTrack kAvc = {AvTrackType::Video, "avc1", {}};

std::string clipPath(const std::string& name) {
    if (name == "sample.mp4") {
        return std::string(VELAR_SOURCE_DIR) + "/samples/sample.mp4";
    }
    return testMedia(name);
}

void PrintTo(const Clip& clip, std::ostream* os) { *os << clip.name; }

class ClipTest : public ::testing::TestWithParam<Clip> {};

TEST_P(ClipTest, OpensWithTracksDurationsAndCodecPrivateBytes) {
    const Clip& clip = GetParam();
    const std::string path = clipPath(clip.name);
    auto factory = recorder();
    LogCapture log;
    AvFileFfmpeg file(factory, path);

    const auto tracks = file.getTracks();
    ASSERT_EQ(clip.tracks.size(), tracks.size());
    ASSERT_EQ(clip.tracks.size(), factory->calls.size());
    const auto fileBytes = velar_test::readFileBytes(path);
    const uint64_t expectedMs = std::string(clip.name) == "sample.mp4" ? 6000 : 4000;
    for (size_t i = 0; i < tracks.size(); ++i) {
        SCOPED_TRACE("track " + std::to_string(i));
        EXPECT_EQ(i, tracks[i].id);
        EXPECT_EQ(clip.tracks[i].type, tracks[i].type);
        EXPECT_EQ(clip.tracks[i].codec, tracks[i].codec);
        // The index spans first to last sample: one frame (40 ms) or one AAC frame short of the
        // clip, or a little over with the encoder's priming frame.
        EXPECT_NEAR(double(expectedMs), double(tracks[i].durationMs), 100.0);
        EXPECT_LE(tracks[i].durationMs, file.getDuration());
        EXPECT_EQ(tracks[i].durationMs, file.getActiveDuration(static_cast<uint32_t>(i)));

        EXPECT_EQ(clip.tracks[i].codec, factory->calls[i].codec);
        EXPECT_EQ(std::string(clip.tracks[i].codec).empty(), tracks[i].codecData == nullptr);
        if (tracks[i].codec == "avc1") {
            // The whole avcC payload, byte for byte (ISO/IEC 14496-15 5.2.4.1).
            EXPECT_EQ(boxPayload(fileBytes, "avcC"), factory->calls[i].extraData);
        } else if (tracks[i].codec == "aac") {
            const auto& extra = factory->calls[i].extraData;
            ASSERT_GE(extra.size(), 2u);
            EXPECT_EQ(clip.tracks[i].audioSpecificConfig,
                      std::vector<unsigned char>(extra.begin(), extra.begin() + 2));
        } else {
            EXPECT_FALSE(factory->calls[i].extraData.empty());  // MPEG-4 Part 2 VOL header
        }
    }
    EXPECT_NEAR(double(expectedMs), double(file.getDuration()), 100.0);
    EXPECT_FALSE(file.isActive());
    EXPECT_EQ(0u, file.getEarliestAvailablePosition());
    EXPECT_FALSE(log.containsFragment("Index entries is null"));
}

TEST_P(ClipTest, SamplesEqualFfprobePacketsWithStampsRescaledTo90kHz) {
    const Clip& clip = GetParam();
    const std::string path = clipPath(clip.name);
    const Probe expected = probe(path);
    AvFileFfmpeg file(recorder(), path);
    LogCapture log;

    AvStatus last = AvStatus::OK;
    const auto samples = readAll(file, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    ASSERT_EQ(expected.packets.size(), samples.size());

    std::map<uint32_t, int> firstSamples;
    for (size_t i = 0; i < samples.size(); ++i) {
        const AvSample& s = samples[i];
        const ProbedPacket& p = expected.packets[i];
        SCOPED_TRACE("sample " + std::to_string(i));
        ASSERT_EQ(p.stream, s.track);
        const auto tb = expected.timeBase.at(p.stream);
        // Negative container stamps arrive as their two's-complement value.
        EXPECT_EQ(static_cast<uint64_t>(rescale(p.dts, tb, 90000)), s.dts);
        EXPECT_EQ(static_cast<uint64_t>(rescale(p.pts, tb, 90000)), s.pts);
        EXPECT_EQ(p.size, s.data.size());
        EXPECT_EQ(p.md5, md5Hex(s.data));
        EXPECT_EQ(p.key, s.keyFrame);
        EXPECT_EQ(s.track, s.trackInfo.id);
        if (s.firstSample) {
            ++firstSamples[s.track];
            EXPECT_EQ(1, firstSamples[s.track]);
            EXPECT_TRUE(log.contains("first sample " + s.toString()));
        } else {
            EXPECT_EQ(1, firstSamples[s.track]) << "first sample of its track not marked";
        }
    }
    EXPECT_EQ(clip.tracks.size(), firstSamples.size());

    // The end is final: asking again gives the end again, without the partial-EOF line.
    AvSample again;
    EXPECT_EQ(AvStatus::EndOfFile, file.getNextSample(again));
    EXPECT_FALSE(log.containsFragment("Hit partial-EOF"));
}

INSTANTIATE_TEST_SUITE_P(
    GeneratedMedia, ClipTest,
    ::testing::Values(
        Clip{"high_bframes.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"main.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc48000Mono}}},
        Clip{"baseline.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"level52.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc48000Stereo}}},
        Clip{"audio_only.mp4", {{AvTrackType::Audio, "aac", kAsc48000Stereo}}},
        Clip{"video_only.mp4", {kAvc}},
        Clip{"no_faststart.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"fragmented.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"mpeg4part2.mp4",
             {{AvTrackType::Video, "", {}}, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"high10.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc44100Stereo}}},
        Clip{"sample.mp4", {kAvc, {AvTrackType::Audio, "aac", kAsc48000Stereo}}}),
    [](const ::testing::TestParamInfo<Clip>& info) {
        std::string name = info.param.name;
        return name.substr(0, name.find('.'));
    });

// ---------------------------------------------------------------------------------------------
// Index queries and seeking. high_bframes.mp4 has a video key frame every second (frames 0, 25,
// 50, 75 of 100) in a 1/12800 time base; audio is 1/44100, every packet a key frame.

// getIFramePosition searches the index by decode time. jumpToTime hands libavformat the first
// index entry's decode time plus the position, which the MP4 demuxer takes as a presentation
// time; with this clip's B-frame delay of two frames (80 ms) a position within 80 ms after a key
// frame therefore lands on the key frame before it. Both stay at or before the position.
struct SeekCase {
    uint64_t positionMs;
    uint64_t keyMs;      // getIFramePosition: key frame at or before, from the first index entry
    uint64_t landingMs;  // where jumpToTime lands, same reference
};

void PrintTo(const SeekCase& c, std::ostream* os) {
    *os << c.positionMs << " ms -> key " << c.keyMs << " ms, lands " << c.landingMs << " ms";
}

class SeekTest : public ::testing::TestWithParam<SeekCase> {};

TEST_P(SeekTest, IFramePositionAndJumpLandOnTheKeyFrameAtOrBefore) {
    const SeekCase c = GetParam();
    const std::string path = testMedia("high_bframes.mp4");
    const Probe expected = probe(path);
    AvFileFfmpeg file(recorder(), path);
    LogCapture log;

    EXPECT_EQ(c.keyMs, file.getIFramePosition(0, c.positionMs));
    EXPECT_TRUE(log.contains("getIFramePosition 0 pos: " + std::to_string(c.positionMs) +
                             " ffmpeg: " + std::to_string(c.keyMs)));

    // Read a little first, so the jump really moves.
    AvSample sample;
    for (int i = 0; i < 30; ++i) {
        ASSERT_EQ(AvStatus::OK, file.getNextSample(sample));
    }
    ASSERT_TRUE(file.jumpToTime(0, c.positionMs));
    const int64_t seekTicks = int64_t(c.positionMs) * 12800 / 1000;
    EXPECT_TRUE(log.contains("jumpToTime 0 inputPos:" + std::to_string(c.positionMs) +
                             " seekPos:" + std::to_string(seekTicks)));

    AvStatus last;
    const auto after = readAll(file, last, 400);
    ASSERT_FALSE(after.empty());
    const int64_t firstVideoDts = rescale(expected.packets.front().dts, {1, 12800}, 90000);
    bool videoSeen = false;
    bool audioSeen = false;
    for (const AvSample& s : after) {
        if (s.track == 0 && !videoSeen) {
            videoSeen = true;
            EXPECT_TRUE(s.keyFrame);
            EXPECT_TRUE(s.firstSample);
            // 90 kHz ticks from the first indexed video sample.
            EXPECT_EQ(int64_t(c.landingMs) * 90, file.getPositionFromPts(s.dts));
            EXPECT_EQ(int64_t(c.landingMs) * 90, int64_t(s.dts) - firstVideoDts);
            EXPECT_LE(c.landingMs, c.positionMs);
        } else if (s.track == 1 && !audioSeen) {
            audioSeen = true;
            EXPECT_TRUE(s.firstSample);
            // Audio resumes at the AAC frame (1024 / 44.1 kHz = 2090 ticks) at or before the key
            // frame's decode time, or at its first frame (-2090, the encoder delay) when none is.
            const int64_t keyDts = firstVideoDts + int64_t(c.landingMs) * 90;
            EXPECT_LE(int64_t(s.dts), std::max<int64_t>(keyDts, -2090));
            EXPECT_GT(int64_t(s.dts), keyDts - 2090 - 1);
        } else {
            EXPECT_FALSE(s.firstSample);
        }
    }
    EXPECT_TRUE(videoSeen);
    EXPECT_TRUE(audioSeen);
}

INSTANTIATE_TEST_SUITE_P(KeyFrameEverySecond, SeekTest,
                         ::testing::Values(SeekCase{0, 0, 0}, SeekCase{999, 0, 0},
                                           SeekCase{1000, 1000, 0}, SeekCase{1079, 1000, 0},
                                           SeekCase{1080, 1000, 1000}, SeekCase{1500, 1000, 1000},
                                           SeekCase{2999, 2000, 2000}, SeekCase{3000, 3000, 2000},
                                           SeekCase{3999, 3000, 3000},
                                           SeekCase{60000, 3000, 3000}),
                         [](const ::testing::TestParamInfo<SeekCase>& info) {
                             return "at" + std::to_string(info.param.positionMs) + "ms";
                         });

TEST(AvFileFfmpegTest, JumpOnTheAudioTrackUsesTheAudioTimeBase) {
    AvFileFfmpeg file(recorder(), testMedia("high_bframes.mp4"));
    LogCapture log;
    ASSERT_TRUE(file.jumpToTime(1, 1500));
    EXPECT_TRUE(log.contains("jumpToTime 1 inputPos:1500 seekPos:66150"));  // 1.5 s * 44100

    AvStatus last;
    const auto after = readAll(file, last, 100);
    bool videoSeen = false;
    for (const AvSample& s : after) {
        if (s.track == 0 && !videoSeen) {
            videoSeen = true;
            EXPECT_TRUE(s.keyFrame);  // other tracks follow to a key frame at or before
        }
    }
    EXPECT_TRUE(videoSeen);
    // The audio index queries answer on the audio track's own index.
    EXPECT_NEAR(1500.0, double(file.getIFramePosition(1, 1500)), 24.0);
}

TEST(AvFileFfmpegTest, PositionFromPtsCountsFromTheFirstIndexedVideoSampleAndWraps) {
    const std::string path = testMedia("high_bframes.mp4");
    const Probe expected = probe(path);
    AvFileFfmpeg file(recorder(), path);
    // The first indexed video sample has a negative dts (B-frame delay).
    const uint64_t first = uint64_t(rescale(expected.packets.front().dts, {1, 12800}, 90000));
    const uint64_t wrap = uint64_t(1) << 33;
    const struct {
        uint64_t pts;
        int64_t expected;
    } table[] = {
        {first, 0},
        {first + 90000, 90000},
        {first - 90, -90},
        {first + wrap + 90000, 90000},  // a stamp that wrapped past 2^33
        {first + 360000, 360000},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.expected, file.getPositionFromPts(row.pts)) << row.pts;
    }
}

TEST(AvFileFfmpegTest, DifferenceBetweenPtsIsWrapAware) {
    const int64_t wrap = int64_t(1) << 33;
    const int64_t half = int64_t(1) << 32;
    const struct {
        uint64_t a;
        uint64_t b;
        int64_t expected;
    } table[] = {
        {100, 50, 50},
        {50, 100, -50},
        {0, 0, 0},
        {5, uint64_t(wrap - 5), 10},   // a wrapped past 2^33
        {uint64_t(wrap - 5), 5, -10},  // b wrapped
        {uint64_t(wrap), 0, 0},        // a whole period apart
        {uint64_t(wrap + 7), 0, 7},
        {uint64_t(half - 1), 0, half - 1},  // largest forward distance
        {uint64_t(half), 0, -half},         // bit 32 set: taken as the backward distance
        {0, uint64_t(half), half},
        {(uint64_t(1) << 40) + 3, uint64_t(1) << 40, 3},  // upper bits do not matter
        {3, UINT64_MAX, 4},                               // 64-bit wrap of the subtraction
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.expected, AvFileFfmpeg::getDifferenceBetweenPts(row.a, row.b))
            << row.a << " - " << row.b;
    }
}

TEST(AvFileFfmpegTest, KeyFramesOnlyDeliversExactlyTheKeyPackets) {
    const std::string path = testMedia("high_bframes.mp4");
    const Probe expected = probe(path);
    AvFileFfmpeg file(recorder(), path);
    file.setSampleFilter(AvSampleFilter::KeyFramesOnly);

    AvStatus last;
    const auto samples = readAll(file, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    std::vector<ProbedPacket> keys;
    for (const auto& p : expected.packets) {
        if (p.key) {
            keys.push_back(p);
        }
    }
    ASSERT_EQ(keys.size(), samples.size());
    int video = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_TRUE(samples[i].keyFrame);
        EXPECT_EQ(keys[i].stream, samples[i].track);
        EXPECT_EQ(keys[i].md5, md5Hex(samples[i].data));
        video += samples[i].track == 0 ? 1 : 0;
    }
    EXPECT_EQ(4, video);  // frames 0, 25, 50, 75

    // Back to all samples: the filter works from the next call on.
    ASSERT_TRUE(file.jumpToTime(0, 0));
    file.setSampleFilter(AvSampleFilter::AllSamples);
    const auto all = readAll(file, last);
    EXPECT_EQ(expected.packets.size(), all.size());
}

// Bytes of video_only.mp4 with its sync-sample box (stss: version/flags, entry_count, entries)
// rewritten to list only `keySample` (1-based), or no sample at all when 0.
std::vector<unsigned char> withKeyFrames(uint32_t keySample) {
    auto bytes = velar_test::readFileBytes(testMedia("video_only.mp4"));
    patchBoxes(bytes, "stss", 8, keySample == 0 ? 0 : 1);  // entry_count
    if (keySample != 0) {
        patchBoxes(bytes, "stss", 12, keySample);  // first entry
    }
    return bytes;
}

TEST(AvFileFfmpegTest, KeyFramesOnlyWithNoLaterKeyFrameReadsToTheEnd) {
    // An empty stss marks no sample as sync sample; the demuxer still flags the first frame.
    TempFile temp("nokey.mp4");
    temp.write(withKeyFrames(0));
    AvFileFfmpeg file(recorder(), temp.path());
    file.setSampleFilter(AvSampleFilter::KeyFramesOnly);
    AvStatus last;
    const auto samples = readAll(file, last);
    EXPECT_EQ(AvStatus::EndOfFile, last);
    ASSERT_EQ(1u, samples.size());
    EXPECT_TRUE(samples[0].keyFrame);
    EXPECT_TRUE(samples[0].firstSample);
}

TEST(AvFileFfmpegTest, NoKeyFrameBeforeThePositionAnswersZeroAndFailsTheSeek) {
    TempFile temp("latekey.mp4");
    temp.write(withKeyFrames(51));  // the only key frame is frame 50, at 2000 ms
    AvFileFfmpeg file(recorder(), temp.path());
    LogCapture log;

    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_TRUE(log.contains("getIFramePosition could not find for pos:1000"));
    EXPECT_EQ(2000u, file.getIFramePosition(0, 2500));

    // libavformat's generic search answers -1: the one result taken as a failed seek.
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_TRUE(log.contains("Seek failed with -1"));
    EXPECT_TRUE(file.jumpToTime(0, 2500));
    AvSample sample;
    ASSERT_EQ(AvStatus::OK, file.getNextSample(sample));
    EXPECT_TRUE(sample.keyFrame);
    EXPECT_TRUE(sample.firstSample);
    EXPECT_EQ(2000 * 90, file.getPositionFromPts(sample.dts));
}

TEST(AvFileFfmpegTest, StreamsWithoutIndexStillOpenButIndexAnswersAreZeroOrFalse) {
    // Chunk offset boxes (stco: version/flags, entry_count) emptied: no sample can be located,
    // so libavformat builds no index; the streams and their durations remain.
    auto bytes = velar_test::readFileBytes(testMedia("high_bframes.mp4"));
    patchBoxes(bytes, "stco", 8, 0);
    TempFile temp("noindex.mp4");
    temp.write(bytes);

    LogCapture log;
    AvFileFfmpeg file(recorder(), temp.path());
    EXPECT_EQ(2u, log.count("Index entries is null, probably mov file corruption"));
    const auto tracks = file.getTracks();
    ASSERT_EQ(2u, tracks.size());
    EXPECT_EQ(4000u, tracks[0].durationMs);  // from the stream durations
    EXPECT_EQ(4000u, tracks[1].durationMs);
    EXPECT_EQ(4000u, file.getDuration());
    EXPECT_FALSE(file.isActive());

    log.clear();
    EXPECT_EQ(0u, file.getIFramePosition(0, 1000));
    EXPECT_FALSE(file.jumpToTime(0, 1000));
    EXPECT_EQ(0, file.getPositionFromPts(90000));
    EXPECT_EQ(3u, log.count("Index entries is null, probably mov file corruption"));
    AvSample sample;
    EXPECT_EQ(AvStatus::EndOfFile, file.getNextSample(sample));
}

TEST(AvFileFfmpegTest, TrackNumbersPastTheStreamsAreAnsweredWithoutTouchingThem) {
    AvFileFfmpeg file(recorder(), testMedia("high_bframes.mp4"));
    LogCapture log;
    // Equal to the stream count: passes the range check, then has no index to answer from.
    EXPECT_EQ(0u, file.getIFramePosition(2, 1000));
    EXPECT_FALSE(file.jumpToTime(2, 1000));
    EXPECT_EQ(0u, file.getActiveDuration(2));
    EXPECT_EQ(2u, log.count("Index entries is null, probably mov file corruption"));
    // Greater: refused at once, silently.
    log.clear();
    EXPECT_EQ(0u, file.getIFramePosition(3, 1000));
    EXPECT_FALSE(file.jumpToTime(3, 1000));
    EXPECT_EQ(0u, file.getActiveDuration(3));
    EXPECT_TRUE(log.messages().empty());
    // The file is unharmed.
    AvSample sample;
    EXPECT_EQ(AvStatus::OK, file.getNextSample(sample));
}

TEST(AvFileFfmpegTest, WithoutDemuxerEveryOperationAnswersEmptyAndReadingThrows) {
    AvFileFfmpeg file(recorder());
    EXPECT_EQ(0u, file.getDuration());
    EXPECT_FALSE(file.isActive());
    EXPECT_EQ(0u, file.getActiveDuration(0));
    EXPECT_EQ(0, file.getPositionFromPts(1234));
    EXPECT_EQ(0u, file.getIFramePosition(0, 0));
    EXPECT_FALSE(file.jumpToTime(0, 0));
    EXPECT_TRUE(file.getTracks().empty());
    AvSample sample;
    try {
        file.getNextSample(sample);
        ADD_FAILURE() << "no exception";
    } catch (const AvBaseException& e) {
        EXPECT_EQ(0, e.getErrorCode());
        EXPECT_STREQ("Format context is null", e.what());
    }
}

// ---------------------------------------------------------------------------------------------
// Bad input.

TEST(AvFileFfmpegTest, BadInputGivesTheNamedExceptionAndLogLine) {
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/no-such-file.mp4";
    const struct {
        std::string path;
        int code;
        std::string what;
        std::string logLine;
    } table[] = {
        {missing, 6, "Failed to open file " + missing, "File is not present '" + missing + "'"},
        {testMedia("text.mp4"), 3, "Ffmpeg failed to open file " + testMedia("text.mp4"),
         "end, Failed to open file: '" + testMedia("text.mp4") + "'"},
        {testMedia("empty.mp4"), 3, "Ffmpeg failed to open file " + testMedia("empty.mp4"),
         "end, Failed to open file: '" + testMedia("empty.mp4") + "'"},
        {VELAR_TEST_WORK_DIR, 3, std::string("Ffmpeg failed to open file ") + VELAR_TEST_WORK_DIR,
         std::string("end, Failed to open file: '") + VELAR_TEST_WORK_DIR + "'"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.path);
        LogCapture log;
        try {
            AvFileFfmpeg file(recorder(), row.path);
            ADD_FAILURE() << "opened";
        } catch (const AvBaseException& e) {
            EXPECT_EQ(row.code, e.getErrorCode());
            EXPECT_EQ(row.what, e.what());
            if (row.code == 6) {
                EXPECT_NE(nullptr, dynamic_cast<const AvFileNotFoundException*>(&e));
            } else {
                EXPECT_NE(nullptr, dynamic_cast<const AvParseErrorException*>(&e));
            }
        }
        EXPECT_TRUE(log.contains(row.logLine));
    }
}

TEST(AvFileFfmpegTest, TruncatedFileLooksLikeAGrowingOneAndStopsAtTheCut) {
    const std::string full = testMedia("high_bframes.mp4");
    const std::string path = testMedia("truncated.mp4");
    const Probe expected = probe(full);
    const int64_t size = int64_t(velar_test::readFileBytes(path).size());
    int64_t expectedSize = 0;
    for (const auto& p : expected.packets) {
        expectedSize = std::max<int64_t>(expectedSize, p.pos + int64_t(p.size));
    }

    LogCapture log;
    AvFileFfmpeg file(recorder(), path);
    EXPECT_TRUE(file.isActive());
    // The index is whole: durations are those of the complete file.
    EXPECT_EQ(AvFileFfmpeg(recorder(), full).getDuration(), file.getDuration());

    // Active duration: up to the first video sample that reaches past the cut.
    int64_t firstDts = INT64_MIN;
    int64_t activeMs = -1;
    for (const auto& p : expected.packets) {
        if (p.stream != 0) {
            continue;
        }
        if (firstDts == INT64_MIN) {
            firstDts = p.dts;
        }
        if (p.pos + int64_t(p.size) >= size) {
            activeMs = rescale(p.dts - firstDts, {1, 12800}, 1000);
            break;
        }
    }
    EXPECT_EQ(uint64_t(activeMs), file.getActiveDuration(0));
    EXPECT_TRUE(log.contains("Size is " + std::to_string(size) + " expected " +
                             std::to_string(expectedSize)));
    EXPECT_GT(activeMs, 0);
    EXPECT_LT(activeMs, 4000);

    AvStatus last;
    const auto samples = readAll(file, last);
    EXPECT_EQ(AvStatus::NotEnoughData, last);
    ASSERT_FALSE(samples.empty());
    ASSERT_LT(samples.size(), expected.packets.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(expected.packets[i].md5, md5Hex(samples[i].data)) << i;
    }
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF: Current position "));
    EXPECT_TRUE(log.containsFragment(" expected:" + std::to_string(expectedSize)));
    EXPECT_FALSE(log.contains("Inactive file is incomplete!"));
    // Asking again while nothing arrives answers the same, quickly and without samples.
    AvSample sample;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(AvStatus::NotEnoughData, file.getNextSample(sample));
    }
}

TEST(AvFileFfmpegTest, FileStillBeingWrittenResumesWithoutLosingOrRepeatingSamples) {
    const std::string fullPath = testMedia("high_bframes.mp4");
    const auto full = velar_test::readFileBytes(fullPath);
    AvStatus last;
    AvFileFfmpeg reference(recorder(), fullPath);
    const auto wanted = readAll(reference, last);
    ASSERT_EQ(AvStatus::EndOfFile, last);

    // The first fifth (the moov box and a little media) is there at the start; a writer thread
    // appends the rest in pieces, each once the reader has run out of data.
    const size_t head = full.size() / 5;
    const int kPieces = 4;
    TempFile temp("growing.mp4");
    temp.write(std::vector<unsigned char>(full.begin(), full.begin() + head));

    std::atomic<int> stalls{0};
    std::atomic<int> written{0};
    std::atomic<bool> writerFailed{false};
    std::thread writer([&] {
        const size_t rest = full.size() - head;
        for (int k = 0; k < kPieces; ++k) {
            if (!velar_test::waitFor([&] { return stalls.load() > k; })) {
                writerFailed = true;
                return;
            }
            const size_t from = head + rest * k / kPieces;
            const size_t to = head + rest * (k + 1) / kPieces;
            temp.write(std::vector<unsigned char>(full.begin() + from, full.begin() + to), true);
            written = k + 1;
        }
    });

    LogCapture log;
    std::vector<AvSample> got;
    {
        AvFileFfmpeg file(recorder(), temp.path());
        EXPECT_TRUE(file.isActive());
        AvSample sample;
        for (int guard = 0; guard < 100000; ++guard) {
            const AvStatus status = file.getNextSample(sample);
            if (status == AvStatus::OK) {
                got.push_back(sample);
                continue;
            }
            if (status == AvStatus::EndOfFile) {
                break;
            }
            ASSERT_EQ(AvStatus::NotEnoughData, status);
            const int stall = ++stalls;
            ASSERT_LE(stall, 2 * kPieces) << "more stalls than pieces written";
            ASSERT_TRUE(velar_test::waitFor(
                [&] { return written.load() >= stall || written.load() == kPieces; }));
        }
        EXPECT_FALSE(file.isActive());
    }
    writer.join();
    EXPECT_FALSE(writerFailed.load());
    EXPECT_EQ(kPieces, written.load());
    EXPECT_GE(stalls.load(), kPieces);
    EXPECT_TRUE(log.containsFragment("Hit partial-EOF"));
    EXPECT_FALSE(log.contains("Inactive file is incomplete!"));

    ASSERT_EQ(wanted.size(), got.size());
    for (size_t i = 0; i < wanted.size(); ++i) {
        SCOPED_TRACE("sample " + std::to_string(i));
        EXPECT_EQ(wanted[i].track, got[i].track);
        EXPECT_EQ(wanted[i].dts, got[i].dts);
        EXPECT_EQ(wanted[i].pts, got[i].pts);
        EXPECT_EQ(wanted[i].data, got[i].data);
        EXPECT_EQ(wanted[i].keyFrame, got[i].keyFrame);
        EXPECT_EQ(wanted[i].firstSample, got[i].firstSample);  // resuming is not a jump
    }
}

}  // namespace
