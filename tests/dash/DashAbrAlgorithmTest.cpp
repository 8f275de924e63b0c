// The three bit-rate strategies: trick-play exit, PD-ratio hysteresis, smoothing estimate and its
// buffer gating, constant rate.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "dash/DashAbrCbrAlgorithm.h"
#include "dash/DashAbrPDRatioAlgorithm.h"
#include "dash/DashAbrSmoothingAlgorithm.h"

namespace dash {
namespace {

constexpr int32_t NONE = DashAbrAdjustment::ABR_NONE;
constexpr int32_t LOWER = DashAbrAdjustment::ABR_LOWER;
constexpr int32_t KEEP = DashAbrAdjustment::ABR_KEEP;
constexpr int32_t RAISE = DashAbrAdjustment::ABR_RAISE;

DashAbrData data(uint32_t buffered, int32_t current, uint32_t averageRate, int32_t duration, int32_t downloadTime,
                 int32_t playbackRate = 1000) {
    DashAbrData d;
    d.bufferedSegments = buffered;
    d.currentBandwidth = current;
    d.lastDownloadRate = averageRate;
    d.averageDownloadRate = averageRate;
    d.segmentDuration = duration;
    d.downloadTime = downloadTime;
    d.playbackRate = playbackRate;
    return d;
}

TEST(DashAbrAlgorithmTest, TrickPlayGivesNoDecision) {
    for (int32_t rate : {2000, 0, -1000, 999}) {
        const DashAbrData d = data(5, 1000000, 2000000, 2000, 999, rate);
        DashAbrPDRatioAlgorithm pd(3);
        DashAbrSmoothingAlgorithm smoothing(3);
        DashAbrCbrAlgorithm cbr(5000000);
        for (IDashAbrAlgorithm* algorithm : std::vector<IDashAbrAlgorithm*>{&pd, &smoothing, &cbr}) {
            const DashAbrAdjustment a = algorithm->adjustAbr(d);
            EXPECT_EQ(a.action, NONE) << rate;
            EXPECT_EQ(a.bandwidth, algorithm == &cbr ? 5000000 : 0) << rate;
        }
    }
}

// PD ratio, current bandwidth 1 000 000, minimum 3 buffered: each step is repeated `times` on one
// strategy object, every answer checked.
struct PdStep {
    int times;
    int32_t duration;
    int32_t downloadTime;
    uint32_t buffered;
    int32_t action;
    int32_t bandwidth;
    int32_t playbackRate;
};

struct PdScript {
    const char* name;
    std::vector<PdStep> steps;
};

const PdScript kPdScripts[] = {
    // Ratio 2.0: the third fast segment raises, then fastLimit is 10; a raise does not reset the
    // count; trick play leaves the counters alone; exactly 1.2 keeps and resets.
    {"FastThreeThenTen",
     {{2, 2000, 999, 5, KEEP, 0, 1000},
      {1, 2000, 999, 5, NONE, 0, 2000},
      {1, 2000, 999, 5, RAISE, 2000000, 1000},
      {6, 2000, 999, 5, KEEP, 0, 1000},
      {2, 2000, 999, 5, RAISE, 2000000, 1000},
      {1, 1200, 999, 5, KEEP, 0, 1000},
      {9, 2000, 999, 5, KEEP, 0, 1000},
      {1, 2000, 999, 5, RAISE, 2000000, 1000}}},
    // Exactly 1.5 is not fast and resets the count.
    {"OnePointFiveIsNotFast",
     {{2, 2000, 999, 5, KEEP, 0, 1000},
      {1, 1500, 999, 5, KEEP, 0, 1000},
      {2, 2000, 999, 5, KEEP, 0, 1000},
      {1, 2000, 999, 5, RAISE, 2000000, 1000}}},
    // Ratio 10 is capped at x5; a negative download time counts as 0.
    {"RaiseCappedAtFive", {{2, 10000, 999, 5, KEEP, 0, 1000}, {1, 10000, -1, 5, RAISE, 5000000, 1000}}},
    // The slow count's head start: the first slow segment is already at the limit.
    {"FirstSlowLowersAtMinPlusOne", {{1, 1000, 999, 4, LOWER, 800000, 1000}}},
    {"FirstSlowKeepsAtMinPlusThree",
     {{1, 1000, 999, 6, KEEP, 800000, 1000}, {1, 500, 999, 5, LOWER, 500000, 1000}}},
    // After a keep one slow segment is tolerated with min + 1 buffered, not below it.
    {"SlowAfterKeep",
     {{1, 1200, 999, 4, KEEP, 0, 1000},
      {1, 1199, 999, 4, KEEP, 800000, 1000},
      {1, 1199, 999, 4, LOWER, 800000, 1000},
      {1, 1200, 999, 3, KEEP, 0, 1000},
      {1, 1199, 999, 3, LOWER, 800000, 1000}}},
};

TEST(DashAbrAlgorithmTest, PDRatioScripts) {
    for (const PdScript& script : kPdScripts) {
        DashAbrPDRatioAlgorithm pd(3);
        int call = 0;
        for (const PdStep& step : script.steps) {
            for (int i = 0; i < step.times; ++i) {
                ++call;
                const DashAbrAdjustment a =
                    pd.adjustAbr(data(step.buffered, 1000000, 0, step.duration, step.downloadTime, step.playbackRate));
                EXPECT_EQ(a.action, step.action) << script.name << " call " << call;
                EXPECT_EQ(a.bandwidth, step.bandwidth) << script.name << " call " << call;
            }
        }
    }
}

TEST(DashAbrAlgorithmTest, PDRatioLogsEachAnswer) {
    DashAbrPDRatioAlgorithm pd(3);
    velar_test::LogCapture log;
    pd.adjustAbr(data(4, 1000000, 0, 1000, 999));
    EXPECT_EQ(log.messages(), std::vector<std::string>{
                                  "Adjustment: 1 segment download time: 999 segment duration: 1000 recommended bandwidth 800000"});
}

TEST(DashAbrAlgorithmTest, SmoothingEstimates) {
    struct Case {
        int current, rate, duration, downloadTime;
        uint64_t estimate;
    };
    const Case cases[] = {
        {1000000, 2000000, 2000, 1000, 1600000},   // 0.6 x rate + 0.4 x current
        {1000000, 2000000, 2000, 2000, 1600000},   // q = 1 up to one segment duration
        {1000000, 2000000, 2000, 5999, 1200000},   // q = 2
        {3000000, 1000000, 2000, 1000, 1800000},   // current above the rate
        {1000000, 2000000, 2000, 12000, 0},        // q = 6: negative, held at 0
        {16777217, 16777217, 1000, 1000, 16777216},  // single precision: 2^24 + 1 is not a float
        {1000000, 0, 2000, 1000, 0},
        {1000000, -5, 2000, 1000, 0},
        {1000000, 2000000, 0, 1000, 0},
    };
    DashAbrSmoothingAlgorithm smoothing(3);
    for (const Case& c : cases) {
        EXPECT_EQ(smoothing.smoothing(c.current, c.rate, c.duration, c.downloadTime), c.estimate)
            << c.current << " " << c.rate << " " << c.duration << " " << c.downloadTime;
    }
    velar_test::LogCapture log;
    smoothing.smoothing(1, 0, 2000, 1000);
    EXPECT_TRUE(log.contains("Adjust: Smoothing: 0"));
}

TEST(DashAbrAlgorithmTest, SmoothingGatedByBuffer) {
    struct Case {
        uint32_t buffered;
        int32_t current;
        uint32_t averageRate;
        int32_t action;
        int32_t bandwidth;
    };
    // Minimum 3; duration 2000 ms, download 1000 ms.
    const Case cases[] = {
        {2, 1000000, 2000000, LOWER, 1600000},  // below the minimum: current < estimate lowers
        {2, 3000000, 1000000, RAISE, 1800000},
        {2, 1600000, 1600000, RAISE, 1600000},
        {2, 1000000, 0, RAISE, 0},
        {3, 1000000, 2000000, RAISE, 1600000},  // at the minimum: current <= estimate raises
        {3, 1600000, 1600000, RAISE, 1600000},
        {3, 3000000, 1000000, KEEP, 1800000},
        {5, 1000000, 0, KEEP, 0},
        {5, 0, 0, RAISE, 0},
    };
    DashAbrSmoothingAlgorithm smoothing(3);
    for (const Case& c : cases) {
        const DashAbrAdjustment a = smoothing.adjustAbr(data(c.buffered, c.current, c.averageRate, 2000, 1000));
        EXPECT_EQ(a.action, c.action) << c.buffered << " " << c.current << " " << c.averageRate;
        EXPECT_EQ(a.bandwidth, c.bandwidth) << c.buffered << " " << c.current << " " << c.averageRate;
    }
}

TEST(DashAbrAlgorithmTest, CbrMovesTowardItsTarget) {
    DashAbrCbrAlgorithm cbr(5000000);
    const std::pair<int32_t, int32_t> cases[] = {{4000000, RAISE}, {5000000, KEEP}, {6000000, LOWER}};
    for (const auto& c : cases) {
        const DashAbrAdjustment a = cbr.adjustAbr(data(0, c.first, 0, 0, 0));
        EXPECT_EQ(a.action, c.second) << c.first;
        EXPECT_EQ(a.bandwidth, 5000000);
    }
}

}  // namespace
}  // namespace dash
