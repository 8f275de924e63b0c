#include "dash/DashSegmentTimeline.h"

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "RepresentationRig.h"

namespace dash {
namespace {

using namespace velar_test;
using Rig = RepresentationRig<DashSegmentTimeline>;

// Timescale 1000 (scaled times are ms), S elements `s`; live: published 10 s after the availability start.
std::string timelineMpd(const std::string& s, bool live = false) {
    return representationMpd(live ? "type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" publishTime=\"20"
                                    "23-11-14T22:13:30Z\"" : "mediaPresentationDuration=\"PT10S\"",
                             "<SegmentTemplate timescale=\"1000\" media=\"$RepresentationID$-$Time$\" initialization="
                             "\"$RepresentationID$.mp4\"><SegmentTimeline>" + s + "</SegmentTimeline></SegmentTemplate>"
                             "<Representation id=\"v1\"/>");
}

// Items (0, 2000), (2000, 2000), (4000, 1000); backwards the cursor goes to the last instant before the
// item. Overlaps are searched front to back: the S without t starts at 2000, so 2000-4000 holds 3500.
TEST(DashSegmentTimelineTest, OnDemand) {
    Rig rig(timelineMpd("<S t=\"0\" d=\"2000\" r=\"1\"/><S t=\"4000\" d=\"1000\"/>"));
    EXPECT_EQ(rig.figures(), (Figures{3, 0, 4000, 5000, 0}));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/v1.mp4");
    EXPECT_EQ(rig.walk(4), (Strings{"v1-0 B", "v1-2000", "v1-4000 E", "null E"}));
    rig.location->segmentTime = 2000;
    EXPECT_EQ(rig.walk(1, false), Strings{"v1-2000"});
    EXPECT_EQ(rig.location->segmentTime, 1999u);
    EXPECT_EQ(rig.walk(1, false), Strings{"v1-0 B"});
    EXPECT_EQ(rig.seekTo(4500), "4000+1000");
    rig.location->segmentNumber = 5;  // a seek by time keeps the number, which the log shows
    LogCapture log;
    EXPECT_EQ(rig.seekTo(5000), "4000+1000 out E");
    EXPECT_TRUE(log.contains("Seeked to segment 5(4000ms)"));
    EXPECT_EQ(Rig(timelineMpd("<S t=\"1000\" d=\"2000\"/>")).seekTo(500), "1000+2000 out B");
    EXPECT_EQ(Rig(timelineMpd("<S t=\"0\" d=\"2000\" r=\"1\"/><S d=\"1000\" r=\"2\"/>")).seekTo(3500), "2000+2000");
    Rig gap(timelineMpd("<S t=\"0\" d=\"2000\"/><S t=\"3000\" d=\"2000\"/>"));
    EXPECT_EQ(thrown([&] { gap.rep->seek(2500); }), "FAIL_UNKNOWN_ERROR Unknown reason");
    gap.location->segmentTime = 2000;
    EXPECT_EQ(gap.walk(1), Strings{"null B"});
    EXPECT_EQ(thrown([] { Rig rig(timelineMpd("")); }), "FAIL_INVALID_REP Unknown reason");
}

// A refresh raises the cursor only when it is behind the first item; an empty timeline waits for items.
TEST(DashSegmentTimelineTest, Live) {
    Rig rig(timelineMpd("<S t=\"10000\" d=\"2000\" r=\"4\"/>", true)), empty(timelineMpd("", true));
    EXPECT_EQ(rig.walk(2), (Strings{"v1-10000 B", "v1-12000"}));
    rig.init(timelineMpd("<S t=\"12000\" d=\"2000\" r=\"4\"/>", true));
    EXPECT_EQ(rig.location->segmentTime, 14000u);
    rig.init(timelineMpd("<S t=\"16000\" d=\"2000\" r=\"4\"/>", true));
    EXPECT_EQ(rig.location->segmentTime, 16000u);
    LogCapture log;
    EXPECT_EQ(rig.seekTo(60000), "24000+2000 out");
    EXPECT_TRUE(log.contains("Seeked to segment 0(24000ms)"));
    EXPECT_EQ(empty.walk(1), Strings{"null B"});
    empty.init(timelineMpd("<S t=\"8000\" d=\"2000\"/>", true));
    EXPECT_EQ(empty.walk(1), Strings{"v1-8000 B"});
}

}  // namespace
}  // namespace dash
