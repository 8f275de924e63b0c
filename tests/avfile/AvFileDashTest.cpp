// The DASH-backed file over a scripted download command and scripted segment files (status table, tracks from the
// capability list, interleaving, discontinuities, jumps, metadata, key-frame queries), then real segments of a
// generated presentation, compared with the same segments opened one by one.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
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
using Strings = std::vector<std::string>;
using Journal = std::vector<std::tuple<int, uint32_t, uint64_t>>;  // jumps of segment files: (segment, track, ms)
using Seeks = std::vector<std::pair<std::string, uint64_t>>;

namespace {

// A segment of 1000 ms with one stream; samples as (dts, key frame).
struct FakeSegmentFile : IAvFile {
    FakeSegmentFile(int n, AvTrackType t, std::vector<std::pair<uint64_t, bool>> s, Journal& j)
        : number(n), type(t), samples(std::move(s)), journal(j) {}
    uint64_t getDuration() const override { return 1000; }
    bool isActive() const override { return false; }
    uint64_t getActiveDuration(uint32_t) const override { return 0; }
    uint64_t getEarliestAvailablePosition() const override { return 0; }
    int64_t getPositionFromPts(uint64_t pts) const override { return int64_t(pts) - 500; }
    uint64_t getIFramePosition(uint32_t, uint64_t ms) const override { return ms / 2; }
    bool jumpToTime(uint32_t track, uint64_t ms) override {
        journal.emplace_back(number, track, ms);
        next = 0;
        return jumpResult;
    }
    AvStatus getNextSample(AvSample& s) override {
        if (next == samples.size()) return AvStatus::EndOfFile;
        s = AvSample();
        std::tie(s.dts, s.keyFrame) = samples[next];
        s.firstSample = next++ == 0;
        return AvStatus::OK;
    }
    void setSampleFilter(AvSampleFilter f) override { filter = f; }
    std::vector<AvTrack> getTracks() const override { return {AvTrack{0, type, "", 0, nullptr, {}, {}, {}, 0, "", ""}}; }
    void setPlaybackRate(int) override {}
    int number;
    AvTrackType type;
    std::vector<std::pair<uint64_t, bool>> samples;
    Journal& journal;
    size_t next = 0;
    bool jumpResult = true;
    AvSampleFilter filter = AvSampleFilter::AllSamples;
};

// The file factory (the block {n} opens as segment n, anything else as nothing) and the download command in one.
struct Fakes : IAvFileFactory, IDashDownloadCommand {
    std::shared_ptr<IAvFile> openPath(const std::string&, const std::string&) const override { return nullptr; }
    std::shared_ptr<IAvFile> openMemory(const std::vector<unsigned char>& data, const std::string&) const override {
        return data.size() == 1 && data[0] < segments.size() ? segments[data[0]] : nullptr;
    }
    AvTrackType supportedMimeType(const std::string& m) const override { return AvFileFactory(nullptr, nullptr).supportedMimeType(m); }

    bool start() override { return startResult; }
    bool cancel() override { return ++cancels; }
    bool seek(std::string mimeType, uint64_t ms) override { return seeks.emplace_back(mimeType, ms), seekResult; }
    DashDownloadStatus getStatus() override {
        ++statusCalls;
        if (script.empty()) return status;
        const DashDownloadStatus next = script.front();
        script.pop_front();
        return next;
    }
    bool getBufferedSegment(std::string mimeType, std::vector<uint8_t>& data, uint64_t& positionMs) override {
        auto& queue = queues[mimeType];
        if (queue.empty()) return false;
        std::tie(positionMs, data) = queue.front();
        queue.pop_front();
        return true;
    }
    DashCapability getDashCapability() override { return capability; }
    void setDashConfig(DashConfig) override {}
    void registerListener(const DashDownloadEvent&, std::function<void()>) override {}
    void setTrickMode(int rate) override { trickModes.push_back(rate); }
    bool findSegmentPosition(std::string, uint64_t& positionMs, uint64_t&) override {
        if (found >= 0) positionMs = uint64_t(found);
        return found >= 0;
    }

    // Queues a segment of video (video/mp4) or audio; video samples after the first are not key frames.
    void queue(const std::string& mimeType, uint64_t startMs, const std::vector<uint64_t>& dts) {
        const AvTrackType type = mimeType == "video/mp4" ? AvTrackType::Video : AvTrackType::Audio;
        std::vector<std::pair<uint64_t, bool>> samples;
        for (uint64_t d : dts) samples.emplace_back(d, type == AvTrackType::Audio || d == dts[0]);
        segments.push_back(std::make_shared<FakeSegmentFile>(int(segments.size()), type, samples, journal));
        queues[mimeType].push_back({startMs, {uint8_t(segments.size() - 1)}});
    }

    std::vector<std::shared_ptr<FakeSegmentFile>> segments;
    Journal journal;
    bool startResult = true, seekResult = true;
    std::deque<DashDownloadStatus> script;  // answered first, one per call
    DashDownloadStatus status = READY;
    std::map<std::string, std::deque<std::pair<uint64_t, std::vector<uint8_t>>>> queues;
    DashCapability capability;
    Seeks seeks;
    std::vector<int> trickModes;
    int64_t found = -1;  // the segment position findSegmentPosition answers; none when negative
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
    f->queue("video/mp4", 2000, video);
    f->queue("audio/mp4", 2000, audio);
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

// Every kind of status the construction's wait can meet (the error exits of a presentation are played end to end),
// and a command that never started: not waited on. A failed construction cancels the command, a constructed file
// cancels it when it goes.
TEST(AvFileDashTest, ConstructionMapsTheStatus) {
    // The statuses after start() (the last one repeated) and what the construction throws (-2: nothing).
    const struct { bool started; std::vector<DashDownloadStatus> statuses; std::pair<int, std::string> thrown; } table[] = {
        {true, {NO_SEGMENT, BUFFERING, READY}, {-2, ""}},
        {true, {COMPLETED}, {0, "Unknown error"}},
        {true, {BUFFERING, CANCELLED}, {0, "Unknown error"}},
        {true, {FAIL_INVALID_URL}, {6, "Invalid URL"}},
        {true, {FAIL_INVALID_REP}, {0, "Invalid Representation"}},
        {true, {DashDownloadStatus(42)}, {0, "Unknown error"}},
        {false, {NO_SEGMENT}, {0, "Unknown error"}},
    };
    for (const auto& row : table) {
        auto f = fakes({"video/mp4"});
        f->queue("video/mp4", 0, {0});
        f->startResult = row.started;
        f->script.assign(row.statuses.begin(), row.statuses.end() - 1);
        f->status = row.statuses.back();
        EXPECT_EQ(row.thrown, failureOf([&] { open(f); })) << row.statuses.back();
        EXPECT_EQ(1, f->cancels) << row.statuses.back();
    }
}

// Entries become tracks in order, numbered by position; the manifest's own type, unknown and repeated types and a
// segment that does not open are skipped. A missing first segment fails the construction.
TEST(AvFileDashTest, CapabilityEntriesChooseTheTracks) {
    auto f = fakes({"application/dash+xml", "text/vtt", "audio/mp4", "video/mp4", "audio/mp4", "media/mp4"});
    f->capability.live = true;
    f->queue("audio/mp4", 0, {0});
    f->queue("video/mp4", 0, {0});
    f->queues["media/mp4"].push_back({0, {99}});
    velar_test::LogCapture log;
    const auto file = open(f);
    const auto tracks = file->getTracks();
    ASSERT_EQ(2u, tracks.size());
    EXPECT_EQ(std::make_tuple(0u, AvTrackType::Audio, 1u, AvTrackType::Video, true),
              std::make_tuple(tracks[0].id, tracks[0].type, tracks[1].id, tracks[1].type, file->isActive()));
    EXPECT_TRUE(log.contains("Skipping capability entry 0 of mimetype application/dash+xml"));
    EXPECT_EQ(std::make_pair(-1, std::string("Dash download is in wrong state")), failureOf([&] { open(fakes()); }));
}

// Lowest last dts first, ties to the later track, each track's next segment taken (with the sample filter, which the
// fakes ignore) when one ends. An empty queue while the command is ready asks the caller to retry; a set that has
// delivered everything (nothing left queued) or COMPLETED ends its track; the file ends with its lowest track.
TEST(AvFileDashTest, InterleavesByDecodeTime) {
    auto f = fakes();
    auto file = openTwo(f, {0, 3000}, {0, 3000, 6000});
    f->queue("video/mp4", 3000, {6000, 9000});
    file->setSampleFilter(AvSampleFilter::KeyFramesOnly);
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "0:3000", "1:6000", "0:6000*", "NotEnoughData"}), read(*file, 9));
    EXPECT_EQ(AvSampleFilter::KeyFramesOnly, f->segments[2]->filter);  // the next segment gets the filter too
    for (auto& entry : f->capability.entries) entry.endOfSegments = true;
    f->capability.entries[0].bufferedSegments = 1;
    EXPECT_EQ((Strings{"0:9000", "NotEnoughData"}), read(*file, 9));
    f->capability.entries[0].bufferedSegments = 0;
    EXPECT_EQ((Strings{"EndOfFile"}), read(*file, 9));

    const auto early = fakes();
    file = openTwo(early, {0}, {0, 3000, 6000});
    early->status = COMPLETED;
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "EndOfFile"}), read(*file, 9));  // audio 6000 never comes
}

// More than 90000 ticks between the low 32 bits of consecutive dts (of any track) restarts the interleaving; a dts
// of 0x7FFFFFFFFFFFFFFF or with its top bit set is delivered and moves nothing.
TEST(AvFileDashTest, DiscontinuitiesAndErroneousStamps) {
    const uint64_t top = uint64_t(1) << 63;
    const struct { std::vector<uint64_t> dts; Strings logged; } table[] = {
        {{3000, 93000, 3000 + (uint64_t(1) << 32), 0x1FFFFFFF0, 0x200000010}, {}},  // the threshold; low 32 bits only
        {{3000, 93001, 93002, 3001},
         {"Discontinuity on track 0, prev: 3000 new: 93001", "Discontinuity on track 0, prev: 93002 new: 3001"}},
        {{1000, 0x7FFFFFFFFFFFFFFF, top + 5, 91001},
         {"Erronous sample dts of 9223372036854775807", "Erronous sample dts of " + std::to_string(top + 5),
          "Discontinuity on track 0, prev: 1000 new: 91001"}},
    };
    for (const auto& row : table) {
        auto f = fakes({"video/mp4"});
        f->queue("video/mp4", 0, row.dts);
        auto file = open(f);
        velar_test::LogCapture log;
        EXPECT_EQ(row.dts.size() + 1, read(*file, 9).size());  // all delivered, then NotEnoughData
        Strings logged = log.messages();
        logged.pop_back();  // "No buffer in dash ..."
        EXPECT_EQ(row.logged, logged) << row.dts[1];
    }
    // After the discontinuity on audio every track restarts: video first, then audio although video is behind it.
    auto f = fakes();
    auto file = openTwo(f, {0, 3000, 6000, 9000}, {0, 3000, 200000, 203000});
    EXPECT_EQ((Strings{"0:0*", "1:0*", "1:3000", "0:3000", "1:200000", "0:6000", "1:203000", "0:9000"}), read(*file, 8));
}

// Inside every loaded segment (its end included) nothing is sought: each segment file is jumped on its track 0 into
// the segment, to its end when the position is the end. With KeyFramesOnly and no non-key sample seen, to the
// segment's start. Only a track greater than the number of tracks is refused; a failed jump does not stop the others.
TEST(AvFileDashTest, JumpInsideTheLoadedSegments) {
    auto f = fakes();
    auto file = openTwo(f);
    f->segments[0]->jumpResult = false;
    EXPECT_FALSE(file->jumpToTime(3, 2500));
    EXPECT_FALSE(file->jumpToTime(2, 2500));
    f->segments[0]->jumpResult = true;
    file->setSampleFilter(AvSampleFilter::KeyFramesOnly);
    EXPECT_TRUE(file->jumpToTime(0, 2500));
    EXPECT_EQ((Strings{"0:180000*", "1:180000*", "1:183600", "0:183600"}), read(*file, 4));  // a non-key sample
    EXPECT_TRUE(file->jumpToTime(0, 3000));
    EXPECT_TRUE(f->seeks.empty());
    EXPECT_EQ((Journal{{0, 0, 500}, {1, 0, 500}, {0, 0, 0}, {1, 0, 0}, {0, 0, 1000}, {1, 0, 1000}}), f->journal);
    EXPECT_EQ(AvSampleFilter::KeyFramesOnly, f->segments[1]->filter);
}

// Outside: the command seeks every track, the file waits for data (not for buffers at a trick rate, which reaches
// the command), takes the new segments and jumps into them, clamped to a segment that does not hold the position.
// A refused seek throws.
TEST(AvFileDashTest, JumpOutsideSeeksWaitsAndClamps) {
    // Segment start after the seek, the jump into it (inside, before, after), rate, status polls of the wait.
    const struct { uint64_t newStart, jump; int rate, statusCalls; } table[] = {
        {4500, 500, 1000, 3}, {6000, 0, 1000, 3}, {3000, 1000, -2000, 2}};
    for (const auto& row : table) {
        auto f = fakes();
        auto file = openTwo(f);
        f->queue("video/mp4", row.newStart, {1});
        f->queue("audio/mp4", row.newStart, {1});
        file->setPlaybackRate(row.rate);
        f->script = {NO_SEGMENT, BUFFERING, READY};
        const int calls = f->statusCalls;
        EXPECT_TRUE(file->jumpToTime(1, 5000));
        EXPECT_EQ(row.statusCalls, f->statusCalls - calls);
        EXPECT_EQ(std::vector<int>{row.rate}, f->trickModes);
        EXPECT_EQ((Seeks{{"video/mp4", 5000}, {"audio/mp4", 5000}}), f->seeks);
        EXPECT_EQ((Journal{{2, 0, row.jump}, {3, 0, row.jump}}), f->journal);
        f->seekResult = false;
        EXPECT_EQ(std::make_pair(0, std::string("Dash seek failed")), failureOf([&] { file->jumpToTime(0, 20000); }));
    }
}

// Durations and the earliest position are re-read only when the capability's version changes, bandwidths and
// languages on every query; getActiveDuration answers the first track's duration for any accepted track. Key frames:
// before any non-key sample or outside the loaded segment the command's position (the position itself when it finds
// none), inside the segment file's; a track equal to the count throws.
TEST(AvFileDashTest, MetadataAndKeyFramePositions) {
    auto f = fakes();
    auto &video = f->capability.entries[0], &audio = f->capability.entries[1];
    std::tie(video.durationMs, video.earliestPositionMs, audio.durationMs) = std::make_tuple(10000, 1500, 9000);
    auto file = openTwo(f);
    EXPECT_EQ((std::vector<uint64_t>{10000, 10000, 10000, 10000, 0, 1500}),
              (std::vector<uint64_t>{file->getDuration(), file->getActiveDuration(0), file->getActiveDuration(1),
                                     file->getActiveDuration(2), file->getActiveDuration(3),
                                     file->getEarliestAvailablePosition()}));
    EXPECT_EQ(90 * 500 + 1000 - 500, file->getPositionFromPts(1000));  // segment start 2000
    std::tie(video.durationMs, video.earliestPositionMs, video.bandwidths, video.currentBandwidth) =
        std::make_tuple(12000, 3000, std::vector<int32_t>{100000, 200000}, 100000);
    std::tie(audio.languages, audio.currentLanguage) = std::make_tuple(Strings{"eng", "fra"}, "fra");
    EXPECT_EQ(10000u, file->getDuration());
    const auto tracks = file->getTracks();
    EXPECT_EQ(std::make_tuple(std::vector<int32_t>{100000, 200000}, 100000, uint64_t(9000), Strings{"eng", "fra"}, std::string("fra")),
              std::make_tuple(tracks[0].intList, tracks[0].intValue, tracks[1].durationMs, tracks[1].stringList, tracks[1].stringValue));
    f->capability.version = 2;
    EXPECT_EQ(12000u, file->getDuration());
    EXPECT_EQ(-90 * 1000 + 1000 - 500, file->getPositionFromPts(1000));

    f->found = 2000;
    EXPECT_EQ(2000u, file->getIFramePosition(0, 2500));
    read(*file, 4);
    EXPECT_EQ((std::vector<uint64_t>{2250, 2000, 0}),
              (std::vector<uint64_t>{file->getIFramePosition(0, 2500), file->getIFramePosition(1, 3500),
                                     file->getIFramePosition(3, 2500)}));
    f->found = -1;
    EXPECT_EQ(3500u, file->getIFramePosition(1, 3500));
    EXPECT_THROW(file->getIFramePosition(2, 2500), std::out_of_range);
}

// Initialisation and media segment n (1 to 4, 1 s each) of Representation `id` of the generated template/ presentation.
std::vector<uint8_t> realSegment(char id, int n) {
    const std::string dir = velar_test::dashFixtures() + "/template/";
    auto bytes = velar_test::readFileBytes(dir + "init-" + id + ".m4s");
    const auto media = velar_test::readFileBytes(dir + "chunk-" + id + "-0000" + std::to_string(n) + ".m4s");
    bytes.insert(bytes.end(), media.begin(), media.end());
    return bytes;
}

// Real segments (video Representation 0, audio 2) opened by the file factory: per track the samples of the segments
// opened one by one (firstSample on each segment's first sample), the tracks interleaved by dts. Then the extent of
// the last loaded segment is its own length, not FFmpeg's container duration of a fragment (its end on the
// presentation time line, 4 s): a jump inside it asks the command nothing, a jump past it seeks.
TEST(AvFileDashTest, RealSegmentsAsOpenedOneByOne) {
    const auto codecs = std::make_shared<AvCodecDataFactory>();
    const auto f = fakes();
    std::vector<AvSample> expected[2], got[2];
    for (uint32_t t = 0; t < 2; ++t) {
        for (int n = 1; n <= 4; ++n) {
            const auto bytes = realSegment("02"[t], n);
            f->queues[f->capability.entries[t].mimeType].push_back({(n - 1) * 1000, bytes});
            AvFileFfmpegMemory segment(codecs, bytes);
            AvStatus last;
            for (AvSample sample : velar_test::readSamples(segment, last)) {
                sample.track = t;
                expected[t].push_back(sample);
            }
        }
    }
    AvFileDash file(std::make_shared<AvFileFactory>(codecs, nullptr), f);
    AvSample sample;
    for (AvStatus status; (status = file.getNextSample(sample)) != AvStatus::EndOfFile;) {
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
    velar_test::expectSameSamples(expected[0], got[0]);
    // The audio stops with the video, its lowest track: at most its last frames are left.
    ASSERT_TRUE(got[1].size() + 3 >= expected[1].size() && got[1].back().dts >= got[0].back().dts);
    expected[1].resize(got[1].size());
    velar_test::expectSameSamples(expected[1], got[1]);

    file.jumpToTime(0, 3500);
    EXPECT_TRUE(f->seeks.empty());
    file.jumpToTime(0, 4500);
    EXPECT_EQ((Seeks{{"video/mp4", 4500}, {"audio/mp4", 4500}}), f->seeks);
}

}  // namespace
