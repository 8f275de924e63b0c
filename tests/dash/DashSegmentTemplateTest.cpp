#include "dash/DashSegmentTemplate.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "LogCapture.h"
#include "RepresentationRig.h"

namespace dash {
namespace {

using velar_test::representationMpd;
using Rig = velar_test::RepresentationRig<DashSegmentTemplate>;

const std::string kRepresentation = "<Representation id=\"v1\" bandwidth=\"500000\"/>";

std::string onDemandMpd(const std::string& duration, const std::string& templateAttributes) {
    return representationMpd("type=\"static\" mediaPresentationDuration=\"" + duration + "\"",
                             "<SegmentTemplate media=\"$RepresentationID$/seg-$Number$.m4s\" "
                             "initialization=\"$RepresentationID$/init-$Bandwidth$.mp4\" " +
                                 templateAttributes + "/>" + kRepresentation);
}

// Availability start 2023-11-14T22:13:20Z (epoch 1700000000 s), published `seconds` later, 2 s
// update period, 2 s segments numbered from 1.
std::string liveMpd(time_t seconds, const std::string& depth = " timeShiftBufferDepth=\"PT30S\"") {
    const time_t publish = 1700000000 + seconds;
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime(&publish));
    return representationMpd("type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" publishTime=\"" +
                                 std::string(text) + "\" minimumUpdatePeriod=\"PT2S\"" + depth,
                             "<SegmentTemplate media=\"seg-$Number$.m4s\" duration=\"2\"/>" + kRepresentation);
}

struct RangeCase {
    const char* duration;
    const char* templateAttributes;
    uint64_t totalSegments;
    uint64_t lastSegment;
    uint64_t lastSegmentTimeMs;
    uint64_t segmentDurationMs;
};

class DashSegmentTemplateRangeTest : public ::testing::TestWithParam<RangeCase> {};

// totalSegments counts a partial last segment; the walk stops one short of it.
TEST_P(DashSegmentTemplateRangeTest, OnDemandRoundings) {
    const RangeCase& c = GetParam();
    Rig rig;
    rig.init(onDemandMpd(c.duration, c.templateAttributes));
    std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
    EXPECT_EQ(data->totalSegments, c.totalSegments);
    EXPECT_EQ(data->lastSegmentTimeMs, c.lastSegmentTimeMs);
    EXPECT_EQ(data->segmentDurationMs, c.segmentDurationMs);
    EXPECT_EQ(rig.location->segmentNumber, 0u);
    for (uint64_t i = 0; i <= c.lastSegment; ++i) {
        EXPECT_EQ(rig.location->endReached, false);
        EXPECT_EQ(rig.next(), "http://cdn/v/v1/seg-" + std::to_string(i + 1) + ".m4s");
    }
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_EQ(rig.next(), "");
}

INSTANTIATE_TEST_SUITE_P(Cases, DashSegmentTemplateRangeTest,
                         ::testing::Values(RangeCase{"PT12S", "duration=\"4\" timescale=\"1\"", 3, 2, 8000, 4000},
                                           RangeCase{"PT10S", "duration=\"4\"", 3, 1, 4000, 4000},
                                           RangeCase{"PT10S", "duration=\"4000\" timescale=\"1000\"", 3, 1, 4000, 4000},
                                           // 1/3 s: start times truncated, the duration rounded up
                                           RangeCase{"PT1S", "duration=\"1\" timescale=\"3\"", 3, 2, 666, 334}));

TEST(DashSegmentTemplateTest, NumbersInUrls) {
    Rig rig;
    rig.init(onDemandMpd("PT12S", "duration=\"4\" startNumber=\"7\""));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/v1/init-500000.mp4");
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/seg-7.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_EQ(rig.location->segmentTime, 4000u);
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/seg-8.m4s");
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/seg-7.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    // startNumber + index is not wrapped at 32 bits.
    Rig high;
    high.init(onDemandMpd("PT12S", "duration=\"4\" startNumber=\"4294967295\""));
    high.next();
    EXPECT_EQ(high.next(), "http://cdn/v/v1/seg-4294967296.m4s");
}

// Publish 100 s after the availability start, 30 s depth, 2 s update period and segments:
// first (100 - 30 + 2) / 2 = 36, last 100 / 2 - 1 = 49.
TEST(DashSegmentTemplateTest, LiveRangeSeekAndRefresh) {
    velar_test::LogCapture log;
    Rig rig;
    rig.init(liveMpd(100));
    std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
    EXPECT_EQ(data->firstSegmentTimeMs, 72000u);
    EXPECT_EQ(data->lastSegmentTimeMs, 98000u);
    EXPECT_EQ(data->totalSegments, 15u);
    EXPECT_TRUE(log.contains(
        "DashSegmentTemplate currentSegment = 36, firstSegment = 36(72000ms) lastSegment = 49 totalSegments = 15"));
    EXPECT_EQ(rig.next(), "http://cdn/v/seg-37.m4s");  // startNumber 1 (absent)

    // Before the window flags the beginning; past the edge neither flags nor logs the end.
    EXPECT_EQ(rig.rep->seek(1000), 72000u);
    EXPECT_TRUE(rig.location->beginReached);
    log.clear();
    EXPECT_EQ(rig.rep->seek(200000), 98000u);
    EXPECT_FALSE(rig.location->endReached || rig.location->beginReached);
    EXPECT_TRUE(log.contains("Attempt to seek past end of segments"));
    EXPECT_FALSE(log.contains("Attempted to seek/find past end of segment list"));

    // At the edge the list waits for a refresh instead of ending.
    EXPECT_EQ(rig.next(), "http://cdn/v/seg-50.m4s");
    EXPECT_TRUE(log.contains("Slow network, all segments consumed"));
    EXPECT_FALSE(rig.location->endReached);
    EXPECT_EQ(rig.next(), "");
    EXPECT_TRUE(log.contains("Possible error or slow network, segment is nullptr"));
    EXPECT_EQ(rig.location->segmentNumber, 50u);

    rig.init(liveMpd(104));  // first 38: the cursor stays
    EXPECT_EQ(rig.next(), "http://cdn/v/seg-51.m4s");
    rig.location->segmentNumber = 40;
    rig.init(liveMpd(120));  // first 46: the cursor is raised
    EXPECT_EQ(rig.location->segmentNumber, 46u);
}

// Without a depth the window is everything since the availability start.
TEST(DashSegmentTemplateTest, LiveWithoutDepth) {
    Rig rig;
    rig.init(liveMpd(100, ""));
    EXPECT_EQ(rig.location->segmentNumber, 0u);
    EXPECT_EQ(rig.rep->getData()->totalSegments, 50u);
    EXPECT_EQ(rig.next(), "http://cdn/v/seg-1.m4s");
}

struct RefusalCase {
    std::string mpd;
    DashDownloadStatus status;
    const char* text;
};

class DashSegmentTemplateRefusalTest : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(DashSegmentTemplateRefusalTest, Throws) {
    std::string what;
    EXPECT_EQ(Rig().initFailure(GetParam().mpd, &what), GetParam().status);
    EXPECT_NE(what.find(GetParam().text), std::string::npos) << what;
}

const std::string kTemplate = "<SegmentTemplate media=\"a$Number$\" duration=\"2\"/>" + kRepresentation;

INSTANTIATE_TEST_SUITE_P(
    Cases, DashSegmentTemplateRefusalTest,
    ::testing::Values(
        RefusalCase{representationMpd("mediaPresentationDuration=\"PT9S\"", kRepresentation), FAIL_INVALID_REP,
                    "No segment template"},
        RefusalCase{onDemandMpd("PT10S", ""), FAIL_INVALID_REP, "Segment template without duration"},
        RefusalCase{representationMpd("type=\"static\"", kTemplate), FAIL_INVALID_MPD, "No mediaPresentationDuration"},
        RefusalCase{representationMpd("type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" "
                                      "publishTime=\"2023-11-14T22:13:19Z\"",
                                      kTemplate),
                    FAIL_INVALID_MPD, "Publish time before availability start time"}));

}  // namespace
}  // namespace dash
