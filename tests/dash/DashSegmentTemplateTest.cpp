#include "dash/DashSegmentTemplate.h"

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "RepresentationRig.h"

namespace dash {
namespace {

using namespace velar_test;
using Rig = RepresentationRig<DashSegmentTemplate>;

std::string onDemandMpd(const std::string& duration, const std::string& templateAttributes) {
    return representationMpd("type=\"static\" mediaPresentationDuration=\"" + duration + "\"", "<SegmentTemplate media="
                             "\"$RepresentationID$-$Number$\" initialization=\"$Bandwidth$.mp4\"" + templateAttributes +
                             "/><Representation id=\"v1\" bandwidth=\"500000\"/>");
}

// Available since 22:13:20, published at 22:`publish`; 30 s depth, 2 s update period and segments, from 1.
std::string liveMpd(const std::string& publish) {
    return representationMpd("type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:20Z\" publishTime=\"2023-11-14"
                             "T22:" + publish + "Z\" minimumUpdatePeriod=\"PT2S\" timeShiftBufferDepth=\"PT30S\"",
                             "<SegmentTemplate media=\"seg-$Number$\" duration=\"2\"/><Representation id=\"v1\"/>");
}

// totalSegments counts a partial last segment, the walk stops one short of it (PT10S). Numbers from 1 or startNumber.
TEST(DashSegmentTemplateTest, OnDemand) {
    Rig twelve(onDemandMpd("PT12S", " duration=\"4\" timescale=\"1\"")), ten(onDemandMpd("PT10S", " duration=\"4\""));
    EXPECT_EQ(twelve.figures(), (Figures{3, 0, 8000, 12000, 4000}));
    EXPECT_EQ(twelve.walk(4), (Strings{"v1-1 B", "v1-2", "v1-3 E", "null E"}));
    EXPECT_EQ(ten.figures(), (Figures{3, 0, 4000, 10000, 4000}));
    EXPECT_EQ(ten.walk(3), (Strings{"v1-1 B", "v1-2 E", "null E"}));
    Rig rig(onDemandMpd("PT12S", " duration=\"4\" startNumber=\"7\""));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/500000.mp4");
    EXPECT_EQ(rig.seekTo(99999), "8000+4000 out E");
    EXPECT_EQ(rig.walk(3, false), (Strings{"v1-9 E", "v1-8", "v1-7 B"}));
    EXPECT_EQ(thrown([] { Rig rig(onDemandMpd("PT9S", "")); }), "FAIL_INVALID_REP Segment template without duration");
}

// Published 100 s after the availability start: first (100 - 30 + 2) / 2 = 36, last 100 / 2 - 1 = 49, a
// cursor of 0 starts at 36. At the edge the list waits for a refresh, which raises the cursor if behind.
TEST(DashSegmentTemplateTest, Live) {
    LogCapture log;
    Rig rig(liveMpd("15:00"));
    EXPECT_EQ(rig.figures(), (Figures{15, 72000, 98000, 30000, 2000}));
    EXPECT_EQ(rig.walk(1), Strings{"seg-37 B"});
    EXPECT_EQ(rig.seekTo(1000), "72000+2000 out B");
    EXPECT_EQ(rig.seekTo(200000), "98000+2000 out");
    EXPECT_EQ(rig.walk(2), (Strings{"seg-50", "null"}));
    EXPECT_TRUE(log.contains("Slow network, all segments consumed"));
    rig.init(liveMpd("15:04"));  // first 38: the cursor (50) stays
    EXPECT_EQ(rig.walk(1), Strings{"seg-51"});
    rig.location->segmentNumber = 37;  // behind the first (38): nothing
    EXPECT_EQ(rig.walk(1), Strings{"null"});
    rig.init(liveMpd("15:20"));  // first 46: the cursor is raised
    EXPECT_EQ(rig.walk(1), Strings{"seg-47 B"});
    EXPECT_EQ(thrown([] { Rig rig(liveMpd("13:19")); }),
              "FAIL_INVALID_MPD Publish time before availability start time");
}

}  // namespace
}  // namespace dash
