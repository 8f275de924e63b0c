#include "dash/DashUtil.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "MpdText.h"
#include "dash/DashException.h"

namespace dash {
namespace {

using velar_test::parseMpd;

// --- ISO 8601 durations ---

struct DurationCase {
    const char* text;
    uint64_t ms;
};

class DurationTest : public ::testing::TestWithParam<DurationCase> {};

TEST_P(DurationTest, Milliseconds) {
    EXPECT_EQ(DashUtil::convertISO8601DurationToMs(GetParam().text), GetParam().ms);
}

INSTANTIATE_TEST_SUITE_P(Forms, DurationTest,
                         ::testing::Values(DurationCase{"PT6S", 6000}, DurationCase{"PT1.5S", 1500},
                                           DurationCase{"PT1M30S", 90000}, DurationCase{"PT2H", 7200000},
                                           DurationCase{"PT0.001S", 1},
                                           // 31556926 + 2 x 2629743.83 + 3 x 86400 + 4 x 3600 + 5 x 60 + 6
                                           DurationCase{"P1Y2M3DT4H5M6S", 37090319660ull},
                                           // The day count is cut to its first digit without a year or month.
                                           DurationCase{"P12DT0S", 86400000}, DurationCase{"P0Y0M12DT0S", 1036800000},
                                           DurationCase{"P1MT0S", 2629743830ull}, DurationCase{"P1YT0S", 31556926000ull}));

enum class Refusal { Format, Zero, InvalidArgument, OutOfRange };

struct RefusedCase {
    const char* text;
    Refusal refusal;
};

class RefusedDurationTest : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedDurationTest, Throws) {
    const RefusedCase& c = GetParam();
    switch (c.refusal) {
    case Refusal::Format:
    case Refusal::Zero:
        try {
            DashUtil::convertISO8601DurationToMs(c.text);
            FAIL() << c.text << " was accepted";
        } catch (const DashException& e) {
            EXPECT_EQ(e.getDownloadStatus(), FAIL_INVALID_MPD);
            EXPECT_STREQ(e.what(), c.refusal == Refusal::Zero ? "Dash Download Error: FAIL_INVALID_MPD Duration is 0"
                                                              : "Dash Download Error: FAIL_INVALID_MPD invalid ISO8601");
        }
        break;
    case Refusal::InvalidArgument:
        EXPECT_THROW(DashUtil::convertISO8601DurationToMs(c.text), std::invalid_argument) << c.text;
        break;
    case Refusal::OutOfRange:
        EXPECT_THROW(DashUtil::convertISO8601DurationToMs(c.text), std::out_of_range) << c.text;
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, RefusedDurationTest,
                         ::testing::Values(RefusedCase{"P1D", Refusal::Format}, RefusedCase{"6S", Refusal::Format},
                                           RefusedCase{"", Refusal::Format}, RefusedCase{"PT0S", Refusal::Zero},
                                           RefusedCase{"PT", Refusal::Zero}, RefusedCase{"P1DT0S", Refusal::InvalidArgument},
                                           RefusedCase{"PTxS", Refusal::InvalidArgument},
                                           RefusedCase{"PT1e39S", Refusal::OutOfRange},
                                           // Values std::stof accepts that have no millisecond count.
                                           RefusedCase{"PT-5S", Refusal::Format}, RefusedCase{"PTinfS", Refusal::Format},
                                           RefusedCase{"PTnanS", Refusal::Format}));

TEST(DashUtilTest, HugeCountsWrapIn32BitsInsteadOfOverflowing) {
    // 2000000 hours x 3600 exceeds 32 bits and wraps: 7200000000 mod 2^32 = 2905032704 s.
    EXPECT_EQ(DashUtil::convertISO8601DurationToMs("PT2000000H"), 2905032704000ull);
}

// --- date-times ---

TEST(DashUtilTest, DateTimesAreSecondsSinceTheEpochWithTheOffsetIgnored) {
    EXPECT_EQ(DashUtil::convertISO8601DateTimeToTime("2023-11-14T22:13:20Z"), 1700000000);
    EXPECT_EQ(DashUtil::convertISO8601DateTimeToTime("1970-01-01T00:00:00Z"), 0);
    // timegm does not apply the parsed offset.
    EXPECT_EQ(DashUtil::convertISO8601DateTimeToTime("2023-11-14T22:13:20+02:00"), 1700000000);
    // Unparsable text converts what strptime left: the date alone.
    EXPECT_EQ(DashUtil::convertISO8601DateTimeToTime("2023-11-14"), 1699920000);
}

// --- time scales ---

TEST(DashUtilTest, ToMillisecondsRoundsUpAndToTimescaleTruncates) {
    struct Case {
        uint64_t value;
        uint32_t timescale;
        uint64_t toMs;
        uint64_t toScaled;
    };
    const Case cases[] = {
        {1, 90000, 1, 90},            // 1/90 ms rounds up; 1 ms is 90 ticks
        {90000, 90000, 1000, 8100000},
        {1, 3, 334, 0},               // 333.3 ms up; 1 ms is 0.003 units, truncated
        {0, 1000, 0, 0},
        {2000, 1000, 2000, 2000},
        {18446744073709551615ull, 1, 18446744073709551615ull, 18446744073709552ull},  // saturates; double
    };
    for (const Case& c : cases) {
        EXPECT_EQ(DashUtil::convertScaledTimeToMs(c.value, c.timescale), c.toMs) << c.value << "/" << c.timescale;
        EXPECT_EQ(DashUtil::convertMsToScaledTime(c.value, c.timescale), c.toScaled) << c.value << "/" << c.timescale;
    }
    EXPECT_THROW(DashUtil::convertScaledTimeToMs(5, 0), DashException);
    EXPECT_EQ(DashUtil::convertMsToScaledTime(5, 0), 0u);
}

// --- MPD attributes ---

TEST(DashUtilTest, MpdAttributesAndTheirDefaults) {
    auto bare = parseMpd(R"(<MPD type="static" mediaPresentationDuration="PT10S"><Period/></MPD>)", "http://h/m.mpd",
                         1700000000);
    EXPECT_FALSE(DashUtil::isMPDLive(bare));
    EXPECT_EQ(DashUtil::getUpdatePeriodMs(bare), 6000u);
    EXPECT_EQ(DashUtil::getMinBufferTimeMs(bare), 6000u);
    EXPECT_EQ(DashUtil::getPresentationDelay(bare), 6000u);
    EXPECT_EQ(DashUtil::getPublishTime(bare), 1700000000000);  // the fetch time
    EXPECT_EQ(DashUtil::getAvailabilityStartTime(bare), 0u);

    auto live = parseMpd(R"(<MPD type="dynamic" minimumUpdatePeriod="PT2S" minBufferTime="PT8S"
        availabilityStartTime="2023-11-14T22:13:20Z" publishTime="2023-11-14T22:15:00Z"><Period/></MPD>)");
    EXPECT_TRUE(DashUtil::isMPDLive(live));
    EXPECT_EQ(DashUtil::getUpdatePeriodMs(live), 2000u);
    EXPECT_EQ(DashUtil::getPresentationDelay(live), 8000u);  // max(min buffer, 6000)
    EXPECT_EQ(DashUtil::getPublishTime(live), 1700000100000);
    EXPECT_EQ(DashUtil::getAvailabilityStartTime(live), 1700000000000u);

    auto suggested = parseMpd(R"(<MPD type="dynamic" minimumUpdatePeriod="PT2S" minBufferTime="PT1S"
        suggestedPresentationDelay="PT3S"><Period/></MPD>)");
    EXPECT_EQ(DashUtil::getPresentationDelay(suggested), 3000u);
    auto shortBuffer = parseMpd(R"(<MPD type="dynamic" minBufferTime="PT1S"><Period/></MPD>)");
    EXPECT_EQ(DashUtil::getPresentationDelay(shortBuffer), 6000u);

    // The update period is parsed (and ignored) on the way to the delay: a malformed one throws.
    auto badPeriod = parseMpd(R"(<MPD type="dynamic" minimumUpdatePeriod="P1D"><Period/></MPD>)");
    EXPECT_THROW(DashUtil::getPresentationDelay(badPeriod), DashException);
    EXPECT_THROW(DashUtil::isMPDLive(nullptr), DashException);
}

TEST(DashUtilTest, SegmentTemplateOfRepresentationThenAdaptationSetThenPeriod) {
    auto mpd = parseMpd(R"(<MPD type="static"><Period>
        <SegmentTemplate media="period-$Number$.m4s" duration="1"/>
        <AdaptationSet mimeType="video/mp4">
          <SegmentTemplate media="set-$Number$.m4s" duration="1"/>
          <Representation id="own" bandwidth="1"><SegmentTemplate media="own-$Number$.m4s" duration="1"/></Representation>
          <Representation id="inherits" bandwidth="1"/>
        </AdaptationSet>
        <AdaptationSet mimeType="audio/mp4"><Representation id="a" bandwidth="1"/></AdaptationSet>
      </Period></MPD>)");
    const mpd::IPeriod& period = *mpd->GetPeriods().at(0);
    const mpd::IAdaptationSet& video = *period.GetAdaptationSets().at(0);
    const mpd::IAdaptationSet& audio = *period.GetAdaptationSets().at(1);
    EXPECT_EQ(DashUtil::getSegmentTemplate(mpd, video, *video.GetRepresentation().at(0))->GetMediaTemplate(),
              "own-$Number$.m4s");
    EXPECT_EQ(DashUtil::getSegmentTemplate(mpd, video, *video.GetRepresentation().at(1))->GetMediaTemplate(),
              "set-$Number$.m4s");
    EXPECT_EQ(DashUtil::getSegmentTemplate(mpd, audio, *audio.GetRepresentation().at(0))->GetMediaTemplate(),
              "period-$Number$.m4s");
}

// --- base URLs ---

TEST(DashUtilTest, AnAbsoluteChildReplacesWhatWasInherited) {
    auto mpd = parseMpd(R"(<MPD type="static"><BaseURL>rel/</BaseURL><Period>
        <BaseURL>a/</BaseURL><BaseURL>https://cdn.example/x/</BaseURL><BaseURL>b/</BaseURL>
        <AdaptationSet mimeType="video/mp4"><BaseURL>c/</BaseURL><Representation id="v" bandwidth="1"/></AdaptationSet>
      </Period></MPD>)");
    const mpd::IPeriod& period = *mpd->GetPeriods().at(0);
    auto merged = DashUtil::addBaseURLs(mpd->GetBaseURLs(), period.GetBaseURLs());
    std::vector<std::string> texts;
    for (auto* url : DashUtil::addBaseURLs(merged, period.GetAdaptationSets().at(0)->GetBaseURLs())) {
        texts.push_back(url->GetUrl());
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"https://cdn.example/x/", "b/", "c/"}));
    EXPECT_EQ(DashUtil::addBaseURLs(mpd->GetBaseURLs(), {}).size(), 1u);
}

// --- timelines ---

// The S elements of a SegmentTemplate written in a test.
class TimelineTest : public ::testing::Test {
protected:
    const std::vector<mpd::ITimeline*>& timelines(const std::string& sElements) {
        mMpd = parseMpd(R"(<MPD type="static"><Period><AdaptationSet mimeType="video/mp4">
            <SegmentTemplate media="$Time$.m4s"><SegmentTimeline>)" +
                        sElements + R"(</SegmentTimeline></SegmentTemplate>
            <Representation id="v" bandwidth="1"/></AdaptationSet></Period></MPD>)");
        return mMpd->GetPeriods().at(0)->GetAdaptationSets().at(0)->GetSegmentTemplate()->GetSegmentTimeline()->GetTimelines();
    }

    static std::vector<uint64_t> starts(const std::set<DashTimelineItem>& items) {
        std::vector<uint64_t> out;
        for (const auto& item : items) out.push_back(item.startTime);
        return out;
    }

    std::shared_ptr<mpd::IMPD> mMpd;
};

TEST_F(TimelineTest, ExpansionCarriesTheLastItemsStartOver) {
    struct Case {
        const char* s;
        uint64_t openEnd;
        std::vector<uint64_t> starts;
        uint32_t count;
        uint64_t total;
    };
    const Case cases[] = {
        {R"(<S t="100" d="10" r="2"/>)", 0, {100, 110, 120}, 3, 30},
        // The S without t starts at 120 (the last item's start): its first item is a duplicate.
        {R"(<S t="100" d="10" r="2"/><S d="5"/>)", 0, {100, 110, 120}, 4, 35},
        {R"(<S t="100" d="10" r="2"/><S d="5" r="1"/>)", 0, {100, 110, 120, 125}, 5, 40},
        {R"(<S d="2000"/><S d="2000"/><S t="4000" d="1000"/>)", 0, {0, 4000}, 3, 5000},
        // r="-1" covers up to the next S's start; for the last S, items that end by the caller's end.
        {R"(<S t="0" d="10" r="-1"/><S t="35" d="5"/>)", 0, {0, 10, 20, 30, 35}, 5, 45},
        {R"(<S t="10" d="10" r="-1"/>)", 45, {10, 20, 30}, 3, 30},  // the item ending at 50 is not there yet
        {R"(<S t="10" d="10" r="-1"/>)", 50, {10, 20, 30, 40}, 4, 40},
        {R"(<S t="10" d="10" r="-1"/>)", 0, {10}, 1, 10},
        {"", 0, {}, 0, 0},
    };
    for (const Case& c : cases) {
        uint64_t total = 99;
        uint32_t count = 99;
        auto items = DashUtil::getTimeVectorFromTimelines(timelines(c.s), total, count, c.openEnd);
        EXPECT_EQ(starts(items), c.starts) << c.s;
        EXPECT_EQ(count, c.count) << c.s;
        EXPECT_EQ(total, c.total) << c.s;
    }
}

TEST_F(TimelineTest, EmptyResultIsLoggedAndHugeRepeatsAreBounded) {
    velar_test::LogCapture log;
    uint64_t total = 0;
    uint32_t count = 0;
    EXPECT_TRUE(DashUtil::getTimeVectorFromTimelines({}, total, count).empty());
    EXPECT_TRUE(log.contains("Time lines is empty"));

    auto items = DashUtil::getTimeVectorFromTimelines(timelines(R"(<S t="1" d="1" r="2147483647"/><S d="1"/>)"),
                                                      total, count);
    EXPECT_EQ(items.size(), DashUtil::kMaxTimelineItems);
    EXPECT_EQ(count, DashUtil::kMaxTimelineItems);
    EXPECT_TRUE(log.containsFragment("Timeline truncated"));
}

}  // namespace
}  // namespace dash
