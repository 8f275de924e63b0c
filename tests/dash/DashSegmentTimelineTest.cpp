#include "dash/DashSegmentTimeline.h"

#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "RepresentationRig.h"

namespace dash {
namespace {

using velar_test::representationMpd;
using Rig = velar_test::RepresentationRig<DashSegmentTimeline>;

// Timescale 1000 (scaled times are ms), S elements `s`, media URLs by $Time$.
std::string timelineMpd(const std::string& s, const std::string& mpd = "mediaPresentationDuration=\"PT10S\"") {
    return representationMpd(mpd,
                             "<SegmentTemplate timescale=\"1000\" media=\"$RepresentationID$/t$Time$.m4s\" "
                             "initialization=\"$RepresentationID$/init.mp4\"><SegmentTimeline>" +
                                 s + "</SegmentTimeline></SegmentTemplate><Representation id=\"v1\"/>");
}

// Published `publish` (seconds past 22:13:00) on the day of the availability start 22:13:20.
std::string liveMpd(const std::string& s, int publish = 30) {
    return timelineMpd(s, "type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" "
                          "publishTime=\"2023-11-14T22:13:" + std::to_string(publish) + "Z\"");
}

const char* const kItems = "<S t=\"0\" d=\"2000\" r=\"1\"/><S t=\"4000\" d=\"1000\"/>";  // 0, 2000, 4000 (1000)
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
    EXPECT_EQ(rig.location->segmentTime, c.landsMs);
    EXPECT_EQ(rig.location->endReached, c.where == PastEnd);
    EXPECT_EQ(rig.location->beginReached, c.where == BeforeStart);
    // The number shown is the cursor's, which a seek by time leaves alone.
    EXPECT_TRUE(log.contains("Seeked to segment 5(" + std::to_string(c.landsMs) + "ms)"));
}

INSTANTIATE_TEST_SUITE_P(Cases, DashSegmentTimelineSeekTest,
                         ::testing::Values(SeekCase{kItems, 4500, 4000, 1000, InRange},
                                           SeekCase{kItems, 5000, 4000, 1000, PastEnd},
                                           SeekCase{kItems, 1999, 0, 2000, InRange},
                                           SeekCase{"<S t=\"1000\" d=\"2000\"/>", 500, 1000, 2000, BeforeStart},
                                           // The second S carries over to 2000, inside the item 2000-4000:
                                           // that earlier item answers for 3500, not the one at 3000.
                                           SeekCase{"<S t=\"0\" d=\"2000\" r=\"1\"/><S d=\"1000\" r=\"2\"/>", 3500,
                                                    2000, 2000, InRange}));

TEST(DashSegmentTimelineTest, FiguresAndWalk) {
    Rig rig;
    rig.init(timelineMpd(kItems));
    std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
    EXPECT_EQ(data->totalSegments, 3u);
    EXPECT_EQ(data->totalDurationMs, 5000u);
    EXPECT_EQ(data->lastSegmentTimeMs, 4000u);
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/v1/init.mp4");

    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t2000.m4s");
    EXPECT_EQ(rig.next(), "http://cdn/v/v1/t4000.m4s");
    EXPECT_EQ(data->segmentDurationMs, 1000u);
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_EQ(rig.next(), "");

    // Backwards the cursor goes to the last instant of the item before.
    rig.location->segmentTime = 2000;
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/t2000.m4s");
    EXPECT_EQ(rig.location->segmentTime, 1999u);
    EXPECT_EQ(rig.next(false), "http://cdn/v/v1/t0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
}

// An S without t after a repeated S starts at that S's last item: a duplicate, still counted.
TEST(DashSegmentTimelineTest, CarryOverCounts) {
    Rig rig;
    rig.init(timelineMpd("<S t=\"0\" d=\"2000\" r=\"1\"/><S d=\"1000\"/>"));
    EXPECT_EQ(rig.rep->getData()->totalSegments, 3u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 5000u);
    EXPECT_EQ(rig.location->timeline.size(), 2u);
}

TEST(DashSegmentTimelineTest, Gap) {
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
}

// Open-ended repeats run to the end of the presentation on demand, to the live edge live.
TEST(DashSegmentTimelineTest, NegativeRepeat) {
    Rig onDemand;
    onDemand.init(timelineMpd("<S t=\"0\" d=\"2000\" r=\"-1\"/>"));
    EXPECT_EQ(onDemand.location->timeline.size(), 5u);
    Rig live;
    live.init(liveMpd("<S t=\"0\" d=\"2000\" r=\"-1\"/>", 28));  // 8 s since the availability start
    EXPECT_EQ(live.location->timeline.size(), 4u);
}

// A refresh keeps the cursor unless the window moved past it; live, a seek past the end sets no flag.
TEST(DashSegmentTimelineTest, LiveRefreshAndSeek) {
    Rig rig;
    rig.init(liveMpd("<S t=\"10000\" d=\"2000\" r=\"4\"/>"));
    rig.next();
    rig.next();
    EXPECT_EQ(rig.location->segmentTime, 14000u);
    rig.init(liveMpd("<S t=\"12000\" d=\"2000\" r=\"4\"/>"));
    EXPECT_EQ(rig.location->segmentTime, 14000u);
    rig.init(liveMpd("<S t=\"16000\" d=\"2000\" r=\"4\"/>"));
    EXPECT_EQ(rig.location->segmentTime, 16000u);

    velar_test::LogCapture log;
    EXPECT_EQ(rig.rep->seek(60000), 24000u);
    EXPECT_FALSE(rig.location->endReached);
    EXPECT_TRUE(log.contains("Seeked to segment 0(24000ms)"));
    EXPECT_FALSE(log.contains("Attempted to seek/find past end of segment list"));
}

TEST(DashSegmentTimelineTest, EmptyTimeline) {
    velar_test::LogCapture log;
    EXPECT_EQ(Rig().initFailure(timelineMpd("")), FAIL_INVALID_REP);
    EXPECT_TRUE(log.contains("Something is wrong. No segments."));

    Rig live;
    live.init(liveMpd(""));
    EXPECT_TRUE(log.contains("No live timeline segments. waiting for next refresh."));
    EXPECT_EQ(live.next(), "");
    EXPECT_EQ(live.rep->seek(3000), 3000u);
    EXPECT_FALSE(live.location->endReached);
    live.init(liveMpd("<S t=\"8000\" d=\"2000\"/>"));  // the refresh raises the cursor to its first item
    EXPECT_EQ(live.next(), "http://cdn/v/v1/t8000.m4s");
}

// The representation initialised last wrote the set's one timeline; the others search that one.
TEST(DashSegmentTimelineTest, SharedTimeline) {
    Rig first;
    first.init(timelineMpd(kItems));
    Rig second(first.location);
    second.init(timelineMpd("<S t=\"0\" d=\"2000\"/><S t=\"3000\" d=\"1000\" r=\"1\"/>"));  // as many items
    first.location->segmentTime = 2000;
    EXPECT_EQ(first.next(), "") << "searched a stale timeline";
    first.location->segmentTime = 4500;
    EXPECT_EQ(first.next(), "http://cdn/v/v1/t4000.m4s");
}

TEST(DashSegmentTimelineTest, RefusesTemplateWithoutTimeline) {
    EXPECT_EQ(Rig().initFailure(representationMpd("", "<SegmentTemplate media=\"$Number$\" duration=\"2\"/>"
                                                      "<Representation id=\"v1\"/>")),
              FAIL_INVALID_REP);
}

}  // namespace
}  // namespace dash
