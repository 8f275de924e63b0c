#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "LogCapture.h"
#include "RepresentationRig.h"
#include "dash/DashSegmentBase.h"
#include "dash/DashSegmentList.h"

namespace dash {
namespace {

using velar_test::representationMpd;
using BaseRig = velar_test::RepresentationRig<DashSegmentBase>;
using ListRig = velar_test::RepresentationRig<DashSegmentList>;

std::string segmentBaseMpd(const std::string& indexRange, const std::string& type = "static") {
    return representationMpd("type=\"" + type + "\"",
                             "<Representation id=\"v1\"><BaseURL>movie.mp4</BaseURL><SegmentBase" + indexRange +
                                 "><Initialization range=\"0-833\"/></SegmentBase></Representation>");
}

class DashSegmentBaseTest : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

// One media request from the index to the end of the resource ("834-1233" gives "834-"); the word
// "Range" and the range go to standard output without a separator; the list ends with it.
TEST_P(DashSegmentBaseTest, OneOpenEndedRequest) {
    BaseRig rig;
    rig.init(segmentBaseMpd(GetParam().first));
    EXPECT_EQ(rig.rep->getData()->totalSegments, 1u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 1u);

    std::ostringstream out;
    std::streambuf* saved = std::cout.rdbuf(out.rdbuf());
    std::shared_ptr<mpd::ISegment> segment = rig.rep->getNextSegment(false);
    std::cout.rdbuf(saved);
    EXPECT_EQ(out.str(), std::string("Range") + GetParam().second + "\n");
    ASSERT_NE(segment, nullptr);
    EXPECT_EQ(segment->GetUrl(), "http://cdn/v/movie.mp4");
    EXPECT_EQ(segment->GetRange(), GetParam().second);
    EXPECT_EQ(segment->GetType(), mpd::TransactionType::MediaSegment);
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_EQ(rig.rep->getInitSegment()->GetRange(), "0-833");

    uint64_t position = 5000;
    uint64_t duration = 0;
    EXPECT_TRUE(rig.rep->findSegmentPosition(position, duration));
    EXPECT_EQ(position, 0u);
    EXPECT_EQ(duration, 1u);
    EXPECT_THROW(rig.rep->seek(5000), DashException);
}

INSTANTIATE_TEST_SUITE_P(IndexRanges, DashSegmentBaseTest,
                         ::testing::Values(std::make_pair(" indexRange=\"834-1233\"", "834-"), std::make_pair("", ""),
                                           std::make_pair(" indexRange=\"834\"", "")));

// --- SegmentList ---

std::string segmentListMpd(size_t urls, const std::string& listAttributes, const std::string& setAttributes = "",
                           const std::string& representationChildren = "") {
    std::string list = "<SegmentList" + listAttributes + "><Initialization sourceURL=\"init.mp4\"/>";
    for (size_t i = 0; i < urls; ++i) list += "<SegmentURL media=\"seg" + std::to_string(i) + ".m4s\"/>";
    return representationMpd("type=\"static\"",
                             "<Representation id=\"v1\" bandwidth=\"800000\" height=\"540\">" + representationChildren +
                                 list + "</SegmentList></Representation>",
                             setAttributes);
}

struct SeekCase {
    uint64_t requestMs;
    uint64_t landsMs;
    SeekPosition where;
};

class DashSegmentListSeekTest : public ::testing::TestWithParam<SeekCase> {};

// Ten 4-second segments: a seek lands on the start of the segment holding the time, clamped to the
// list; only past the end of an on-demand list is the end flagged.
TEST_P(DashSegmentListSeekTest, LandsOnSegmentStart) {
    const SeekCase& c = GetParam();
    ListRig rig;
    rig.init(segmentListMpd(10, " duration=\"4\" timescale=\"1\""));
    EXPECT_EQ(rig.rep->getData()->segmentDurationMs, 4000u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 40000u);
    EXPECT_EQ(rig.rep->getData()->lastSegmentTimeMs, 36000u);

    uint64_t position = c.requestMs;
    uint64_t duration = 0;
    EXPECT_EQ(rig.rep->findSegmentPosition(position, duration), c.where == InRange);
    EXPECT_EQ(position, c.landsMs);
    EXPECT_EQ(rig.location->segmentNumber, 0u) << "findSegmentPosition moved the cursor";
    EXPECT_FALSE(rig.location->endReached);

    velar_test::LogCapture log;
    EXPECT_EQ(rig.rep->seek(c.requestMs), c.landsMs);
    EXPECT_EQ(rig.location->segmentNumber, c.landsMs / 4000);
    EXPECT_EQ(rig.location->endReached, c.where == PastEnd);
    EXPECT_EQ(log.contains("Attempted to seek/find past end of segment list"), c.where == PastEnd);
}

INSTANTIATE_TEST_SUITE_P(TenSegments, DashSegmentListSeekTest,
                         ::testing::Values(SeekCase{37999, 36000, InRange}, SeekCase{50000, 36000, PastEnd},
                                           SeekCase{40000, 36000, PastEnd}, SeekCase{4001, 4000, InRange}));

// The SegmentURLs resolved against the base URLs; the first flags the beginning, the last the end.
TEST(DashSegmentListTest, WalksForwardAndBackToBothEnds) {
    ListRig rig;
    rig.init(segmentListMpd(3, " duration=\"2\""));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/init.mp4");
    EXPECT_EQ(rig.next(), "http://cdn/v/seg0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_EQ(rig.next(), "http://cdn/v/seg1.m4s");
    EXPECT_FALSE(rig.location->beginReached || rig.location->endReached);
    EXPECT_EQ(rig.location->segmentTime, 4000u);
    EXPECT_EQ(rig.next(), "http://cdn/v/seg2.m4s");
    EXPECT_TRUE(rig.location->endReached);
}

TEST(DashSegmentListTest, BackwardsOffTheList) {
    ListRig rig;
    rig.init(segmentListMpd(3, " duration=\"2\""));
    rig.location->segmentNumber = 1;
    EXPECT_EQ(rig.next(false), "http://cdn/v/seg1.m4s");
    EXPECT_EQ(rig.next(false), "http://cdn/v/seg0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_THROW(rig.next(false), std::out_of_range);  // stepping back from the first wrapped the number
    rig.location->segmentNumber = (1ull << 32) + 1;    // not the entry of its low 32 bits
    EXPECT_THROW(rig.next(), std::out_of_range);
}

// One segment is first and last: both flags at once. Without duration a segment is 1000 timescale
// units. Initialising puts the shared cursor back to the start.
TEST(DashSegmentListTest, SingleSegmentAndDefaultDuration) {
    ListRig rig;
    rig.location->segmentNumber = 7;
    rig.init(segmentListMpd(1, " timescale=\"500\""));
    EXPECT_EQ(rig.location->segmentNumber, 0u);
    EXPECT_EQ(rig.rep->getData()->segmentDurationMs, 2000u);
    rig.next();
    EXPECT_TRUE(rig.location->endReached && rig.location->beginReached);
}

TEST(DashSegmentListTest, Refusals) {
    std::string what;
    EXPECT_EQ(ListRig().initFailure(segmentBaseMpd(" indexRange=\"0-10\"", "dynamic")), FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(BaseRig().initFailure(segmentBaseMpd(" indexRange=\"0-10\"", "dynamic")), FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(ListRig().initFailure(segmentBaseMpd(" indexRange=\"0-10\"")), FAIL_INVALID_REP);
    EXPECT_EQ(ListRig().initFailure(segmentListMpd(0, " duration=\"2\""), &what), FAIL_INVALID_REP);
    EXPECT_NE(what.find("SegmentList without SegmentURL"), std::string::npos) << what;
}

// --- what every scheme takes from the base class ---

struct BaseCase {
    const char* setAttributes;
    const char* representationChildren;
    const char* language;
    std::vector<std::string> baseUrls;
};

class AbstractDashRepresentationTest : public ::testing::TestWithParam<BaseCase> {};

TEST_P(AbstractDashRepresentationTest, IdentityLanguageAndBaseUrls) {
    ListRig rig;
    rig.init(segmentListMpd(2, " duration=\"2\"", GetParam().setAttributes, GetParam().representationChildren));
    std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
    EXPECT_EQ(data->id, "v1");
    EXPECT_EQ(data->bandwidth, 800000u);
    EXPECT_EQ(data->resolution, 540u);
    EXPECT_EQ(data->language, GetParam().language);
    std::vector<std::string> texts;
    for (mpd::IBaseUrl* url : data->baseUrls) texts.push_back(url->GetUrl());
    EXPECT_EQ(texts, GetParam().baseUrls);
    rig.rep->setInitBuffer({1, 2, 3});
    rig.rep->setInitBuffer({4});
    EXPECT_TRUE(data->hasInitBuffer);
    EXPECT_EQ(data->initBuffer, std::vector<uint8_t>{4});
}

INSTANTIATE_TEST_SUITE_P(
    Cases, AbstractDashRepresentationTest,
    ::testing::Values(BaseCase{"", "", "eng", {"http://cdn/v/"}}, BaseCase{" lang=\"\"", "", "eng", {"http://cdn/v/"}},
                      BaseCase{" lang=\"fra\"", "<BaseURL>hd/</BaseURL>", "fra", {"http://cdn/v/", "hd/"}},
                      BaseCase{"", "<BaseURL>https://o/</BaseURL><BaseURL>x/</BaseURL>", "eng", {"https://o/", "x/"}}));

}  // namespace
}  // namespace dash
