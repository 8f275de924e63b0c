// The three bit-rate strategies: trick play, the PD-ratio hysteresis, the smoothing estimate, constant rate.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "dash/DashAbrCbrAlgorithm.h"
#include "dash/DashAbrPDRatioAlgorithm.h"
#include "dash/DashAbrSmoothingAlgorithm.h"

namespace dash {
namespace {

constexpr int32_t NONE = DashAbrAdjustment::ABR_NONE, LOWER = DashAbrAdjustment::ABR_LOWER,
                  KEEP = DashAbrAdjustment::ABR_KEEP, RAISE = DashAbrAdjustment::ABR_RAISE;

// Both download rates are `rate`; `ms` is the segment duration, `took` its download time.
DashAbrData data(uint32_t buffered, int32_t current, uint32_t rate, int32_t ms, int32_t took, int32_t play = 1000) {
    return DashAbrData{buffered, current, rate, rate, ms, took, play};
}

std::pair<int32_t, int32_t> answer(IDashAbrAlgorithm& algorithm, const DashAbrData& d) {
    const DashAbrAdjustment a = algorithm.adjustAbr(d);
    return {a.action, a.bandwidth};
}

TEST(DashAbrAlgorithmTest, TrickPlayGivesNoDecision) {
    for (int32_t play : {2000, 0, -1000, 999}) {
        DashAbrPDRatioAlgorithm pd(3);
        DashAbrSmoothingAlgorithm smoothing(3);
        DashAbrCbrAlgorithm cbr(5000000);
        const DashAbrData d = data(5, 1000000, 2000000, 2000, 999, play);
        EXPECT_EQ(answer(pd, d), std::make_pair(NONE, 0)) << play;
        EXPECT_EQ(answer(smoothing, d), std::make_pair(NONE, 0)) << play;
        EXPECT_EQ(answer(cbr, d), std::make_pair(NONE, 5000000)) << play;  // Cbr keeps its target
    }
}

// PD ratio, current bandwidth 1 000 000, minimum 3 buffered: each step is repeated `times` on one
// strategy object, every answer checked. The download takes 999 ms unless said otherwise.
struct PdStep { int times; int32_t duration; uint32_t buffered; int32_t action, bandwidth, took = 999, play = 1000; };

const std::pair<const char*, std::vector<PdStep>> kPdScripts[] = {
    // Ratio 2.0: the third fast segment raises, then fastLimit is 10; a raise does not reset the
    // count; trick play leaves the counters alone; exactly 1.2 keeps and resets.
    {"FastThreeThenTen", {{2, 2000, 5, KEEP, 0}, {1, 2000, 5, NONE, 0, 999, 2000}, {1, 2000, 5, RAISE, 2000000},
                          {6, 2000, 5, KEEP, 0}, {2, 2000, 5, RAISE, 2000000}, {1, 1200, 5, KEEP, 0},
                          {9, 2000, 5, KEEP, 0}, {1, 2000, 5, RAISE, 2000000}}},
    // Exactly 1.5 is not fast and resets the count.
    {"OnePointFiveIsNotFast",
     {{2, 2000, 5, KEEP, 0}, {1, 1500, 5, KEEP, 0}, {2, 2000, 5, KEEP, 0}, {1, 2000, 5, RAISE, 2000000}}},
    // Ratio 10 is capped at x5; a negative download time counts as 0.
    {"RaiseCappedAtFive", {{2, 10000, 5, KEEP, 0}, {1, 10000, 5, RAISE, 5000000, -1}}},
    // The slow count's head start: the first slow segment (ratio 1.0) is already at the limit.
    {"FirstSlowLowersAtMinPlusOne", {{1, 1000, 4, LOWER, 800000}}},
    {"FirstSlowKeepsAtMinPlusThree", {{1, 1000, 6, KEEP, 800000}, {1, 500, 5, LOWER, 500000}}},
    // After a keep one slow segment is tolerated with min + 1 buffered, not below it.
    {"SlowAfterKeep", {{1, 1200, 4, KEEP, 0}, {1, 1199, 4, KEEP, 800000}, {1, 1199, 4, LOWER, 800000},
                       {1, 1200, 3, KEEP, 0}, {1, 1199, 3, LOWER, 800000}}},
};

TEST(DashAbrAlgorithmTest, PDRatioScripts) {
    for (const auto& script : kPdScripts) {
        DashAbrPDRatioAlgorithm pd(3);
        int call = 0;
        for (const PdStep& s : script.second) {
            for (int i = 0; i < s.times; ++i, ++call) {
                EXPECT_EQ(answer(pd, data(s.buffered, 1000000, 0, s.duration, s.took, s.play)),
                          std::make_pair(s.action, s.bandwidth))
                    << script.first << " call " << call;
            }
        }
    }
}

TEST(DashAbrAlgorithmTest, SmoothingEstimatesGatedByBufferAndCbrMovesTowardItsTarget) {
    // Minimum 3. Estimate rate - q x 0.4 x (rate - current), q the whole segment durations the download took
    // (at least 1). Below the minimum current < estimate lowers, else raises; at or above, <= raises, else keeps.
    const struct { uint32_t buffered; int32_t current; uint32_t rate; int32_t ms, took, action, bandwidth; } cases[] = {
        {2, 1000000, 2000000, 2000, 1000, LOWER, 1600000}, {2, 3000000, 1000000, 2000, 1000, RAISE, 1800000},
        {2, 1600000, 1600000, 2000, 1000, RAISE, 1600000}, {2, 1000000, 0, 2000, 1000, RAISE, 0},  // rate 0: 0
        {3, 1000000, 2000000, 2000, 1000, RAISE, 1600000}, {3, 1600000, 1600000, 2000, 1000, RAISE, 1600000},
        {3, 3000000, 1000000, 2000, 1000, KEEP, 1800000},  {5, 1000000, 0, 2000, 1000, KEEP, 0},
        {5, 0, 0, 2000, 1000, RAISE, 0},
        {5, 1000000, 2000000, 2000, 2000, RAISE, 1600000},     // q = 1 up to one segment duration
        {5, 1000000, 2000000, 2000, 5999, RAISE, 1200000},     // q = 2
        {5, 1000000, 2000000, 2000, 12000, KEEP, 0},           // q = 6: negative, held at 0
        {5, 16777217, 16777217, 1000, 1000, KEEP, 16777216},  // single precision: 2^24 + 1 is not a float
        {5, 1000000, 2000000, 0, 1000, KEEP, 0},               // duration 0: estimate 0
    };
    DashAbrSmoothingAlgorithm smoothing(3);
    for (const auto& c : cases) {
        EXPECT_EQ(answer(smoothing, data(c.buffered, c.current, c.rate, c.ms, c.took)),
                  std::make_pair(c.action, c.bandwidth))
            << c.buffered << " " << c.current << " " << c.rate << " " << c.took;
    }
    DashAbrCbrAlgorithm cbr(5000000);
    EXPECT_EQ(answer(cbr, data(0, 4000000, 0, 0, 0)), std::make_pair(RAISE, 5000000));
    EXPECT_EQ(answer(cbr, data(0, 5000000, 0, 0, 0)), std::make_pair(KEEP, 5000000));
    EXPECT_EQ(answer(cbr, data(0, 6000000, 0, 0, 0)), std::make_pair(LOWER, 5000000));
}

}  // namespace
}  // namespace dash
