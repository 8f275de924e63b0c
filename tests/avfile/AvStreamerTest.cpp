// The streaming pipeline: router and feeder factory, the streamer's state machine and its worker thread.
#include "avfile/AvStreamer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "avfile/AacFeeder.h"
#include "avfile/AvFeederFactory.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/AvRouter.h"
#include "avfile/AvStreamerThread.h"
#include "avfile/H264Feeder.h"
#include "platform/ContigMemBuffer.h"
#include "tests/common/LogCapture.h"
#include "tests/common/WaitFor.h"

using namespace avfile;
using J = std::vector<std::string>;
using velar_test::waitFor;

namespace {

// What a streamer is built on: fakes at the edges, the real router between them. The file has an audio track 1
// ("aac") then a video track 2 ("avc1"), so the timing track is neither the first nor track 0; each read answers
// `nextRead`. The feeder factory makes a timing feeder for "avc1" and a plain one for "aac" (none when `makeFeeders`
// is false). The journal notes "seek <track> <ms>", "filter <n>", "discard" / "resume" and per fed sample
// "<codec> <track>". Set the hooks before a worker thread starts.
struct Parts : IAvFile, IAvFeederFactory, IAvPacketBuffer {
    struct Feeder : IAvFeeder {
        Feeder(Parts& p, const std::string& c) : parts(p), codec(c) {}
        void feedSample(const AvSample& s) override {
            parts.note(codec + " " + std::to_string(s.track));
            if (parts.onFeed) parts.onFeed(s);
        }
        bool isTimingTrack() override { return codec == "avc1"; }
        Parts& parts;
        const std::string codec;
    };
    static AvTrack track(bool video) {
        AvTrack t;
        t.id = video ? 2 : 1;
        t.type = video ? AvTrackType::Video : AvTrackType::Audio;
        t.codec = video ? "avc1" : "aac";
        return t;
    }
    // Fills `sample` as a demuxer would for a key frame at 100 ms.
    static AvStatus deliver(bool video, AvSample& sample) {
        sample.trackInfo = track(video);
        sample.track = sample.trackInfo.id;
        sample.data.assign(64, 0x22);
        sample.pts = sample.dts = 9000;
        sample.keyFrame = true;
        return AvStatus::OK;
    }
    void note(const std::string& entry) {
        std::lock_guard<std::mutex> lock(mutex);
        entries.push_back(entry);
    }
    J journal() const {
        std::lock_guard<std::mutex> lock(mutex);
        return entries;
    }
    uint64_t getDuration() const override { return 0; }
    bool isActive() const override { return false; }
    uint64_t getActiveDuration(uint32_t) const override { return 0; }
    uint64_t getEarliestAvailablePosition() const override { return 0; }
    int64_t getPositionFromPts(uint64_t) const override { return 0; }
    uint64_t getIFramePosition(uint32_t, uint64_t) const override { return 0; }
    bool jumpToTime(uint32_t track, uint64_t ms) override {
        note("seek " + std::to_string(track) + " " + std::to_string(ms));
        return seekAnswer();
    }
    AvStatus getNextSample(AvSample& sample) override { return ++reads, nextRead(sample); }
    void setSampleFilter(AvSampleFilter f) override { note("filter " + std::to_string(int(f))); }
    std::vector<AvTrack> getTracks() const override { return {track(false), track(true)}; }
    void setPlaybackRate(int) override {}
    std::shared_ptr<IAvFeeder> getFeeder(const std::string& codec) override {
        return makeFeeders && (codec == "avc1" || codec == "aac") ? std::make_shared<Feeder>(*this, codec) : nullptr;
    }
    void writeData(const uint8_t*, size_t, bool) override {}
    void discardData(bool discard) override { note(discard ? "discard" : "resume"); }
    bool makeFeeders = true;
    std::function<bool()> seekAnswer = [] { return true; };  // may throw
    std::function<AvStatus(AvSample&)> nextRead = [](AvSample& s) { return deliver(true, s); };
    std::function<void(const AvSample&)> onFeed;  // may throw
    std::atomic<int> reads{0};
    mutable std::mutex mutex;
    J entries;
    std::shared_ptr<Parts> self{std::shared_ptr<Parts>(), this};  // owns nothing: the parts outlive their users
    std::shared_ptr<AvRouter> router = std::make_shared<AvRouter>(self);
};

const uint32_t kNone = 0xFFFFFFFFu;
using Tracks = std::vector<std::pair<unsigned, const char*>>;  // (id, codec), added in order
using Samples = std::vector<std::pair<uint32_t, uint64_t>>;    // (track, pts)

void feed(AvRouter& router, const Samples& samples) {
    for (const auto& s : samples) {
        AvSample sample;
        sample.track = s.first;
        sample.pts = sample.dts = s.second;
        router.feedSample(sample);
    }
}

TEST(AvRouterTest, FeedsAndFollowsTheTimingTrack) {
    const struct {
        const char* name;
        Tracks tracks;
        Samples samples;
        uint32_t timingTrack;
        bool noTracks;  // deliberately true when at least one track HAS a feeder
        J fed;          // "<codec of the feeder> <track of the sample>"
        uint64_t positionMs;
    } table[] = {
        {"AudioThenVideoOnlyTheVideoMoves", {{1, "aac"}, {2, "avc1"}}, {{2, 90000}, {1, 450000}}, 2, true,
         {"avc1 2", "aac 1"}, 1000},
        {"AudioAloneGivesThePosition", {{1, "aac"}}, {{1, 180000}}, 1, true, {"aac 1"}, 2000},
        {"LastOfTwoVideoWins", {{1, "avc1"}, {2, "avc1"}}, {}, 2, true, {}, 0},
        {"NoFeederForOtherCodecs", {{3, "mp4v"}, {0, ""}, {4, "AVC1"}}, {{3, 900}}, kNone, false, {}, 0},
        {"TracksWithoutFeederAreDropped", {{0, "avc1"}, {2, "tx3g"}}, {{0, 900}, {2, 900000}, {77, 900000}}, 0, true,
         {"avc1 0"}, 10},
        // A repeated id keeps its first feeder, but the feeder made for the repeat still decides the timing role.
        {"RepeatedIdKeepsItsFirstFeeder", {{2, "avc1"}, {1, "aac"}, {1, "avc1"}}, {{1, 90}}, 1, true, {"aac 1"}, 1},
        {"LastTickOfThePesClockTruncated", {{0, "avc1"}}, {{0, 8589934591ull}}, 0, true, {"avc1 0"}, 95443717},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        Parts parts;
        for (const auto& t : c.tracks) parts.router->addTrack(t.first, t.second);
        velar_test::LogCapture log;
        EXPECT_NO_THROW(feed(*parts.router, c.samples));
        EXPECT_EQ(c.timingTrack, parts.router->getTimingTrack());
        EXPECT_EQ(c.noTracks, parts.router->noTracks());
        EXPECT_EQ(c.fed, parts.journal());
        EXPECT_EQ(c.positionMs, parts.router->getCurrentPtsMs());
        EXPECT_TRUE(log.lines().empty());  // a dropped sample leaves no message either
    }
}

TEST(AvRouterTest, ClearTracksForgetsTracksButKeepsThePosition) {
    Parts parts;
    AvRouter& router = *parts.router;
    router.addTrack(0, "avc1");
    router.addTrack(1, "aac");
    feed(router, {{0, 900000}});
    router.clearTracks();
    EXPECT_FALSE(router.noTracks());
    EXPECT_EQ(kNone, router.getTimingTrack());
    feed(router, {{0, 1800000}});
    EXPECT_EQ(10000u, router.getCurrentPtsMs());
    EXPECT_EQ(J{"avc1 0"}, parts.journal());  // only before clearing
    router.addTrack(1, "aac");                // an audio track may take the timing role again
    EXPECT_EQ(1u, router.getTimingTrack());
    EXPECT_THROW(AvRouter(nullptr), std::invalid_argument);
}

TEST(AvFeederFactoryTest, OnlyTheExactCodecNamesMakeAFeeder) {
    AvFeederFactory factory(std::make_shared<AvPacketBuffer>(std::make_shared<ContigMemBuffer>(64)));
    EXPECT_TRUE(std::dynamic_pointer_cast<H264Feeder>(factory.getFeeder("avc1")));
    EXPECT_TRUE(std::dynamic_pointer_cast<AacFeeder>(factory.getFeeder("aac")));
    for (const std::string& codec : J{"AVC1", "mp4a", "", "avc1 ", std::string("aac\0x", 5)}) {
        EXPECT_EQ(nullptr, factory.getFeeder(codec)) << codec;
    }
    EXPECT_THROW(AvFeederFactory(nullptr), std::invalid_argument);
}

// Passes every callback as text to its sink; a throwing one then throws an int, which is no std::exception, as a
// careless host might.
struct Listener : IAvStreamerListener {
    explicit Listener(std::function<void(const std::string&)> sink, bool throws = false) : sink(sink), throws(throws) {}
    void onAvTracks() override { hear("tracks"); }
    void onAvStateChanged(const AvStreamerState& state) override { hear(toString(state)); }
    void onAvError(const AvBaseException& e) override {
        hear("error " + std::to_string(e.getErrorCode()) + " " + e.what());
    }
    void hear(const std::string& text) {
        heard.push_back(text);
        sink(text);
        if (throws) throw 7;
    }
    std::function<void(const std::string&)> sink;
    bool throws;
    J heard;
};

using Read = std::function<AvStatus(AvSample&)>;
AvStatus video(AvSample& s) { return Parts::deliver(true, s); }

// A streamer driven by a script of words, each one host call or one step() (see `words`). The journal gets the
// listener's callbacks, the parts' notes, "refused" for a false answer and "escaped" for an exception out of step().
struct Script {
    const char* name;
    const char* words;
    std::string journal;  // entries joined by ", "
    AvStreamerState end;
};
void PrintTo(const Script& s, std::ostream* os) { *os << s.words; }

class AvStreamerScriptTest : public ::testing::TestWithParam<Script> {
protected:
    void position(AvSampleFilter filter = AvSampleFilter::AllSamples,
                  std::function<bool()> answer = [] { return true; }) {
        parts.seekAnswer = answer;  // of jumpToTime
        if (!streamer.setPosition(5000, filter)) parts.note("refused");
    }
    void step(Read read, std::function<void(const AvSample&)> onFeed = nullptr) {
        parts.nextRead = read;
        parts.onFeed = onFeed;
        streamer.step();
    }

    velar_test::LogCapture log;
    Parts parts;
    Listener thrower{[](const std::string&) {}, true};
    Listener listener{[this](const std::string& e) { parts.note(e); }};
    AvStreamer streamer{parts.self, parts.router, parts.self};
    const std::map<std::string, std::function<void()>> words = {
        {"nofeeders", [this] { parts.makeFeeders = false; }},
        {"pos", [this] { position(); }},
        {"keypos", [this] { position(AvSampleFilter::KeyFramesOnly); }},
        {"pos:false", [this] { position(AvSampleFilter::AllSamples, [] { return false; }); }},
        {"pos:throw", [this] {
             position(AvSampleFilter::AllSamples, []() -> bool { throw AvFileNotFoundException("segment is gone"); });
         }},
        {"video", [this] { step(video); }},
        {"audio", [this] { step([](AvSample& s) { return Parts::deliver(false, s); }); }},
        {"wait", [this] { step([](AvSample&) { return AvStatus::NotEnoughData; }); }},
        {"eof", [this] { step([](AvSample&) { return AvStatus::EndOfFile; }); }},
        {"read:throw", [this] { step([](AvSample&) -> AvStatus { throw AvParseErrorException("truncated moof"); }); }},
        {"read:42", [this] { step([](AvSample&) -> AvStatus { throw 42; }); }},
        {"video:throw", [this] {  // the feeder throws
             const auto fail = [](const AvSample&) { throw std::runtime_error("no data"); };
             EXPECT_THROW(step(video, fail), std::runtime_error);
             parts.note("escaped");
         }},
        {"video+stop", [this] { step(video, [this](const AvSample&) { streamer.stop(); }); }},
        {"video+pos", [this] { step(video, [this](const AvSample&) { position(); }); }},
        {"stop", [this] {  // from another thread: nothing before left the lock taken
             auto host = std::async(std::launch::async, [this] { streamer.stop(); });
             ASSERT_EQ(std::future_status::ready, host.wait_for(std::chrono::seconds(10)));
         }},
    };
};

TEST_P(AvStreamerScriptTest, Plays) {
    streamer.addListener(thrower);  // first: its exceptions must not keep the other from hearing
    streamer.addListener(listener);
    std::istringstream script(GetParam().words);
    for (std::string w; script >> w;) words.at(w)();
    std::string journal;
    for (const std::string& e : parts.journal()) journal += (journal.empty() ? "" : ", ") + e;
    EXPECT_EQ(GetParam().journal, journal);
    EXPECT_EQ(GetParam().end, streamer.getState());
    EXPECT_EQ(listener.heard, thrower.heard);
    EXPECT_EQ(thrower.heard.size(),
              log.count("onAvStateChanged failed") + log.count("onAvTracks failed") + log.count("onAvError failed"));
}

const std::string kStart = "Starting, tracks, filter 0, discard, ";
const std::string kKeyStart = "Starting, tracks, filter 1, discard, ";
const std::string kSeek = "seek 2 5000, filter 0, discard, ";

INSTANTIATE_TEST_SUITE_P(
    Scripts, AvStreamerScriptTest,
    ::testing::Values(
        Script{"FirstPositionIgnoresItsPosition", "pos video video", kStart + "resume, Playing, avc1 2, avc1 2",
               AvStreamerState::Playing},
        Script{"NoTrackWithAFeederIsAnError", "nofeeders pos video", "Starting, Error, refused",
               AvStreamerState::Error},
        Script{"ReadStatusDecidesTheState", "pos wait wait video eof video",
               kStart + "resume, Buffering, Playing, avc1 2, EndOfFile", AvStreamerState::EndOfFile},
        Script{"EndOfFileSeeksThroughStarting", "pos eof pos video",
               kStart + "resume, EndOfFile, Starting, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"StoppedSeeksThroughStarting", "pos video stop stop video pos video",
               kStart + "resume, Playing, avc1 2, Stopped, Starting, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"SeekAnsweringFalseStillPositions", "pos pos:false video",
               kStart + "Buffering, " + kSeek + "resume, Playing, avc1 2", AvStreamerState::Playing},
        Script{"SeekExceptionIsAnError", "pos video pos:throw video",
               kStart + "resume, Playing, avc1 2, Buffering, seek 2 5000, error 6 segment is gone, Error, refused",
               AvStreamerState::Error},
        Script{"ReadExceptionIsAnError", "pos read:throw video", kStart + "resume, error 3 truncated moof, Error",
               AvStreamerState::Error},
        Script{"ErrorSeeksStraightThroughBuffering", "pos read:42 pos video",
               kStart + "resume, Error, Buffering, " + kSeek + "resume, Playing, avc1 2", AvStreamerState::Playing},
        Script{"KeyFrameFilterHoldsAfterVideoOnly", "keypos audio video video",
               kKeyStart + "resume, Playing, aac 1, avc1 2, KeyframeSent", AvStreamerState::KeyframeSent},
        Script{"StopWhileAKeyFrameIsFedIsKept", "keypos video+stop video",
               kKeyStart + "resume, Playing, avc1 2, Stopped", AvStreamerState::Stopped},
        Script{"PositionWhileAKeyFrameIsFedIsKept", "keypos video+pos video",
               kKeyStart + "resume, Playing, avc1 2, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"FeederExceptionLeavesStep", "pos video:throw stop",
               kStart + "resume, Playing, avc1 2, escaped, Stopped", AvStreamerState::Stopped}),
    [](const ::testing::TestParamInfo<Script>& info) { return info.param.name; });

// Removal takes the first registration only, keeping the order of the rest; a listener may call back into the
// streamer from its callback and remove itself there.
TEST(AvStreamerTest, ListenerRegistrationsAndReentrantCallbacks) {
    Parts parts;
    AvStreamer streamer(parts.self, parts.router, parts.self);
    Listener b([&](const std::string& e) { parts.note("B " + e); });
    Listener absent([&](const std::string& e) { parts.note("X " + e); });
    Listener a([&](const std::string& e) {
        parts.note("A " + e + " in " + toString(streamer.getState()));
        streamer.removeListener(a);
    });
    for (Listener* l : {&b, &a, &b}) streamer.addListener(*l);
    streamer.removeListener(b);
    streamer.removeListener(absent);
    ASSERT_TRUE(streamer.setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_EQ((J{"A Starting in Starting", "B Starting", "B tracks", "filter 0", "discard"}), parts.journal());
}

// A failed positioning starts no worker; the first successful one starts one, which runs until stop.
TEST(AvStreamerThreadTest, OneWorkerFromTheFirstSuccessfulPositioningUntilStopThenAFreshOne) {
    velar_test::LogCapture log;
    Parts parts;
    parts.makeFeeders = false;                                           // the first positioning fails
    parts.nextRead = [](AvSample&) { return AvStatus::NotEnoughData; };  // slow
    AvStreamerThread streamer(parts.self, parts.router, parts.self);
    const auto position = [&] { return streamer.setPosition(0, AvSampleFilter::AllSamples); };
    const auto readsGrow = [&] {
        const int before = parts.reads.load();
        return waitFor([&] { return parts.reads.load() > before; });
    };
    EXPECT_FALSE(position());
    EXPECT_FALSE(streamer.isRunning());
    ASSERT_TRUE(position());  // from Error straight through Buffering
    ASSERT_TRUE(position());
    ASSERT_TRUE(readsGrow());
    EXPECT_EQ(1u, log.count("Thread start"));
    streamer.stop();
    ASSERT_TRUE(waitFor([&] { return !streamer.isRunning(); }));
    ASSERT_TRUE(position());
    ASSERT_TRUE(readsGrow());
    EXPECT_EQ(2u, log.count("Thread start"));
}

// The host never drains its ring: the worker blocks in the packet buffer, and destruction must still complete.
TEST(AvStreamerThreadTest, DestructionCompletesWhileTheRingStaysFull) {
    Parts parts;
    auto ring = std::make_shared<ContigMemBuffer>(8192);
    auto packetBuffer = std::make_shared<AvPacketBuffer>(ring);
    const std::vector<uint8_t> packet(1000, 0x5A);
    parts.onFeed = [&](const AvSample&) { packetBuffer->writeData(packet.data(), packet.size(), true); };
    auto worker = std::make_unique<AvStreamerThread>(parts.self, parts.router, packetBuffer);
    ASSERT_TRUE(worker->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return ring->freeSpace() < packet.size(); }));

    std::atomic<bool> destroyed{false};
    std::thread host([&] { worker.reset(), destroyed = true; });
    if (!waitFor([&] { return destroyed.load(); })) {
        host.detach();  // do not hang the whole suite with the destructor
        FAIL() << "destruction did not complete while the ring was full";
    }
    host.join();
}

}  // namespace
