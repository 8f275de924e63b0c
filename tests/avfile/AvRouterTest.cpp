#include "avfile/AvRouter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/MockAvFeeder.h"
#include "tests/common/MockAvFeederFactory.h"

using ::testing::_;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::Throw;

namespace {

const uint32_t kNone = 0xFFFFFFFFu;

// A router over a factory that makes a timing feeder for "avc1", a non-timing one for "aac" and
// nothing for any other codec. Every feeder made is kept, in order, for the checks.
class RouterFixture {
public:
    RouterFixture() : factory(std::make_shared<NiceMock<velar_test::MockAvFeederFactory>>()) {
        ON_CALL(*factory, getFeeder(_)).WillByDefault([this](const std::string& codec) {
            std::shared_ptr<NiceMock<velar_test::MockAvFeeder>> feeder;
            if (codec == "avc1" || codec == "aac") {
                feeder = std::make_shared<NiceMock<velar_test::MockAvFeeder>>();
                ON_CALL(*feeder, isTimingTrack()).WillByDefault(Return(codec == "avc1"));
                feeders.push_back(feeder);
            }
            return feeder;
        });
        router = std::make_shared<avfile::AvRouter>(factory);
    }

    std::shared_ptr<NiceMock<velar_test::MockAvFeederFactory>> factory;
    std::vector<std::shared_ptr<NiceMock<velar_test::MockAvFeeder>>> feeders;
    std::shared_ptr<avfile::AvRouter> router;
};

avfile::AvSample sampleOf(uint32_t track, uint64_t pts) {
    avfile::AvSample sample;
    sample.track = track;
    sample.pts = pts;
    sample.dts = pts;
    return sample;
}

struct AddedTrack {
    unsigned int id;
    const char* codec;
};

struct TimingCase {
    const char* name;
    std::vector<AddedTrack> tracks;
    uint32_t timingTrack;
    bool noTracksAnswer;  // true when at least one track has a feeder
};

class AvRouterTimingTest : public ::testing::TestWithParam<TimingCase> {};

TEST_P(AvRouterTimingTest, ChoosesTheTimingTrack) {
    RouterFixture f;
    for (const AddedTrack& t : GetParam().tracks) {
        f.router->addTrack(t.id, t.codec);
    }
    EXPECT_EQ(GetParam().timingTrack, f.router->getTimingTrack());
    EXPECT_EQ(GetParam().noTracksAnswer, f.router->noTracks());
}

INSTANTIATE_TEST_SUITE_P(
    Rules, AvRouterTimingTest,
    ::testing::Values(
        TimingCase{"NothingAdded", {}, kNone, false},
        TimingCase{"AudioThenVideo", {{1, "aac"}, {2, "avc1"}}, 2, true},
        TimingCase{"VideoThenAudio", {{2, "avc1"}, {1, "aac"}}, 2, true},
        TimingCase{"AudioAlone", {{1, "aac"}}, 1, true},
        TimingCase{"FirstOfTwoAudioKeepsIt", {{1, "aac"}, {2, "aac"}}, 1, true},
        TimingCase{"LastOfTwoVideoWins", {{1, "avc1"}, {2, "avc1"}}, 2, true},
        TimingCase{"UnknownCodecIgnored", {{3, "mp4v"}}, kNone, false},
        TimingCase{"EmptyCodecIgnored", {{0, ""}}, kNone, false},
        TimingCase{"CodecNamesAreCaseSensitive", {{0, "AVC1"}, {1, "AAC"}}, kNone, false},
        TimingCase{"SubtitleThenAudio", {{3, "tx3g"}, {1, "aac"}}, 1, true},
        // A repeated id keeps its first feeder, but the feeder made for the repeat still decides
        // the timing role.
        TimingCase{"RepeatedIdWithVideoFeederTakesTiming", {{2, "avc1"}, {1, "aac"}, {1, "avc1"}},
                   1, true}),
    [](const ::testing::TestParamInfo<TimingCase>& info) { return info.param.name; });

TEST(AvRouterTest, RepeatedIdKeepsItsFirstFeeder) {
    RouterFixture f;
    f.router->addTrack(1, "aac");
    f.router->addTrack(1, "avc1");
    ASSERT_EQ(2u, f.feeders.size());
    EXPECT_CALL(*f.feeders[0], feedSample(_)).Times(1);
    EXPECT_CALL(*f.feeders[1], feedSample(_)).Times(0);
    f.router->feedSample(sampleOf(1, 90));
}

TEST(AvRouterTest, FeedsEachSampleToTheFeederOfItsTrack) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    f.router->addTrack(1, "aac");
    ASSERT_EQ(2u, f.feeders.size());
    EXPECT_CALL(*f.feeders[0], feedSample(::testing::Field(&avfile::AvSample::pts, 3000u)));
    EXPECT_CALL(*f.feeders[1], feedSample(::testing::Field(&avfile::AvSample::pts, 1800u)));
    f.router->feedSample(sampleOf(1, 1800));
    f.router->feedSample(sampleOf(0, 3000));
}

struct PtsCase {
    uint64_t pts;
    uint64_t ms;
};

class AvRouterPtsTest : public ::testing::TestWithParam<PtsCase> {};

TEST_P(AvRouterPtsTest, ConvertsTheTimingTracksPtsToMilliseconds) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    f.router->feedSample(sampleOf(0, GetParam().pts));
    EXPECT_EQ(GetParam().ms, f.router->getCurrentPtsMs());
}

INSTANTIATE_TEST_SUITE_P(
    NinetyKilohertz, AvRouterPtsTest,
    ::testing::Values(PtsCase{0, 0}, PtsCase{89, 0}, PtsCase{90, 1}, PtsCase{179, 1},
                      PtsCase{900000, 10000},
                      PtsCase{8589934591ull, 95443717ull},  // 2^33 - 1: the PES clock's last tick
                      PtsCase{std::numeric_limits<uint64_t>::max(), 204963823041217240ull}));

TEST(AvRouterTest, PositionIsZeroBeforeAnySample) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    EXPECT_EQ(0u, f.router->getCurrentPtsMs());
}

TEST(AvRouterTest, OnlyTheTimingTrackMovesThePosition) {
    RouterFixture f;
    f.router->addTrack(1, "aac");
    f.router->addTrack(0, "avc1");
    f.router->feedSample(sampleOf(0, 90000));
    f.router->feedSample(sampleOf(1, 450000));
    EXPECT_EQ(1000u, f.router->getCurrentPtsMs());
}

TEST(AvRouterTest, LoneAudioTrackGivesThePosition) {
    RouterFixture f;
    f.router->addTrack(1, "aac");
    f.router->feedSample(sampleOf(1, 180000));
    EXPECT_EQ(2000u, f.router->getCurrentPtsMs());
}

TEST(AvRouterTest, SampleOfTrackWithoutFeederVanishesSilently) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    f.router->addTrack(2, "tx3g");  // no feeder
    f.router->feedSample(sampleOf(0, 900));
    ASSERT_EQ(1u, f.feeders.size());
    EXPECT_CALL(*f.feeders[0], feedSample(_)).Times(0);

    velar_test::LogCapture log;
    EXPECT_NO_THROW(f.router->feedSample(sampleOf(2, 900000)));
    EXPECT_NO_THROW(f.router->feedSample(sampleOf(77, 900000)));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(10u, f.router->getCurrentPtsMs());
}

TEST(AvRouterTest, FeederExceptionPassesThroughAndLeavesThePosition) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    f.router->feedSample(sampleOf(0, 9000));
    EXPECT_CALL(*f.feeders[0], feedSample(_))
        .WillOnce(Throw(std::runtime_error("No H264 Data found")));
    EXPECT_THROW(f.router->feedSample(sampleOf(0, 900000)), std::runtime_error);
    EXPECT_EQ(100u, f.router->getCurrentPtsMs());
}

TEST(AvRouterTest, ClearTracksForgetsTracksButKeepsThePosition) {
    RouterFixture f;
    f.router->addTrack(0, "avc1");
    f.router->addTrack(1, "aac");
    f.router->feedSample(sampleOf(0, 900000));
    f.router->clearTracks();
    EXPECT_FALSE(f.router->noTracks());
    EXPECT_EQ(kNone, f.router->getTimingTrack());
    EXPECT_EQ(10000u, f.router->getCurrentPtsMs());

    EXPECT_CALL(*f.feeders[0], feedSample(_)).Times(0);
    f.router->feedSample(sampleOf(0, 1800000));
    EXPECT_EQ(10000u, f.router->getCurrentPtsMs());

    // After clearing, an audio track may take the timing role again.
    f.router->addTrack(1, "aac");
    EXPECT_EQ(1u, f.router->getTimingTrack());
}

TEST(AvRouterTest, RefusesAnEmptyFeederFactory) {
    EXPECT_THROW(avfile::AvRouter(nullptr), std::invalid_argument);
}

}  // namespace
