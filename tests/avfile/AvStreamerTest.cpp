#include "avfile/AvStreamer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <map>
#include <sstream>
#include <stdexcept>

#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "tests/common/LogCapture.h"
#include "tests/common/MockStreamerParts.h"

using avfile::AvSampleFilter;
using avfile::AvStatus;
using avfile::AvStreamerState;
using Parts = velar_test::MockStreamerParts;
using J = std::vector<std::string>;

namespace {

// Passes every callback as text to its sink; a throwing one then throws an int, which is no
// std::exception, as a careless host might.
class Listener : public avfile::IAvStreamerListener {
public:
    Listener(std::function<void(const std::string&)> sink, bool throws = false)
        : mSink(std::move(sink)), mThrows(throws) {}
    void onAvTracks() override { hear("tracks"); }
    void onAvStateChanged(const AvStreamerState& state) override { hear(avfile::toString(state)); }
    void onAvError(const avfile::AvBaseException& e) override {
        hear("error " + std::to_string(e.getErrorCode()) + " " + e.what());
    }
    J heard;

private:
    void hear(const std::string& text) {
        heard.push_back(text);
        mSink(text);
        if (mThrows) throw 7;
    }
    std::function<void(const std::string&)> mSink;
    bool mThrows;
};

using Read = std::function<AvStatus(avfile::AvSample&)>;
const std::map<std::string, Read> kReads = {
    {"video", [](avfile::AvSample& s) { return Parts::deliver(true, s); }},
    {"audio", [](avfile::AvSample& s) { return Parts::deliver(false, s); }},
    {"wait", [](avfile::AvSample&) { return AvStatus::NotEnoughData; }},
    {"eof", [](avfile::AvSample&) { return AvStatus::EndOfFile; }},
    {"read:throw",
     [](avfile::AvSample&) -> AvStatus { throw avfile::AvParseErrorException("truncated moof"); }},
    {"read:42", [](avfile::AvSample&) -> AvStatus { throw 42; }},
};
const std::map<std::string, std::function<bool()>> kSeeks = {
    {"pos", [] { return true; }},
    {"pos:false", [] { return false; }},
    {"pos:throw", []() -> bool { throw avfile::AvFileNotFoundException("segment is gone"); }},
};

// A streamer driven by a script of words, each one host call or one step():
//   nofeeders                  before the first positioning: no codec gets a feeder
//   pos, pos:false, pos:throw  setPosition(5000), jumpToTime answering true, false, throwing
//                              AvFileNotFoundException
//   keypos                     setPosition(5000) with the key-frame filter
//   video, audio, wait, eof, read:throw, read:42
//                              step() whose read gives a sample, NotEnoughData, EndOfFile, or
//                              throws AvParseErrorException or an int
//   video:throw                step() whose feeder throws: it must leave step ("escaped")
//   video+stop, video+pos      step() during whose feeding the host calls stop / setPosition(5000)
//   stop                       stop(), from another thread
// The journal gets the listener's callbacks, the parts' notes and "refused" for a false answer.
struct Script {
    const char* name;
    const char* words;
    std::string journal;  // entries joined by ", "
    AvStreamerState end;
};

void PrintTo(const Script& s, std::ostream* os) { *os << s.words; }

class AvStreamerScriptTest : public ::testing::TestWithParam<Script> {
protected:
    void position(AvSampleFilter filter) {
        if (!streamer.setPosition(5000, filter)) parts.note("refused");
    }
    void step(const std::string& read) {
        parts.nextRead = kReads.at(read);
        streamer.step();
    }
    void run(const std::string& w) {
        parts.seekAnswer = kSeeks.at("pos");
        parts.onFeed = nullptr;
        if (w == "nofeeders") {
            parts.makeFeeders = false;
        } else if (w == "keypos" || kSeeks.count(w)) {
            parts.seekAnswer = kSeeks.at(w == "keypos" ? "pos" : w);
            position(w == "keypos" ? AvSampleFilter::KeyFramesOnly : AvSampleFilter::AllSamples);
        } else if (kReads.count(w)) {
            step(w);
        } else if (w == "video:throw") {
            parts.onFeed = [](const avfile::AvSample&) { throw std::runtime_error("no data"); };
            EXPECT_THROW(step("video"), std::runtime_error);
            parts.note("escaped");
        } else if (w == "video+stop" || w == "video+pos") {
            parts.onFeed = [this, w](const avfile::AvSample&) {
                w == "video+stop" ? streamer.stop() : position(AvSampleFilter::AllSamples);
            };
            step("video");
        } else if (w == "stop") {  // from another thread: nothing before left the lock taken
            auto host = std::async(std::launch::async, [this] { streamer.stop(); });
            ASSERT_EQ(std::future_status::ready, host.wait_for(std::chrono::seconds(10)));
        } else {
            FAIL() << "unknown word " << w;
        }
    }

    velar_test::LogCapture log;
    Parts parts;
    Listener thrower{[](const std::string&) {}, true};
    Listener listener{[this](const std::string& e) { parts.note(e); }};
    avfile::AvStreamer streamer{parts.file, parts.router, parts.packets};
};

TEST_P(AvStreamerScriptTest, Plays) {
    streamer.addListener(thrower);  // first: its exceptions must not keep the other from hearing
    streamer.addListener(listener);
    std::istringstream words(GetParam().words);
    for (std::string w; words >> w;) run(w);

    std::string journal;
    for (const std::string& e : parts.journal()) journal += (journal.empty() ? "" : ", ") + e;
    EXPECT_EQ(GetParam().journal, journal);
    EXPECT_EQ(GetParam().end, streamer.getState());
    EXPECT_EQ(listener.heard, thrower.heard);
    EXPECT_EQ(thrower.heard.size(), log.count("onAvStateChanged failed") +
                                        log.count("onAvTracks failed") +
                                        log.count("onAvError failed"));
}

const std::string kStart = "Starting, tracks, filter 0, discard, ";
const std::string kKeyStart = "Starting, tracks, filter 1, discard, ";
const std::string kSeek = "seek 2 5000, filter 0, discard, ";

INSTANTIATE_TEST_SUITE_P(
    Scripts, AvStreamerScriptTest,
    ::testing::Values(
        Script{"FirstPositionIgnoresItsPosition", "pos video video",
               kStart + "resume, Playing, avc1 2, avc1 2", AvStreamerState::Playing},
        Script{"NoTrackWithAFeederIsAnError", "nofeeders pos video", "Starting, Error, refused",
               AvStreamerState::Error},
        Script{"ReadStatusDecidesTheState", "pos wait wait video eof video",
               kStart + "resume, Buffering, Playing, avc1 2, EndOfFile", AvStreamerState::EndOfFile},
        Script{"PlayingSeeksThroughBuffering", "pos video pos wait",
               kStart + "resume, Playing, avc1 2, Buffering, " + kSeek + "resume",
               AvStreamerState::Buffering},
        Script{"EndOfFileSeeksThroughStarting", "pos eof pos video",
               kStart + "resume, EndOfFile, Starting, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"StoppedSeeksThroughStarting", "pos video stop stop video pos video",
               kStart + "resume, Playing, avc1 2, Stopped, Starting, Buffering, " + kSeek +
                   "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"SeekAnsweringFalseStillPositions", "pos pos:false video",
               kStart + "Buffering, " + kSeek + "resume, Playing, avc1 2", AvStreamerState::Playing},
        Script{"SeekExceptionIsAnError", "pos video pos:throw video",
               kStart + "resume, Playing, avc1 2, Buffering, seek 2 5000, error 6 segment is gone, "
                        "Error, refused",
               AvStreamerState::Error},
        Script{"ReadExceptionIsAnError", "pos read:throw video",
               kStart + "resume, error 3 truncated moof, Error", AvStreamerState::Error},
        Script{"ErrorSeeksStraightThroughBuffering", "pos read:42 pos video",
               kStart + "resume, Error, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"KeyFrameFilterHoldsAfterVideoOnly", "keypos audio video video",
               kKeyStart + "resume, Playing, aac 1, avc1 2, KeyframeSent",
               AvStreamerState::KeyframeSent},
        Script{"StopWhileAKeyFrameIsFedIsKept", "keypos video+stop video",
               kKeyStart + "resume, Playing, avc1 2, Stopped", AvStreamerState::Stopped},
        Script{"PositionWhileAKeyFrameIsFedIsKept", "keypos video+pos video",
               kKeyStart + "resume, Playing, avc1 2, Buffering, " + kSeek + "resume, Playing, avc1 2",
               AvStreamerState::Playing},
        Script{"FeederExceptionLeavesStep", "pos video:throw stop",
               kStart + "resume, Playing, avc1 2, escaped, Stopped", AvStreamerState::Stopped}),
    [](const ::testing::TestParamInfo<Script>& info) { return info.param.name; });

// Removal takes the first registration only, keeping the order of the rest; a listener may call
// back into the streamer from its callback and remove itself there.
TEST(AvStreamerTest, ListenerRegistrationsAndReentrantCallbacks) {
    Parts parts;
    avfile::AvStreamer streamer(parts.file, parts.router, parts.packets);
    Listener b([&](const std::string& e) { parts.note("B " + e); });
    Listener absent([&](const std::string& e) { parts.note("X " + e); });
    Listener* self = nullptr;
    Listener a([&](const std::string& e) {
        parts.note("A " + e + " in " + avfile::toString(streamer.getState()));
        streamer.removeListener(*self);
    });
    self = &a;
    for (Listener* l : {&b, &a, &b}) streamer.addListener(*l);
    streamer.removeListener(b);
    streamer.removeListener(absent);
    ASSERT_TRUE(streamer.setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_EQ((J{"A Starting in Starting", "B Starting", "B tracks", "filter 0", "discard"}),
              parts.journal());
}

}  // namespace
