#include "avfile/AvStreamer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/MockAvFeederFactory.h"
#include "tests/common/MockAvFile.h"
#include "tests/common/MockAvFeeder.h"
#include "tests/common/MockAvPacketBuffer.h"
#include "tests/common/MockAvRouter.h"
#include "tests/common/MockAvStreamerListener.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/AvRouter.h"

using avfile::AvSampleFilter;
using avfile::AvStatus;
using avfile::AvStreamerState;
using ::testing::_;
using ::testing::AnyNumber;
using ::testing::InSequence;
using ::testing::Invoke;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::StrictMock;
using ::testing::Throw;

namespace {

avfile::AvTrack makeTrack(uint32_t id, avfile::AvTrackType type, const std::string& codec) {
    avfile::AvTrack track;
    track.id = id;
    track.type = type;
    track.codec = codec;
    track.durationMs = 5000;
    return track;
}

const avfile::AvTrack kVideo = makeTrack(0, avfile::AvTrackType::Video, "avc1");
const avfile::AvTrack kAudio = makeTrack(1, avfile::AvTrackType::Audio, "aac");

// Fills `sample` as a demuxer would for a sample of `track`.
std::function<AvStatus(avfile::AvSample&)> deliver(const avfile::AvTrack& track, uint64_t pts,
                                                   bool keyFrame = true) {
    return [track, pts, keyFrame](avfile::AvSample& sample) {
        sample.track = track.id;
        sample.data.assign(100, 0x11);
        sample.pts = pts;
        sample.dts = pts;
        sample.keyFrame = keyFrame;
        sample.trackInfo = track;
        return AvStatus::OK;
    };
}

// Records every callback as text, into a log that several listeners may share (so that the order
// between listeners is visible).
class RecordingListener : public avfile::IAvStreamerListener {
public:
    RecordingListener(std::string name, std::vector<std::string>& log)
        : mName(std::move(name)), mLog(log) {}
    void onAvTracks() override { mLog.push_back(mName + ":tracks"); }
    void onAvStateChanged(const AvStreamerState& state) override {
        mLog.push_back(mName + ":" + avfile::toString(state));
    }
    void onAvError(const avfile::AvBaseException& error) override {
        mLog.push_back(mName + ":error " + std::to_string(error.getErrorCode()) + " " +
                       error.what());
    }

private:
    std::string mName;
    std::vector<std::string>& mLog;
};

// A streamer over mocks: a file with one video and one audio track, a router that accepts both
// (timing track 0).
class AvStreamerTest : public ::testing::Test {
public:
    AvStreamerTest()
        : file(std::make_shared<NiceMock<velar_test::MockAvFile>>()),
          router(std::make_shared<NiceMock<velar_test::MockAvRouter>>()),
          packets(std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>()) {
        ON_CALL(*file, getTracks())
            .WillByDefault(Return(std::vector<avfile::AvTrack>{kVideo, kAudio}));
        ON_CALL(*file, jumpToTime(_, _)).WillByDefault(Return(true));
        ON_CALL(*file, getNextSample(_)).WillByDefault(Invoke(deliver(kVideo, 9000)));
        ON_CALL(*router, noTracks()).WillByDefault(Return(true));
        ON_CALL(*router, getTimingTrack()).WillByDefault(Return(0u));
        // Reads not claimed by a test's own expectation fall back to the default above.
        EXPECT_CALL(*file, getNextSample(_)).Times(AnyNumber());
        streamer = std::make_unique<avfile::AvStreamer>(file, router, packets);
        streamer->addListener(listener);
    }

    std::vector<std::string> events;
    RecordingListener listener{"L", events};
    std::shared_ptr<NiceMock<velar_test::MockAvFile>> file;
    std::shared_ptr<NiceMock<velar_test::MockAvRouter>> router;
    std::shared_ptr<NiceMock<velar_test::MockAvPacketBuffer>> packets;
    std::unique_ptr<avfile::AvStreamer> streamer;
};

TEST_F(AvStreamerTest, StartsInitializingAndLogsReady) {
    velar_test::LogCapture log;
    avfile::AvStreamer fresh(file, router, packets);
    EXPECT_EQ(AvStreamerState::Initializing, fresh.getState());
    EXPECT_EQ(1u, log.count("AvStreamer ready!"));
}

TEST_F(AvStreamerTest, RefusesMissingParts) {
    EXPECT_THROW(avfile::AvStreamer(nullptr, router, packets), std::invalid_argument);
    EXPECT_THROW(avfile::AvStreamer(file, nullptr, packets), std::invalid_argument);
    EXPECT_THROW(avfile::AvStreamer(file, router, nullptr), std::invalid_argument);
}

TEST_F(AvStreamerTest, FirstPositioningRegistersTracksAndIgnoresThePosition) {
    velar_test::LogCapture log;
    {
        InSequence order;
        EXPECT_CALL(*router, addTrack(0u, std::string("avc1")));
        EXPECT_CALL(*router, addTrack(1u, std::string("aac")));
        EXPECT_CALL(*router, noTracks()).WillOnce(Return(true));
        EXPECT_CALL(*file, setSampleFilter(AvSampleFilter::KeyFramesOnly));
        EXPECT_CALL(*packets, discardData(true));
    }
    EXPECT_CALL(*file, jumpToTime(_, _)).Times(0);
    EXPECT_CALL(*packets, discardData(false)).Times(0);

    EXPECT_TRUE(streamer->setPosition(123456, AvSampleFilter::KeyFramesOnly));
    EXPECT_EQ(AvStreamerState::Starting, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks"}), events);
    EXPECT_TRUE(log.contains("Adding track track:0 type:Video codec:avc1 durationMs:5000"));
    EXPECT_TRUE(log.contains("Adding track track:1 type:Audio codec:aac durationMs:5000"));
    EXPECT_TRUE(log.contains("Changing state from Initializing to Starting"));
}

TEST_F(AvStreamerTest, NoTrackWithFeederGivesErrorAfterStarting) {
    ON_CALL(*router, noTracks()).WillByDefault(Return(false));
    EXPECT_CALL(*file, setSampleFilter(_)).Times(0);
    EXPECT_CALL(*packets, discardData(_)).Times(0);
    EXPECT_CALL(*file, getNextSample(_)).Times(0);

    EXPECT_FALSE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_EQ(AvStreamerState::Error, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:Error"}), events);
    streamer->step();  // Error makes no progress
}

TEST_F(AvStreamerTest, StepResumesOutputOnceAfterEachPositioning) {
    {
        InSequence order;
        EXPECT_CALL(*packets, discardData(true));
        EXPECT_CALL(*packets, discardData(false));
        EXPECT_CALL(*file, getNextSample(_));
        EXPECT_CALL(*router, feedSample(_));
        EXPECT_CALL(*file, getNextSample(_));
        EXPECT_CALL(*router, feedSample(_));
        // The seek happens under Buffering, before the ring is emptied.
        EXPECT_CALL(*file, jumpToTime(0u, 7000u)).WillOnce(Invoke([this](uint32_t, uint64_t) {
            EXPECT_EQ(AvStreamerState::Buffering, streamer->getState());
            return true;
        }));
        EXPECT_CALL(*packets, discardData(true));
        EXPECT_CALL(*packets, discardData(false));
        EXPECT_CALL(*file, getNextSample(_));
        EXPECT_CALL(*router, feedSample(_));
    }
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    streamer->step();
    streamer->step();
    ASSERT_TRUE(streamer->setPosition(7000, AvSampleFilter::AllSamples));
    streamer->step();
}

struct StatusCase {
    const char* name;
    AvStatus status;
    AvStreamerState state;
    bool fed;
};

class AvStreamerStatusTest : public AvStreamerTest,
                             public ::testing::WithParamInterface<StatusCase> {};

TEST_P(AvStreamerStatusTest, StatusOfGetNextSampleDecidesTheState) {
    const StatusCase& c = GetParam();
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_CALL(*file, getNextSample(_)).WillOnce(Invoke([&](avfile::AvSample& sample) {
        deliver(kVideo, 900000)(sample);
        return c.status;
    }));
    EXPECT_CALL(*router, feedSample(_)).Times(c.fed ? 1 : 0);
    velar_test::LogCapture log;
    streamer->step();
    EXPECT_EQ(c.state, streamer->getState());
    if (c.state == AvStreamerState::Starting) {
        EXPECT_TRUE(log.contains("Unknown state Unknown"));
        EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks"}), events);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, AvStreamerStatusTest,
    ::testing::Values(
        StatusCase{"Sample", AvStatus::OK, AvStreamerState::Playing, true},
        StatusCase{"EndOfFile", AvStatus::EndOfFile, AvStreamerState::EndOfFile, false},
        StatusCase{"NotEnoughData", AvStatus::NotEnoughData, AvStreamerState::Buffering, false},
        StatusCase{"OutOfRange", static_cast<AvStatus>(9), AvStreamerState::Starting, false}),
    [](const ::testing::TestParamInfo<StatusCase>& info) { return info.param.name; });

// Drives a streamer into a state, then positions it again.
struct RepositionCase {
    const char* name;
    std::function<void(AvStreamerTest&)> reach;  // from a positioned streamer (Starting)
    AvStreamerState reached;
    bool stepProgresses;                  // does step() read a sample in the reached state?
    std::vector<std::string> onReposition;  // callbacks of the second setPosition
};

class AvStreamerRepositionTest : public AvStreamerTest,
                                 public ::testing::WithParamInterface<RepositionCase> {
public:
    void stepWith(std::function<AvStatus(avfile::AvSample&)> action) {
        EXPECT_CALL(*file, getNextSample(_)).WillOnce(Invoke(action)).RetiresOnSaturation();
        streamer->step();
    }
};

INSTANTIATE_TEST_SUITE_P(
    FromEveryState, AvStreamerRepositionTest,
    ::testing::Values(
        RepositionCase{"Starting", [](AvStreamerTest&) {}, AvStreamerState::Starting, true,
                       {"L:Buffering"}},
        RepositionCase{"Playing",
                       [](AvStreamerTest& t) {
                           static_cast<AvStreamerRepositionTest&>(t).stepWith(deliver(kAudio, 0));
                       },
                       AvStreamerState::Playing, true, {"L:Buffering"}},
        RepositionCase{"Buffering",
                       [](AvStreamerTest& t) {
                           static_cast<AvStreamerRepositionTest&>(t).stepWith(
                               [](avfile::AvSample&) { return AvStatus::NotEnoughData; });
                       },
                       AvStreamerState::Buffering, true, {}},
        RepositionCase{"EndOfFile",
                       [](AvStreamerTest& t) {
                           static_cast<AvStreamerRepositionTest&>(t).stepWith(
                               [](avfile::AvSample&) { return AvStatus::EndOfFile; });
                       },
                       AvStreamerState::EndOfFile, false, {"L:Starting", "L:Buffering"}},
        RepositionCase{"Stopped", [](AvStreamerTest& t) { t.streamer->stop(); },
                       AvStreamerState::Stopped, false, {"L:Starting", "L:Buffering"}},
        RepositionCase{"Error",
                       [](AvStreamerTest& t) {
                           static_cast<AvStreamerRepositionTest&>(t).stepWith(
                               [](avfile::AvSample&) -> AvStatus {
                                   throw std::logic_error("demuxer broke");
                               });
                       },
                       AvStreamerState::Error, false, {"L:Buffering"}},
        RepositionCase{"KeyframeSent",
                       [](AvStreamerTest& t) {
                           ASSERT_TRUE(t.streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
                           static_cast<AvStreamerRepositionTest&>(t).stepWith(deliver(kVideo, 0));
                       },
                       AvStreamerState::KeyframeSent, false, {"L:Starting", "L:Buffering"}}),
    [](const ::testing::TestParamInfo<RepositionCase>& info) { return info.param.name; });

TEST_P(AvStreamerRepositionTest, StepProgressesOnlyInActiveStates) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    GetParam().reach(*this);
    ASSERT_EQ(GetParam().reached, streamer->getState());
    EXPECT_CALL(*file, getNextSample(_)).Times(GetParam().stepProgresses ? 1 : 0);
    streamer->step();
}

TEST_P(AvStreamerRepositionTest, SecondPositioningSeeksTheTimingTrack) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    GetParam().reach(*this);
    ASSERT_EQ(GetParam().reached, streamer->getState());
    events.clear();

    ON_CALL(*router, getTimingTrack()).WillByDefault(Return(4u));
    EXPECT_CALL(*file, jumpToTime(4u, 65000u)).WillOnce(Return(true));
    EXPECT_TRUE(streamer->setPosition(65000, AvSampleFilter::AllSamples));
    EXPECT_EQ(GetParam().onReposition, events);
    EXPECT_EQ(AvStreamerState::Buffering, streamer->getState());

    // Playback resumes at the first sample.
    events.clear();
    streamer->step();
    EXPECT_EQ((std::vector<std::string>{"L:Playing"}), events);
}

TEST_F(AvStreamerTest, StopThenPositionGoesThroughStarting) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    streamer->step();
    streamer->stop();
    ASSERT_TRUE(streamer->setPosition(1000, AvSampleFilter::AllSamples));
    streamer->step();
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:Playing", "L:Stopped",
                                        "L:Starting", "L:Buffering", "L:Playing"}),
              events);
}

TEST_F(AvStreamerTest, UnchangedStateGivesNoCallbackAndNoLogLine) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    ON_CALL(*file, getNextSample(_)).WillByDefault(Return(AvStatus::NotEnoughData));
    velar_test::LogCapture log;
    streamer->step();
    streamer->step();
    streamer->step();
    streamer->stop();
    streamer->stop();
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:Buffering", "L:Stopped"}),
              events);
    EXPECT_EQ(1u, log.count("Changing state from Starting to Buffering"));
    EXPECT_EQ(1u, log.count("Changing state from Buffering to Stopped"));
    EXPECT_FALSE(log.containsFragment("from Buffering to Buffering"));
    EXPECT_FALSE(log.containsFragment("from Stopped to Stopped"));
}

TEST_F(AvStreamerTest, SeekFailureOfTheFileLayerGivesErrorAndOneErrorPerListener) {
    RecordingListener second("M", events);
    streamer->addListener(second);
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    events.clear();
    EXPECT_CALL(*file, jumpToTime(_, _))
        .WillOnce(Throw(avfile::AvFileNotFoundException("segment is gone")));
    EXPECT_CALL(*packets, discardData(_)).Times(0);
    EXPECT_CALL(*file, setSampleFilter(_)).Times(0);
    velar_test::LogCapture log;

    EXPECT_FALSE(streamer->setPosition(2000, AvSampleFilter::AllSamples));
    EXPECT_EQ(AvStreamerState::Error, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:Buffering", "M:Buffering", "L:error 6 segment is gone",
                                        "M:error 6 segment is gone", "L:Error", "M:Error"}),
              events);
    EXPECT_TRUE(log.contains("Hit error segment is gone"));
}

TEST_F(AvStreamerTest, SeekFailureOfAnotherKindGivesErrorWithoutErrorCallback) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    events.clear();
    EXPECT_CALL(*file, jumpToTime(_, _)).WillOnce(Throw(std::bad_alloc()));
    velar_test::LogCapture log;
    EXPECT_FALSE(streamer->setPosition(2000, AvSampleFilter::AllSamples));
    EXPECT_EQ((std::vector<std::string>{"L:Buffering", "L:Error"}), events);
    EXPECT_TRUE(log.contains("Hit unknown error"));

    // An Error is left by a positioning, straight to the seek.
    events.clear();
    EXPECT_CALL(*file, jumpToTime(_, _)).WillOnce(Return(true));
    EXPECT_TRUE(streamer->setPosition(3000, AvSampleFilter::AllSamples));
    EXPECT_EQ((std::vector<std::string>{"L:Buffering"}), events);
}

TEST_F(AvStreamerTest, SeekAnsweringFalseIsLoggedAndPlaybackGoesOn) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_CALL(*file, jumpToTime(0u, 99000u)).WillOnce(Return(false));
    EXPECT_CALL(*packets, discardData(true));
    velar_test::LogCapture log;
    EXPECT_TRUE(streamer->setPosition(99000, AvSampleFilter::AllSamples));
    EXPECT_TRUE(log.contains("jumpToTime to 99000 ms failed"));
    EXPECT_EQ(AvStreamerState::Buffering, streamer->getState());
}

TEST_F(AvStreamerTest, FileErrorWhileReadingGivesErrorAndOneErrorPerListener) {
    RecordingListener second("M", events);
    streamer->addListener(second);
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    events.clear();
    EXPECT_CALL(*file, getNextSample(_))
        .WillOnce(Throw(avfile::AvParseErrorException("truncated moof")));
    EXPECT_CALL(*router, feedSample(_)).Times(0);
    velar_test::LogCapture log;

    streamer->step();
    streamer->step();
    streamer->step();
    EXPECT_EQ(AvStreamerState::Error, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:error 3 truncated moof", "M:error 3 truncated moof",
                                        "L:Error", "M:Error"}),
              events);
    EXPECT_EQ(1u, log.count("Hit error truncated moof"));
}

TEST_F(AvStreamerTest, FileErrorOfAnotherKindIsOnlyLogged) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    events.clear();
    EXPECT_CALL(*file, getNextSample(_)).WillOnce(Throw(42));
    velar_test::LogCapture log;
    streamer->step();
    EXPECT_EQ((std::vector<std::string>{"L:Error"}), events);
    EXPECT_TRUE(log.contains("Hit unknown error"));
}

TEST_F(AvStreamerTest, RouterExceptionsLeaveStepUnchanged) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_CALL(*router, feedSample(_)).WillOnce(Throw(std::runtime_error("No H264 Data found")));
    EXPECT_THROW(streamer->step(), std::runtime_error);
    EXPECT_EQ(AvStreamerState::Playing, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:Playing"}), events);
    // The lock was released on the way out: another thread can still use the streamer.
    auto other = std::async(std::launch::async, [this] { streamer->stop(); });
    ASSERT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(10)));
    EXPECT_EQ(AvStreamerState::Stopped, streamer->getState());
}

// Listener exceptions never propagate, and the other listeners are still called.
TEST_F(AvStreamerTest, ListenerExceptionsAreSwallowed) {
    StrictMock<velar_test::MockAvStreamerListener> thrower;
    EXPECT_CALL(thrower, onAvStateChanged(_)).Times(2).WillRepeatedly(Throw(7));
    EXPECT_CALL(thrower, onAvTracks()).WillOnce(Throw(std::runtime_error("tracks")));
    EXPECT_CALL(thrower, onAvError(_)).WillOnce(Throw(std::runtime_error("error")));
    streamer->removeListener(listener);
    streamer->addListener(thrower);
    streamer->addListener(listener);
    EXPECT_CALL(*file, getNextSample(_)).WillOnce(Throw(avfile::AvBaseException("bad")));
    velar_test::LogCapture log;

    EXPECT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_NO_THROW(streamer->step());
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:error 0 bad", "L:Error"}),
              events);
    EXPECT_EQ(2u, log.count("onAvStateChanged failed"));
    EXPECT_EQ(1u, log.count("onAvTracks failed"));
    EXPECT_EQ(1u, log.count("onAvError failed"));
    streamer->removeListener(thrower);
}

TEST_F(AvStreamerTest, RemoveListenerDropsTheFirstRegistrationOnly) {
    std::vector<std::string> log;
    RecordingListener a("A", log);
    RecordingListener b("B", log);
    RecordingListener absent("X", log);
    streamer->removeListener(listener);
    streamer->addListener(a);
    streamer->addListener(b);
    streamer->addListener(a);
    streamer->removeListener(a);
    streamer->removeListener(absent);
    streamer->stop();
    EXPECT_EQ((std::vector<std::string>{"B:Stopped", "A:Stopped"}), log);
}

// A listener that calls back into the streamer from its callback, and removes itself.
class ReentrantListener : public avfile::IAvStreamerListener {
public:
    explicit ReentrantListener(avfile::AvStreamer& s) : streamer(s) {}
    void onAvTracks() override {}
    void onAvStateChanged(const AvStreamerState& state) override {
        seen.push_back(state);
        seenByGetState.push_back(streamer.getState());
        positions.push_back(streamer.getPosition());
        streamer.removeListener(*this);
    }
    void onAvError(const avfile::AvBaseException&) override {}
    avfile::AvStreamer& streamer;
    std::vector<AvStreamerState> seen;
    std::vector<AvStreamerState> seenByGetState;
    std::vector<uint64_t> positions;
};

TEST_F(AvStreamerTest, ListenerMayCallBackAndRemoveItself) {
    ReentrantListener reentrant(*streamer);
    streamer->removeListener(listener);
    streamer->addListener(reentrant);
    streamer->addListener(listener);
    ON_CALL(*router, getCurrentPtsMs()).WillByDefault(Return(40u));
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    streamer->step();
    EXPECT_EQ(std::vector<AvStreamerState>{AvStreamerState::Starting}, reentrant.seen);
    EXPECT_EQ(std::vector<AvStreamerState>{AvStreamerState::Starting}, reentrant.seenByGetState);
    EXPECT_EQ(std::vector<uint64_t>{40}, reentrant.positions);
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:Playing"}), events);
}

TEST_F(AvStreamerTest, KeyFrameFilterStopsAfterAVideoSample) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
    EXPECT_CALL(*file, getNextSample(_)).WillOnce(Invoke(deliver(kVideo, 9000)));
    EXPECT_CALL(*router, feedSample(_)).WillOnce(Invoke([this](const avfile::AvSample&) {
        // The state changes only after the key frame has been fed.
        EXPECT_EQ(AvStreamerState::Playing, streamer->getState());
    }));
    streamer->step();
    streamer->step();
    streamer->step();
    EXPECT_EQ(AvStreamerState::KeyframeSent, streamer->getState());
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:tracks", "L:Playing", "L:KeyframeSent"}),
              events);
}

TEST_F(AvStreamerTest, KeyFrameFilterDoesNotStopOnAudio) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
    EXPECT_CALL(*file, getNextSample(_))
        .WillOnce(Invoke(deliver(kAudio, 0)))
        .WillOnce(Invoke(deliver(kAudio, 1920)))
        .WillOnce(Invoke(deliver(kVideo, 3000)));
    EXPECT_CALL(*router, feedSample(_)).Times(3);
    streamer->step();
    streamer->step();
    EXPECT_EQ(AvStreamerState::Playing, streamer->getState());
    streamer->step();
    EXPECT_EQ(AvStreamerState::KeyframeSent, streamer->getState());
}

TEST_F(AvStreamerTest, WithoutTheFilterVideoKeepsPlaying) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_CALL(*file, getNextSample(_)).Times(3);
    streamer->step();
    streamer->step();
    streamer->step();
    EXPECT_EQ(AvStreamerState::Playing, streamer->getState());
}

TEST_F(AvStreamerTest, TrickPlayIsSteppedByRepositioning) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
    streamer->step();
    ASSERT_EQ(AvStreamerState::KeyframeSent, streamer->getState());
    events.clear();
    EXPECT_CALL(*file, jumpToTime(0u, 2000u)).WillOnce(Return(true));
    ASSERT_TRUE(streamer->setPosition(2000, AvSampleFilter::KeyFramesOnly));
    streamer->step();
    EXPECT_EQ((std::vector<std::string>{"L:Starting", "L:Buffering", "L:Playing",
                                        "L:KeyframeSent"}),
              events);
}

TEST_F(AvStreamerTest, StopWhileAKeyFrameIsFedIsNotOverwritten) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
    EXPECT_CALL(*router, feedSample(_)).WillOnce(Invoke([this](const avfile::AvSample&) {
        streamer->stop();  // a host thread stopping while the sample is in the ring's wait
    }));
    streamer->step();
    EXPECT_EQ(AvStreamerState::Stopped, streamer->getState());
}

TEST_F(AvStreamerTest, RepositionWhileAKeyFrameIsFedKeepsTheNewPosition) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::KeyFramesOnly));
    EXPECT_CALL(*router, feedSample(_))
        .WillOnce(Invoke([this](const avfile::AvSample&) {
            ASSERT_TRUE(streamer->setPosition(5000, AvSampleFilter::AllSamples));
        }))
        .WillRepeatedly(Return());
    streamer->step();
    EXPECT_EQ(AvStreamerState::Buffering, streamer->getState());
    streamer->step();
    EXPECT_EQ(AvStreamerState::Playing, streamer->getState());
}

TEST_F(AvStreamerTest, FeedingDoesNotHoldTheLock) {
    ASSERT_TRUE(streamer->setPosition(0, AvSampleFilter::AllSamples));
    std::promise<void> entered;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    EXPECT_CALL(*router, feedSample(_)).WillOnce(Invoke([&](const avfile::AvSample&) {
        entered.set_value();
        released.wait();  // as a feeder waiting for the host to drain a full ring
    }));
    std::thread worker([this] { streamer->step(); });
    entered.get_future().wait();

    auto host = std::async(std::launch::async, [this] {
        streamer->stop();
        return streamer->getState();
    });
    const bool hostDone = host.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    release.set_value();
    worker.join();
    ASSERT_TRUE(hostDone);
    EXPECT_EQ(AvStreamerState::Stopped, host.get());
    EXPECT_EQ(AvStreamerState::Stopped, streamer->getState());
}

TEST_F(AvStreamerTest, ForwardsRateAndTimingTrack) {
    EXPECT_CALL(*file, setPlaybackRate(-2000));
    EXPECT_CALL(*router, getTimingTrack()).WillOnce(Return(3u));
    streamer->setPlaybackRate(-2000);
    EXPECT_EQ(3u, streamer->getTimingTrack());
}

// With the real router: the position follows the timing track's fed PTS.
TEST(AvStreamerWithRouterTest, PositionFollowsTheTimingTrack) {
    auto file = std::make_shared<NiceMock<velar_test::MockAvFile>>();
    auto factory = std::make_shared<NiceMock<velar_test::MockAvFeederFactory>>();
    auto feeder = std::make_shared<NiceMock<velar_test::MockAvFeeder>>();
    ON_CALL(*feeder, isTimingTrack()).WillByDefault(Return(true));
    ON_CALL(*factory, getFeeder(std::string("avc1"))).WillByDefault(Return(feeder));
    ON_CALL(*file, getTracks())
        .WillByDefault(Return(std::vector<avfile::AvTrack>{
            kVideo, makeTrack(2, avfile::AvTrackType::Subtitle, "")}));
    EXPECT_CALL(*file, getNextSample(_))
        .WillOnce(Invoke(deliver(makeTrack(2, avfile::AvTrackType::Subtitle, ""), 1800000)))
        .WillOnce(Invoke(deliver(kVideo, 900000)));
    EXPECT_CALL(*feeder, feedSample(_)).Times(1);
    avfile::AvStreamer streamer(file, std::make_shared<avfile::AvRouter>(factory),
                                std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>());

    EXPECT_EQ(0u, streamer.getPosition());
    ASSERT_TRUE(streamer.setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_EQ(0u, streamer.getTimingTrack());
    streamer.step();  // subtitle: dropped by the router
    EXPECT_EQ(0u, streamer.getPosition());
    streamer.step();
    EXPECT_EQ(10000u, streamer.getPosition());
}

TEST(AvStreamerWithRouterTest, FileWithoutPlayableTrackEndsInError) {
    auto file = std::make_shared<NiceMock<velar_test::MockAvFile>>();
    auto factory = std::make_shared<NiceMock<velar_test::MockAvFeederFactory>>();
    ON_CALL(*file, getTracks())
        .WillByDefault(Return(std::vector<avfile::AvTrack>{
            makeTrack(0, avfile::AvTrackType::Video, "")}));
    EXPECT_CALL(*file, jumpToTime(_, _)).Times(0);
    avfile::AvStreamer streamer(file, std::make_shared<avfile::AvRouter>(factory),
                                std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>());
    EXPECT_FALSE(streamer.setPosition(0, AvSampleFilter::AllSamples));
    EXPECT_EQ(AvStreamerState::Error, streamer.getState());
}

}  // namespace
