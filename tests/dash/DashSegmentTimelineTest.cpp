#include "dash/DashSegmentTimeline.h"

#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "RepresentationRig.h"

namespace dash {
namespace {

using velar_test::representationMpd;
using Rig = velar_test::RepresentationRig<DashSegmentTimeline>;

// A timeline MPD at timescale 1000 with the S elements `s`; media URLs carry $Time$.
std::string timelineMpd(const std::string& s, const std::string& mpdAttributes = "type=\"static\" mediaPresentationDuration=\"PT10S\"") {
    return representationMpd(mpdAttributes,
                             "<SegmentTemplate timescale=\"1000\" media=\"$RepresentationID$/t$Time$.m4s\" "
                             "initialization=\"$RepresentationID$/init.mp4\"><SegmentTimeline>" +
                                 s + "</SegmentTimeline></SegmentTemplate><Representation id=\"v1\" bandwidth=\"1\"/>");
}

std::string liveTimelineMpd(const std::string& s, const char* publish = "2023-11-14T22:13:30Z") {
    return timelineMpd(s, std::string("type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" publishTime=\"") +
                              publish + "\"");
}

const char* const kThreeItems = "<S t=\"0\" d=\"2000\" r=\"1\"/><S d=\"1000\"/>";  // carry-over drops the 2nd S's first item
const char* const kItems = "<S t=\"0\" d=\"2000\" r=\"1\"/><S t=\"4000\" d=\"1000\"/>";
const char* const kGap = "<S t=\"0\" d=\"2000\"/><S t=\"3000\" d=\"2000\"/>";

struct SeekCase {
    const char* s;
    uint64_t requestMs;
    uint64_t landsMs;
    uint64_t durationMs;
    SeekPosition where;
};

class DashSegmentTimelineSeekTest : public ::testing::TestWithParam<SeekCase> {};

TEST_P(DashSegmentTimelineSeekTest, LandsOnItemStart) {
    const SeekCase& c = GetParam();
    Rig rig;
    rig.init(timelineMpd(c.s));
    const uint64_t cursor = rig.location->segmentTime;
    uint64_t position = c.requestMs;
    uint64_t duration = 0;
    EXPECT_EQ(rig.rep->findSegmentPosition(position, duration), c.where == InRange);
    EXPECT_EQ(position, c.landsMs);
    EXPECT_EQ(duration, c.durationMs);
    EXPECT_EQ(rig.location->segmentTime, cursor) << "findSegmentPosition moved the cursor";

    rig.location->segmentNumber = 5;
    velar_test::LogCapture log;
    EXPECT_EQ(rig.rep->seek(c.requestMs), c.landsMs);
    EXPECT_EQ(rig.location->segmentTime, c.landsMs);  // timescale 1000
    EXPECT_EQ(rig.location->endReached, c.where == PastEnd);
    EXPECT_EQ(rig.location->beginReached, c.where == BeforeStart);
    // The number shown is the cursor's, which seeking by time leaves alone.
    EXPECT_TRUE(log.contains("Seeked to segment 5(" + std::to_string(c.landsMs) + "ms)"));
}

INSTANTIATE_TEST_SUITE_P(Cases, DashSegmentTimelineSeekTest,
                         ::testing::Values(SeekCase{kItems, 4500, 4000, 1000, InRange},
                                           SeekCase{kItems, 5000, 4000, 1000, PastEnd},
                                           SeekCase{kItems, 1999, 0, 2000, InRange},
                                           SeekCase{kItems, 2000, 2000, 2000, InRange},
                                           SeekCase{"<S t=\"1000\" d=\"2000\"/>", 500, 1000, 2000, BeforeStart},
                                           // Overlap: the carried-over S starts at 2000 inside the item
                                           // 2000-4000; that earlier item answers for 3500, not the one at 3000.
                                           SeekCase{"<S t=\"0\" d=\"2000\" r=\"1\"/><S d=\"1000\" r=\"2\"/>", 3500, 2000,
                                                    2000, InRange}));

TEST(DashSegmentTimelineTest, FiguresAndWalk) {
    Rig rig;
    rig.init(timelineMpd(kItems));
    std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
    EXPECT_EQ(data->totalSegments, 3u);
    EXPECT_EQ(data->totalDurationMs, 5000u);
    EXPECT_EQ(data->firstSegmentTimeMs, 0u);
    EXPECT_EQ(data->lastSegmentTimeMs, 4000u);
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/v1/init.mp4");

    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t2000.m4s");
    EXPECT_EQ(data->segmentDurationMs, 2000u);
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t4000.m4s");
    EXPECT_EQ(data->segmentDurationMs, 1000u);
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_EQ(rig.location->segmentNumber, 3u);
    EXPECT_EQ(rig.next(), "");

    // Backwards the cursor goes to the last instant of the item before.
    rig.location->segmentTime = 2000;
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/t2000.m4s");
    EXPECT_EQ(rig.location->segmentTime, 1999u);
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/t0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
}

// An S without t after a repeated S starts at that S's last item: its first item is a duplicate,
// still counted.
TEST(DashSegmentTimelineTest, CarryOverCounts) {
    Rig rig;
    rig.init(timelineMpd(kThreeItems));
    EXPECT_EQ(rig.rep->getData()->totalSegments, 3u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 5000u);
    EXPECT_EQ(rig.location->timeline.size(), 2u);
    EXPECT_EQ(rig.rep->getData()->lastSegmentTimeMs, 2000u);
}

TEST(DashSegmentTimelineTest, GapThrowsOnSeekAndYieldsNull) {
    Rig rig;
    rig.init(timelineMpd(kGap));
    velar_test::LogCapture log;
    try {
        rig.rep->seek(2500);
        FAIL() << "seek into the gap was accepted";
    } catch (const DashException& e) {
        EXPECT_EQ(e.getDownloadStatus(), FAIL_UNKNOWN_ERROR);
    }
    EXPECT_TRUE(log.contains("Something is wrong. Can't find the segment at 2500"));
    rig.location->segmentTime = 2000;
    EXPECT_EQ(rig.next(), "");
    EXPECT_EQ(rig.location->segmentTime, 2000u);
    rig.location->segmentTime = 3000;
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t3000.m4s");
}

// Open-ended repeats run to the end of the presentation on demand and to the live edge live.
TEST(DashSegmentTimelineTest, NegativeRepeat) {
    Rig onDemand;
    onDemand.init(timelineMpd("<S t=\"0\" d=\"2000\" r=\"-1\"/>"));
    EXPECT_EQ(onDemand.location->timeline.size(), 5u);
    EXPECT_EQ(onDemand.rep->getData()->lastSegmentTimeMs, 8000u);
    Rig live;
    live.init(liveTimelineMpd("<S t=\"0\" d=\"2000\" r=\"-1\"/>", "2023-11-14T22:13:27Z"));
    EXPECT_EQ(live.location->timeline.size(), 4u);  // 7 s since the availability start
}

// A refresh replaces the timeline; the cursor keeps its time unless the window moved past it.
// Live, a seek past the last item sets no flag.
TEST(DashSegmentTimelineTest, LiveRefreshAndSeek) {
    Rig rig;
    rig.init(liveTimelineMpd("<S t=\"10000\" d=\"2000\" r=\"4\"/>"));
    EXPECT_EQ(rig.location->segmentTime, 10000u);
    rig.next();
    rig.next();
    EXPECT_EQ(rig.location->segmentTime, 14000u);
    rig.init(liveTimelineMpd("<S t=\"12000\" d=\"2000\" r=\"4\"/>"));
    EXPECT_EQ(rig.location->segmentTime, 14000u);
    rig.init(liveTimelineMpd("<S t=\"16000\" d=\"2000\" r=\"4\"/>"));
    EXPECT_EQ(rig.location->segmentTime, 16000u);
    EXPECT_EQ(rig.location->segmentNumber, 0u);

    velar_test::LogCapture log;
    EXPECT_EQ(rig.rep->seek(60000), 24000u);
    EXPECT_FALSE(rig.location->endReached);
    EXPECT_TRUE(log.contains("Seeked to segment 0(24000ms)"));
    EXPECT_FALSE(log.contains("Attempted to seek/find past end of segment list"));
}

TEST(DashSegmentTimelineTest, EmptyTimeline) {
    Rig onDemand;
    velar_test::LogCapture log;
    EXPECT_EQ(onDemand.initFailure(timelineMpd("")), FAIL_INVALID_REP);
    EXPECT_TRUE(log.contains("Something is wrong. No segments."));

    Rig live;
    live.init(liveTimelineMpd(""));
    EXPECT_TRUE(log.contains("No live timeline segments. waiting for next refresh."));
    EXPECT_EQ(live.next(), "");
    EXPECT_EQ(live.rep->seek(3000), 3000u);
    EXPECT_FALSE(live.location->endReached);
    // The next refresh brings items; the cursor (3000) lies before them and is raised.
    live.init(liveTimelineMpd("<S t=\"8000\" d=\"2000\"/>"));
    EXPECT_EQ(live.next(), "http://cdn/v/v1/t8000.m4s");
}

// Representations of one adaptation set share the timeline: the one initialised last wrote it, and
// the others search that one.
TEST(DashSegmentTimelineTest, SharedTimelineAcrossRepresentations) {
    Rig first;
    first.init(timelineMpd(kItems));
    Rig second(first.location);
    second.init(timelineMpd("<S t=\"0\" d=\"2000\"/><S t=\"3000\" d=\"1000\" r=\"1\"/>"));  // as many items
    first.location->segmentTime = 2000;
    EXPECT_EQ(first.next(), "") << "searched a stale timeline";
    first.location->segmentTime = 4500;
    EXPECT_EQ(first.next(), "http://cdn/v/v1/t4000.m4s");
}

TEST(DashSegmentTimelineTest, RefusesWithoutTimeline) {
    Rig rig;
    EXPECT_EQ(rig.initFailure(representationMpd("type=\"static\" mediaPresentationDuration=\"PT10S\"",
                                                "<SegmentTemplate media=\"$Number$\" duration=\"2\"/>"
                                                "<Representation id=\"v1\"/>")),
              FAIL_INVALID_REP);
}

}  // namespace
}  // namespace dash
