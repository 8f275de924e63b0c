// The DASH-backed file over a scripted download command and scripted segment files (status table, tracks from the
// capability list, interleaving, discontinuities, jumps, metadata, key-frame queries), then real segments of a
// generated presentation through the factory's DASH branch, compared with the same segments opened one by one.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "DashFixtures.h"
#include "LogCapture.h"
#include "TestMedia.h"
#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFileDash.h"
#include "avfile/AvFileFactory.h"
#include "avfile/AvFileFfmpegMemory.h"

using namespace avfile;
using namespace dash;
using velar_test::failureOf;
using velar_test::LogCapture;
using Strings = std::vector<std::string>;
using Journal = std::vector<std::tuple<int, uint32_t, uint64_t>>;  // jumps of segment files: (segment, track, ms)

namespace {

// A segment of 1000 ms with one stream; samples as (dts, key frame).
struct Segment {
    AvTrackType type;
    std::vector<std::pair<uint64_t, bool>> samples;
    bool jumpResult = true;
};

struct FakeSegmentFile : IAvFile {
    FakeSegmentFile(int n, Segment s, Journal& j) : number(n), seg(std::move(s)), journal(j) {}
    uint64_t getDuration() const override { return 1000; }
    bool isActive() const override { return false; }
    uint64_t getActiveDuration(uint32_t) const override { return 0; }
    uint64_t getEarliestAvailablePosition() const override { return 0; }
    int64_t getPositionFromPts(uint64_t pts) const override { return int64_t(pts) - 500; }
    uint64_t getIFramePosition(uint32_t, uint64_t ms) const override { return ms / 2; }
    bool jumpToTime(uint32_t track, uint64_t ms) override {
        journal.emplace_back(number, track, ms);
        next = 0;
        return seg.jumpResult;
    }
    AvStatus getNextSample(AvSample& s) override {
        if (next == seg.samples.size()) return AvStatus::EndOfFile;
        s = AvSample();
        std::tie(s.dts, s.keyFrame) = seg.samples[next];
        s.firstSample = next++ == 0;
        return AvStatus::OK;
    }
    void setSampleFilter(AvSampleFilter f) override { filter = f; }
    std::vector<AvTrack> getTracks() const override { return {AvTrack{0, seg.type, "", 0, nullptr, {}, {}, {}, 0, "", ""}}; }
    void setPlaybackRate(int) override {}
    int number;
    Segment seg;
    Journal& journal;
    size_t next = 0;
    AvSampleFilter filter = AvSampleFilter::AllSamples;
};

// The file factory (the block {n} opens as segment n, anything else as nothing) and the download command in one.
struct Fakes : IAvFileFactory, IDashDownloadCommand {
    std::shared_ptr<IAvFile> openPath(const std::string&, const std::string&) const override { return nullptr; }
    std::shared_ptr<IAvFile> openMemory(const std::vector<unsigned char>& data, const std::string&) const override {
        if (data.size() != 1 || data[0] >= segments.size()) return nullptr;
        opened.push_back(std::make_shared<FakeSegmentFile>(data[0], segments[data[0]], journal));
        return opened.back();
    }
    AvTrackType supportedMimeType(const std::string& m) const override { return AvFileFactory(nullptr, nullptr).supportedMimeType(m); }

    bool start() override { return startResult; }
    bool cancel() override { return ++cancels; }
    bool seek(std::string mimeType, uint64_t ms) override { return seeks.emplace_back(mimeType, ms), seekResult; }
    DashDownloadStatus getStatus() override {
        ++statusCalls;
        const DashDownloadStatus next = script.empty() ? status : script.front();
        if (!script.empty()) script.pop_front();
        return next;
    }
    bool getBufferedSegment(std::string mimeType, std::vector<uint8_t>& data, uint64_t& positionMs) override {
        auto& queue = queues[mimeType];
        if (queue.empty()) return false;
        positionMs = queue.front().first;
        data.insert(data.end(), queue.front().second.begin(), queue.front().second.end());
        queue.pop_front();
        return true;
    }
    DashCapability getDashCapability() override { return capability; }
    void setDashConfig(DashConfig) override {}
    void registerListener(const DashDownloadEvent&, std::function<void()>) override {}
    void setTrickMode(int rate) override { trickModes.push_back(rate); }
    bool findSegmentPosition(std::string, uint64_t& positionMs, uint64_t&) override {
        if (found) positionMs = *found;
        return found != nullptr;
    }

    // Queues a segment; video samples after the first are not key frames.
    void queue(const std::string& mimeType, uint64_t startMs, AvTrackType type, const std::vector<uint64_t>& dts) {
        segments.push_back({type, {}});
        for (uint64_t d : dts) segments.back().samples.emplace_back(d, type == AvTrackType::Audio || d == dts[0]);
        queues[mimeType].push_back({startMs, {uint8_t(segments.size() - 1)}});
    }

    std::vector<Segment> segments;
    mutable Journal journal;
    mutable std::vector<std::shared_ptr<FakeSegmentFile>> opened;
    bool startResult = true, seekResult = true;
    std::deque<DashDownloadStatus> script;  // answered first, one per call
    DashDownloadStatus status = READY;
    std::map<std::string, std::deque<std::pair<uint64_t, std::vector<uint8_t>>>> queues;
    DashCapability capability;
    std::vector<std::pair<std::string, uint64_t>> seeks;
    std::vector<int> trickModes;
    std::shared_ptr<uint64_t> found;
    int statusCalls = 0, cancels = 0;
};

std::shared_ptr<Fakes> fakes(const Strings& mimeTypes = {"video/mp4", "audio/mp4"}) {
    auto f = std::make_shared<Fakes>();
    f->capability.version = 1;
    for (const auto& m : mimeTypes) f->capability.entries.emplace_back().mimeType = m;
    return f;
}

std::unique_ptr<AvFileDash> open(const std::shared_ptr<Fakes>& f) { return std::make_unique<AvFileDash>(f, f); }

// A video and an audio segment at 2000 ms (segments 0 and 1), opened.
std::unique_ptr<AvFileDash> openTwo(const std::shared_ptr<Fakes>& f, std::vector<uint64_t> video = {180000, 183600},
                                    std::vector<uint64_t> audio = {180000, 183600}) {
    f->queue("video/mp4", 2000, AvTrackType::Video, video);
    f->queue("audio/mp4", 2000, AvTrackType::Audio, audio);
    return open(f);
}

// "track:dts" ("*" on a first sample) per sample, up to `count` reads, ending with the first other status's text.
Strings read(IAvFile& file, size_t count) {
    Strings out;
    AvSample s;
    for (AvStatus status = AvStatus::OK; out.size() < count && status == AvStatus::OK;) {
        status = file.getNextSample(s);
        out.push_back(status != AvStatus::OK ? toString(status)
                                             : std::to_string(s.track) + ":" + std::to_string(s.dts) + (s.firstSample ? "*" : ""));
    }
    return out;
}

struct StatusRow {
    bool started;
    std::vector<DashDownloadStatus> statuses;  // after start(), the last one repeated
    std::pair<int, std::string> failure;      // code and text; -2: constructed
    const char* logged;
};

class AvFileDashStatusTest : public testing::TestWithParam<StatusRow> {};

// Every status the construction's wait can meet, and a command that never started.
TEST_P(AvFileDashStatusTest, ConstructionMapsTheStatus) {
    const StatusRow& row = GetParam();
    auto f = fakes({"video/mp4"});
    f->queue("video/mp4", 0, AvTrackType::Video, {0});
    f->startResult = row.started;
    f->script.assign(row.statuses.begin(), row.statuses.end());
    f->status = row.statuses.back();
    LogCapture log;
    EXPECT_EQ(row.failure, failureOf([&] { open(f); }));
    EXPECT_EQ(1, f->cancels);  // by the failed constructor (no destructor runs then), else by the destructor
    EXPECT_TRUE(log.contains(row.logged) || !*row.logged) << row.logged;
}

INSTANTIATE_TEST_SUITE_P(Table, AvFileDashStatusTest, testing::Values(
    StatusRow{true, {NO_SEGMENT, BUFFERING, READY}, {-2, ""}, "Dash download command started"},
    StatusRow{true, {COMPLETED}, {0, "Unknown error"}, "Dash stream is completed"},
    StatusRow{true, {BUFFERING, CANCELLED}, {0, "Unknown error"}, "An unknown error occured"},
    StatusRow{true, {FAIL_INVALID_URL}, {6, "Invalid URL"}, ""},
    StatusRow{true, {NO_SEGMENT, FAIL_INVALID_MPD}, {3, "Invalid MPD"}, ""},
    StatusRow{true, {FAIL_INVALID_ADAPTATION}, {0, "Invalid Adaptation"}, ""},
    StatusRow{true, {FAIL_INVALID_REP}, {0, "Invalid Representation"}, ""},
    StatusRow{true, {FAIL_BAD_CONNECTION}, {6, "Bad connection"}, ""},
    StatusRow{true, {FEATURE_NOT_SUPPORTED}, {0, "Unknown error"}, "An unknown error occured"},
    StatusRow{true, {FAIL_UNKNOWN_ERROR}, {0, "Unknown error"}, ""},
    StatusRow{true, {DashDownloadStatus(42)}, {0, "Unknown error"}, ""},
    StatusRow{false, {NO_SEGMENT}, {0, "Unknown error"}, "Dash download command did not start"},  // never waits
    StatusRow{false, {FAIL_INVALID_MPD}, {3, "Invalid MPD"}, ""}));

// Entries become tracks in order, numbered by position; the manifest's own type, unknown and repeated types and a
// segment that does not open are skipped. A missing first segment fails the construction.
TEST(AvFileDashTest, CapabilityEntriesChooseTheTracks) {
    auto f = fakes({"application/dash+xml", "text/vtt", "audio/mp4", "video/mp4", "audio/mp4", "media/mp4"});
    f->capability.live = true;
    f->queue("audio/mp4", 0, AvTrackType::Audio, {0});
    f->queue("video/mp4", 0, AvTrackType::Video, {0});
    f->queues["media/mp4"].push_back({0, {99}});
    LogCapture log;
    const auto file = open(f);
    const auto tracks = file->getTracks();
    ASSERT_EQ(2u, tracks.size());
    EXPECT_EQ(std::make_tuple(0u, AvTrackType::Audio, 1u, AvTrackType::Video, true),
              std::make_tuple(tracks[0].id, tracks[0].type, tracks[1].id, tracks[1].type, file->isActive()));
    EXPECT_TRUE(log.contains("Skipping capability entry 0 of mimetype application/dash+xml"));
    const auto empty = fakes();
    EXPECT_EQ(std::make_pair(-1, std::string("Dash download is in wrong state")), failureOf([&] { open(empty); }));
}

// Lowest last dts first, ties to the later track, each track's next segment taken when one ends. An empty queue
// while the command is ready asks the caller to retry; the end of a set's segments or COMPLETED ends each track; the
// file ends with its lowest track.
TEST(AvFileDashTest, InterleavesByDecodeTime) {
    auto f = fakes();
    LogCapture log;
    auto file = openTwo(f, {0, 3000}, {0, 3000, 6000});
    f->queue("video/mp4", 3000, AvTrackType::Video, {6000, 9000});
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "0:3000", "1:6000", "0:6000*", "NotEnoughData"}), read(*file, 9));
    EXPECT_TRUE(log.contains("Got more data for mimeType:video/mp4 segmentMs 3000 len:1"));
    EXPECT_TRUE(log.contains("No buffer in dash for mimeType audio/mp4, probably at eof"));
    // An on-demand set that has delivered everything ends its track although the status stays READY; a set that
    // still has a segment queued does not.
    f->capability.entries[1].endOfSegments = true;
    f->capability.entries[0].endOfSegments = true;
    f->capability.entries[0].bufferedSegments = 1;
    EXPECT_EQ((Strings{"0:9000", "NotEnoughData"}), read(*file, 9));
    f->capability.entries[0].bufferedSegments = 0;
    EXPECT_EQ((Strings{"EndOfFile"}), read(*file, 9));
    EXPECT_TRUE(log.contains("All segments of mimeType audio/mp4 delivered, end of track"));

    const auto early = fakes();
    file = openTwo(early, {0}, {0, 3000, 6000});
    early->status = COMPLETED;
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "EndOfFile"}), read(*file, 9));  // audio 6000 never comes
}

// More than 90000 ticks between the low 32 bits of consecutive dts (of any track) restarts the interleaving; a dts
// of 0x7FFFFFFFFFFFFFFF or with its top bit set is delivered and moves nothing.
TEST(AvFileDashTest, DiscontinuitiesAndErroneousStamps) {
    const uint64_t top = uint64_t(1) << 63;
    const struct {
        std::vector<uint64_t> dts;
        Strings logged;
    } table[] = {
        {{3000, 93000, 3000 + (uint64_t(1) << 32), 0x1FFFFFFF0, 0x200000010}, {}},  // the threshold; low 32 bits only
        {{3000, 93001, 93002, 3001},  // the sample after a restart is not compared
         {"Discontinuity on track 0, prev: 3000 new: 93001", "Discontinuity on track 0, prev: 93002 new: 3001"}},
        {{1000, 0x7FFFFFFFFFFFFFFF, 91001},
         {"Erronous sample dts of 9223372036854775807", "Discontinuity on track 0, prev: 1000 new: 91001"}},
        {{1000, top + 5, 2000}, {"Erronous sample dts of " + std::to_string(top + 5)}},
    };
    for (const auto& row : table) {
        auto f = fakes({"video/mp4"});
        f->queue("video/mp4", 0, AvTrackType::Video, row.dts);
        auto file = open(f);
        LogCapture log;
        EXPECT_EQ(row.dts.size() + 1, read(*file, 9).size());  // all delivered, then NotEnoughData
        Strings logged = log.messages();
        logged.pop_back();  // "No buffer in dash ..."
        EXPECT_EQ(row.logged, logged) << row.dts[1];
    }
    // After the discontinuity on video, video is taken first again although audio is behind it.
    auto f = fakes();
    LogCapture log;
    auto file = openTwo(f, {0, 3000, 200000, 203000}, {0, 3000, 6000, 9000});
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "0:3000", "1:6000", "0:200000", "0:203000", "1:9000"}), read(*file, 8));
    EXPECT_TRUE(log.contains("Discontinuity on track 0, prev: 6000 new: 200000"));
}

// Inside every loaded segment (its end included) nothing is sought: each segment file is jumped on its track 0 into
// the segment, to its end when the position is the end. With KeyFramesOnly and no non-key sample seen, to the
// segment's start. Only a track greater than the number of tracks is refused; a failed jump does not stop the others.
TEST(AvFileDashTest, JumpInsideTheLoadedSegments) {
    auto f = fakes();
    LogCapture log;
    auto file = openTwo(f);
    f->opened[0]->seg.jumpResult = false;
    EXPECT_FALSE(file->jumpToTime(3, 2500));
    EXPECT_FALSE(file->jumpToTime(2, 2500));
    f->opened[0]->seg.jumpResult = true;
    file->setSampleFilter(AvSampleFilter::KeyFramesOnly);
    EXPECT_TRUE(file->jumpToTime(0, 2500));
    EXPECT_EQ((Strings{"0:180000*", "1:180000*", "1:183600", "0:183600"}), read(*file, 4));  // a non-key sample
    EXPECT_TRUE(file->jumpToTime(0, 3000));
    EXPECT_TRUE(f->seeks.empty());
    EXPECT_EQ((Journal{{0, 0, 500}, {1, 0, 500}, {0, 0, 0}, {1, 0, 0}, {0, 0, 1000}, {1, 0, 1000}}), f->journal);
    EXPECT_EQ(AvSampleFilter::KeyFramesOnly, f->opened[1]->filter);
    for (const char* line : {"jumpToTime 2 inputPos:2500 (dash segment unchanged)", "Jump to time failed for pos: 2500",
                             "Seek request 3000 is after end of segment, seeking to end of segment 3000"})
        EXPECT_TRUE(log.contains(line)) << line;
}

// Outside: the command seeks every track, the file waits for data (not for buffers at a trick rate, which reaches
// the command), takes the new segments and jumps into them, clamped to a segment that does not hold the position.
// A refused seek throws.
TEST(AvFileDashTest, JumpOutsideSeeksWaitsAndClamps) {
    const struct {
        uint64_t newStart, jump;
        int rate, statusCalls;
        const char* logged;
    } table[] = {
        {4500, 500, 1000, 3, "jumpToTime 1 inputPos:5000 (dash segment changed)"},
        {6000, 0, 1000, 3, "Seek request 5000 is before start of segment, seeking to start of segment 6000"},
        {3000, 1000, -2000, 2, "Seek request 5000 is after end of segment, seeking to end of segment 4000"},
    };
    for (const auto& row : table) {
        auto f = fakes();
        auto file = openTwo(f);
        f->queue("video/mp4", row.newStart, AvTrackType::Video, {1});
        f->queue("audio/mp4", row.newStart, AvTrackType::Audio, {1});
        file->setPlaybackRate(row.rate);
        f->script = {NO_SEGMENT, BUFFERING, READY};
        LogCapture log;
        const int calls = f->statusCalls;
        EXPECT_TRUE(file->jumpToTime(1, 5000));
        EXPECT_EQ(row.statusCalls, f->statusCalls - calls);
        EXPECT_EQ(std::vector<int>{row.rate}, f->trickModes);
        EXPECT_EQ((std::vector<std::pair<std::string, uint64_t>>{{"video/mp4", 5000}, {"audio/mp4", 5000}}), f->seeks);
        EXPECT_EQ((Journal{{2, 0, row.jump}, {3, 0, row.jump}}), f->journal);
        EXPECT_TRUE(log.contains(row.logged)) << row.logged;
        f->seekResult = false;
        EXPECT_EQ(std::make_pair(0, std::string("Dash seek failed")), failureOf([&] { file->jumpToTime(0, 20000); }));
        EXPECT_TRUE(log.contains("Dash seek failed for pos: 20000") && f->seeks.size() == 3);
    }
}

// Durations and the earliest position are re-read only when the capability's version changes, bandwidths and
// languages on every query; getActiveDuration answers the first track's duration for any accepted track. Key frames:
// before any non-key sample or outside the loaded segment the command's position (the position itself when it finds
// none), inside the segment file's; a track equal to the count throws.
TEST(AvFileDashTest, MetadataAndKeyFramePositions) {
    auto f = fakes();
    auto& entries = f->capability.entries;
    entries[0].durationMs = 10000;
    entries[0].earliestPositionMs = 1500;
    entries[1].durationMs = 9000;
    auto file = openTwo(f);
    EXPECT_EQ((std::vector<uint64_t>{10000, 10000, 10000, 10000, 0, 1500}),
              (std::vector<uint64_t>{file->getDuration(), file->getActiveDuration(0), file->getActiveDuration(1),
                                     file->getActiveDuration(2), file->getActiveDuration(3),
                                     file->getEarliestAvailablePosition()}));
    EXPECT_EQ(90 * 500 + 1000 - 500, file->getPositionFromPts(1000));  // segment start 2000
    auto& video = entries[0];
    video.durationMs = 12000;
    video.earliestPositionMs = 3000;
    video.bandwidths = {100000, 200000};
    video.currentBandwidth = 100000;
    entries[1].languages = {"eng", "fra"};
    entries[1].currentLanguage = "fra";
    EXPECT_EQ(10000u, file->getDuration());
    const auto tracks = file->getTracks();
    EXPECT_EQ(std::make_tuple(std::vector<int32_t>{100000, 200000}, 100000, uint64_t(9000), Strings{"eng", "fra"}, std::string("fra")),
              std::make_tuple(tracks[0].intList, tracks[0].intValue, tracks[1].durationMs, tracks[1].stringList, tracks[1].stringValue));
    f->capability.version = 2;
    EXPECT_EQ(12000u, file->getDuration());
    EXPECT_EQ(-90 * 1000 + 1000 - 500, file->getPositionFromPts(1000));

    f->found = std::make_shared<uint64_t>(2000);
    LogCapture log;
    EXPECT_EQ(2000u, file->getIFramePosition(0, 2500));
    read(*file, 4);
    EXPECT_EQ((std::vector<uint64_t>{2250, 2000, 0}),
              (std::vector<uint64_t>{file->getIFramePosition(0, 2500), file->getIFramePosition(1, 3500),
                                     file->getIFramePosition(3, 2500)}));
    f->found.reset();
    EXPECT_EQ(3500u, file->getIFramePosition(1, 3500));
    EXPECT_THROW(file->getIFramePosition(2, 2500), std::out_of_range);
    EXPECT_TRUE(log.contains("Dash inputPos: 2500 segmentPosition: 2000"));
    EXPECT_TRUE(log.contains("ffmpeg inputPos: 2500 segmentPosition: 2250"));
}

struct CommandFactory : IDashDownloadCommandFactory {
    std::shared_ptr<IDashDownloadCommand> getDownloadCommand(const std::string&) override { return command; }
    std::shared_ptr<Fakes> command;
};

// Real segments of the generated presentation (video init-0 + chunk-0-*, audio init-2 + chunk-2-*, 1 s each) through
// the factory's DASH branch: per track the samples of the segments opened one by one (time stamps running on across
// segments, firstSample on each segment's first sample), the tracks interleaved by dts. Then the branch's failures.
TEST(AvFileDashTest, RealSegmentsThroughTheFactory) {
    const std::string dir = velar_test::dashFixtures() + "/template/";
    const auto codecs = std::make_shared<AvCodecDataFactory>();
    const auto commands = std::make_shared<CommandFactory>();
    const auto f = commands->command = fakes();
    std::vector<AvSample> expected[2], got[2];
    for (uint32_t t = 0; t < 2; ++t) {
        for (int n = 1; n <= 4; ++n) {
            const std::string rep = t == 0 ? "0" : "2";
            auto bytes = velar_test::readFileBytes(dir + "init-" + rep + ".m4s");
            const auto chunk = velar_test::readFileBytes(dir + "chunk-" + rep + "-0000" + std::to_string(n) + ".m4s");
            bytes.insert(bytes.end(), chunk.begin(), chunk.end());
            f->queues[f->capability.entries[t].mimeType].push_back({(n - 1) * 1000, bytes});
            AvFileFfmpegMemory segment(codecs, bytes);
            AvStatus last;
            for (AvSample sample : velar_test::readSamples(segment, last)) {
                sample.track = t;
                expected[t].push_back(sample);
            }
        }
    }
    AvFileFactory factory(codecs, commands);
    auto file = factory.openPath("http://127.0.0.1:1/p.mpd", "application/dash+xml");
    ASSERT_TRUE(dynamic_cast<AvFileDash*>(file.get()));
    EXPECT_EQ(2u, dynamic_cast<IAvDashInfo&>(*file).getDashCapability().entries.size());
    AvSample sample;
    for (AvStatus status; (status = file->getNextSample(sample)) != AvStatus::EndOfFile;) {
        if (status == AvStatus::NotEnoughData) {  // the queues are empty: the command completes
            ASSERT_NE(COMPLETED, f->status);
            f->status = COMPLETED;
            continue;
        }
        got[sample.track].push_back(sample);
        if (!got[0].empty() && got[1].size() > 2) {  // the audio's first two frames are 80 ms apart (priming)
            const uint64_t v = got[0].back().dts, a = got[1].back().dts;
            EXPECT_LE(v > a ? v - a : a - v, 3600u + 1920u);  // a video plus an audio frame at most
        }
    }
    for (size_t i = 0; i < got[0].size(); ++i) ASSERT_EQ(got[0][0].dts + 3600 * i, got[0][i].dts) << i;
    velar_test::expectSameSamples(expected[0], got[0]);
    // The audio stops with the video, its lowest track: at most its last frames are left.
    ASSERT_TRUE(got[1].size() + 3 >= expected[1].size() && got[1].back().dts >= got[0].back().dts);
    expected[1].resize(got[1].size());
    velar_test::expectSameSamples(expected[1], got[1]);
    file.reset();
    EXPECT_EQ(1, f->cancels);

    LogCapture log;
    commands->command = fakes();
    commands->command->status = FAIL_INVALID_MPD;
    EXPECT_EQ(std::make_pair(3, std::string("Invalid MPD")), failureOf([&] { factory.openPath("u1", "application/dash+xml"); }));
    EXPECT_EQ(1, commands->command->cancels);
    commands->command.reset();
    EXPECT_EQ(nullptr, factory.openPath("u2", "application/dash+xml"));
    EXPECT_TRUE(log.contains("end, Failed to open u1 with mimetype application/dash+xml"));
    EXPECT_TRUE(log.contains("end, Failed to open u2 with mimetype application/dash+xml"));
}

// The extent of a loaded real segment is its own length (FFmpeg gives a fragment's container duration as its end on
// the presentation time line): a jump past it asks the command, a jump inside it does not.
TEST(AvFileDashTest, RealSegmentExtentIsItsOwnLength) {
    const std::string dir = velar_test::dashFixtures() + "/template/";
    const auto f = fakes({"video/mp4"});
    for (int n : {3, 4}) {
        auto bytes = velar_test::readFileBytes(dir + "init-0.m4s");
        const auto chunk = velar_test::readFileBytes(dir + "chunk-0-0000" + std::to_string(n) + ".m4s");
        bytes.insert(bytes.end(), chunk.begin(), chunk.end());
        f->queues["video/mp4"].push_back({(n - 1) * 1000, bytes});
    }
    AvFileDash file(std::make_shared<AvFileFactory>(std::make_shared<AvCodecDataFactory>(), nullptr), f);
    LogCapture log;
    EXPECT_TRUE(file.jumpToTime(0, 2500));
    EXPECT_TRUE(f->seeks.empty());
    EXPECT_TRUE(file.jumpToTime(0, 3500));
    EXPECT_EQ((std::vector<std::pair<std::string, uint64_t>>{{"video/mp4", 3500}}), f->seeks);
    EXPECT_TRUE(log.contains("jumpToTime 0 inputPos:3500 (dash segment changed)"));
}

}  // namespace
