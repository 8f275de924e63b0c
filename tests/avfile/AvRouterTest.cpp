#include "avfile/AvRouter.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "tests/common/LogCapture.h"
#include "tests/common/MockStreamerParts.h"

namespace {

const uint32_t kNone = 0xFFFFFFFFu;

// A router over the parts' feeder factory (a timing feeder for "avc1", a plain one for "aac", none
// for anything else) with `tracks` added as (id, codec), in order.
struct Routed {
    explicit Routed(const std::vector<std::pair<unsigned, const char*>>& tracks) {
        for (const auto& t : tracks) router.addTrack(t.first, t.second);
    }
    void feed(const std::vector<std::pair<uint32_t, uint64_t>>& samples) {  // (track, pts)
        for (const auto& s : samples) {
            avfile::AvSample sample;
            sample.track = s.first;
            sample.pts = sample.dts = s.second;
            router.feedSample(sample);
        }
    }
    velar_test::MockStreamerParts parts;
    avfile::AvRouter& router = *parts.router;
};

struct RouteCase {
    const char* name;
    std::vector<std::pair<unsigned, const char*>> tracks;
    std::vector<std::pair<uint32_t, uint64_t>> samples;
    uint32_t timingTrack;
    bool noTracks;                 // deliberately true when at least one track HAS a feeder
    std::vector<std::string> fed;  // "<codec of the feeder> <track of the sample>"
    uint64_t positionMs;
};

void PrintTo(const RouteCase& c, std::ostream* os) { *os << c.name; }

class AvRouterRouteTest : public ::testing::TestWithParam<RouteCase> {};

TEST_P(AvRouterRouteTest, FeedsAndFollowsTheTimingTrack) {
    Routed r(GetParam().tracks);
    velar_test::LogCapture log;
    EXPECT_NO_THROW(r.feed(GetParam().samples));
    EXPECT_EQ(GetParam().timingTrack, r.router.getTimingTrack());
    EXPECT_EQ(GetParam().noTracks, r.router.noTracks());
    EXPECT_EQ(GetParam().fed, r.parts.journal());
    EXPECT_EQ(GetParam().positionMs, r.router.getCurrentPtsMs());
    EXPECT_TRUE(log.lines().empty());  // a dropped sample leaves no message either
}

INSTANTIATE_TEST_SUITE_P(
    Rules, AvRouterRouteTest,
    ::testing::Values(
        RouteCase{"NothingAdded", {}, {{0, 900}}, kNone, false, {}, 0},
        RouteCase{"AudioThenVideoOnlyTheVideoMoves", {{1, "aac"}, {2, "avc1"}},
                  {{2, 90000}, {1, 450000}}, 2, true, {"avc1 2", "aac 1"}, 1000},
        RouteCase{"AudioAloneGivesThePosition", {{1, "aac"}}, {{1, 180000}}, 1, true, {"aac 1"},
                  2000},
        RouteCase{"LastOfTwoVideoWins", {{1, "avc1"}, {2, "avc1"}}, {}, 2, true, {}, 0},
        RouteCase{"NoFeederForOtherCodecs", {{3, "mp4v"}, {0, ""}, {4, "AVC1"}}, {{3, 900}}, kNone,
                  false, {}, 0},
        RouteCase{"TracksWithoutFeederAreDropped", {{0, "avc1"}, {2, "tx3g"}},
                  {{0, 900}, {2, 900000}, {77, 900000}}, 0, true, {"avc1 0"}, 10},
        // A repeated id keeps its first feeder, but the feeder made for the repeat still decides
        // the timing role.
        RouteCase{"RepeatedIdKeepsItsFirstFeeder", {{2, "avc1"}, {1, "aac"}, {1, "avc1"}},
                  {{1, 90}}, 1, true, {"aac 1"}, 1},
        RouteCase{"MillisecondsTruncate", {{0, "avc1"}}, {{0, 179}}, 0, true, {"avc1 0"}, 1},
        RouteCase{"LastTickOfThePesClock", {{0, "avc1"}}, {{0, 8589934591ull}}, 0, true,
                  {"avc1 0"}, 95443717}),
    [](const ::testing::TestParamInfo<RouteCase>& info) { return info.param.name; });

TEST(AvRouterTest, ClearTracksForgetsTracksButKeepsThePosition) {
    Routed r({{0, "avc1"}, {1, "aac"}});
    r.feed({{0, 900000}});
    r.router.clearTracks();
    EXPECT_FALSE(r.router.noTracks());
    EXPECT_EQ(kNone, r.router.getTimingTrack());
    r.feed({{0, 1800000}});
    EXPECT_EQ(10000u, r.router.getCurrentPtsMs());
    EXPECT_EQ(std::vector<std::string>{"avc1 0"}, r.parts.journal());  // only before clearing
    r.router.addTrack(1, "aac");  // an audio track may take the timing role again
    EXPECT_EQ(1u, r.router.getTimingTrack());
    EXPECT_THROW(avfile::AvRouter(nullptr), std::invalid_argument);
}

}  // namespace
