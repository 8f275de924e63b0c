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

// Captures what the code under test writes on std::cout.
class CoutCapture {
public:
    CoutCapture() : mOld(std::cout.rdbuf(mText.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(mOld); }
    std::string text() const { return mText.str(); }

private:
    std::ostringstream mText;
    std::streambuf* mOld;
};

std::string segmentBaseMpd(const std::string& indexRange, const std::string& type = "static") {
    return representationMpd("type=\"" + type + "\" mediaPresentationDuration=\"PT60S\"",
                             "<Representation id=\"v1\" bandwidth=\"800000\" height=\"720\"><BaseURL>movie.mp4</BaseURL>"
                             "<SegmentBase" + indexRange + "><Initialization range=\"0-833\"/></SegmentBase>"
                             "</Representation>");
}

struct RangeCase {
    const char* indexRange;  // attribute text, empty for none
    const char* range;       // range of the media request
};

class DashSegmentBaseTest : public ::testing::TestWithParam<RangeCase> {};

// The media goes out once, from the index to the end of the resource; the word "Range" and the
// range go to standard output without a separator, and the list ends with that one request.
TEST_P(DashSegmentBaseTest, OneOpenEndedRequest) {
    BaseRig rig;
    const std::string attribute = *GetParam().indexRange ? std::string(" indexRange=\"") + GetParam().indexRange + "\"" : "";
    rig.init(segmentBaseMpd(attribute));
    EXPECT_EQ(rig.rep->getData()->totalSegments, 1u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 1u);

    CoutCapture out;
    std::shared_ptr<mpd::ISegment> segment = rig.rep->getNextSegment(false);
    ASSERT_NE(segment, nullptr);
    EXPECT_EQ(out.text(), std::string("Range") + GetParam().range + "\n");
    EXPECT_EQ(segment->GetUrl(), "http://cdn/v/movie.mp4");
    EXPECT_EQ(segment->GetRange(), GetParam().range);
    EXPECT_EQ(segment->GetType(), mpd::TransactionType::MediaSegment);
    EXPECT_TRUE(rig.location->endReached);

    std::shared_ptr<mpd::ISegment> init = rig.rep->getInitSegment();
    ASSERT_NE(init, nullptr);
    EXPECT_EQ(init->GetUrl(), "http://cdn/v/movie.mp4");
    EXPECT_EQ(init->GetRange(), "0-833");
}

INSTANTIATE_TEST_SUITE_P(IndexRanges, DashSegmentBaseTest,
                         ::testing::Values(RangeCase{"834-1233", "834-"}, RangeCase{"", ""}, RangeCase{"834", ""}));

TEST(DashSegmentBaseRefusalTest, LiveAndSeekAreNotSupported) {
    BaseRig live;
    EXPECT_EQ(live.initFailure(segmentBaseMpd(" indexRange=\"834-1233\"", "dynamic")), FEATURE_NOT_SUPPORTED);

    BaseRig rig;
    rig.init(segmentBaseMpd(" indexRange=\"834-1233\""));
    try {
        rig.rep->seek(5000);
        FAIL() << "seek was accepted";
    } catch (const DashException& e) {
        EXPECT_EQ(e.getDownloadStatus(), FEATURE_NOT_SUPPORTED);
    }
    uint64_t position = 5000;
    uint64_t duration = 0;
    EXPECT_TRUE(rig.rep->findSegmentPosition(position, duration));
    EXPECT_EQ(position, 0u);
    EXPECT_EQ(duration, 1u);
}

// --- SegmentList ---

std::string segmentListMpd(size_t urls, const std::string& listAttributes, const std::string& setAttributes = "",
                           const std::string& representationChildren = "") {
    std::string list = "<SegmentList" + listAttributes + "><Initialization sourceURL=\"init.mp4\"/>";
    for (size_t i = 0; i < urls; ++i) list += "<SegmentURL media=\"seg" + std::to_string(i) + ".m4s\"/>";
    list += "</SegmentList>";
    return representationMpd("type=\"static\" mediaPresentationDuration=\"PT40S\"",
                             "<Representation id=\"v1\" bandwidth=\"800000\" height=\"540\">" + representationChildren +
                                 list + "</Representation>",
                             "mimeType=\"video/mp4\"" + setAttributes);
}

struct SeekCase {
    uint64_t requestMs;
    uint64_t landsMs;
    uint64_t segmentNumber;
    bool inRange;
    bool endReached;
    bool beginReached;
};

class DashSegmentListSeekTest : public ::testing::TestWithParam<SeekCase> {};

// Ten 4-second segments: starts 0 to 36000 ms; seeks clamp to the list and land on segment starts.
TEST_P(DashSegmentListSeekTest, LandsOnSegmentStart) {
    const SeekCase& c = GetParam();
    ListRig rig;
    rig.init(segmentListMpd(10, " duration=\"4\" timescale=\"1\""));
    EXPECT_EQ(rig.rep->getData()->segmentDurationMs, 4000u);
    EXPECT_EQ(rig.rep->getData()->totalDurationMs, 40000u);
    EXPECT_EQ(rig.rep->getData()->lastSegmentTimeMs, 36000u);

    uint64_t position = c.requestMs;
    uint64_t duration = 0;
    EXPECT_EQ(rig.rep->findSegmentPosition(position, duration), c.inRange);
    EXPECT_EQ(position, c.landsMs);
    EXPECT_EQ(duration, 4000u);
    EXPECT_EQ(rig.location->segmentNumber, 0u) << "findSegmentPosition moved the cursor";
    EXPECT_FALSE(rig.location->endReached || rig.location->beginReached);

    velar_test::LogCapture log;
    EXPECT_EQ(rig.rep->seek(c.requestMs), c.landsMs);
    EXPECT_EQ(rig.location->segmentNumber, c.segmentNumber);
    EXPECT_EQ(rig.location->endReached, c.endReached);
    EXPECT_EQ(rig.location->beginReached, c.beginReached);
    EXPECT_EQ(log.contains("Attempted to seek/find past end of segment list"), c.endReached);
}

INSTANTIATE_TEST_SUITE_P(TenSegments, DashSegmentListSeekTest,
                         ::testing::Values(SeekCase{37999, 36000, 9, true, false, false},
                                           SeekCase{36000, 36000, 9, true, false, false},
                                           SeekCase{50000, 36000, 9, false, true, false},
                                           SeekCase{4001, 4000, 1, true, false, false},
                                           SeekCase{0, 0, 0, true, false, false}));

// Walking the list hands out the SegmentURLs against the base URLs and flags either end.
TEST(DashSegmentListTest, WalksForwardAndBackToBothEnds) {
    ListRig rig;
    rig.init(segmentListMpd(3, " duration=\"2\" timescale=\"1\""));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/init.mp4");

    EXPECT_EQ(rig.next(), "http://cdn/v/seg0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    EXPECT_EQ(rig.next(), "http://cdn/v/seg1.m4s");
    EXPECT_FALSE(rig.location->beginReached || rig.location->endReached);
    EXPECT_EQ(rig.location->segmentTime, 4000u);
    EXPECT_EQ(rig.next(), "http://cdn/v/seg2.m4s");
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_EQ(rig.rep->getData()->currentSegmentTimeMs, 4000u);

    rig.location->segmentNumber = 1;
    EXPECT_EQ(rig.next(false), "http://cdn/v/seg1.m4s");
    EXPECT_EQ(rig.next(false), "http://cdn/v/seg0.m4s");
    EXPECT_TRUE(rig.location->beginReached);
    // Stepping back from the first entry leaves a number outside the list.
    EXPECT_THROW(rig.next(false), std::out_of_range);
    rig.location->segmentNumber = (1ull << 32) + 1;  // not the entry of its low 32 bits
    EXPECT_THROW(rig.next(), std::out_of_range);
}

// One segment is the first and the last: both flags at once. A list without duration advances by
// 1000 timescale units; initialising a list puts the shared cursor back to the start.
TEST(DashSegmentListTest, SingleSegmentAndDefaultDuration) {
    ListRig rig;
    rig.location->segmentNumber = 7;
    rig.init(segmentListMpd(1, " timescale=\"500\""));
    EXPECT_EQ(rig.location->segmentNumber, 0u);
    EXPECT_EQ(rig.rep->getData()->segmentDurationMs, 2000u);
    rig.next();
    EXPECT_TRUE(rig.location->endReached);
    EXPECT_TRUE(rig.location->beginReached);
}

TEST(DashSegmentListTest, Refusals) {
    ListRig live;
    EXPECT_EQ(live.initFailure(representationMpd("type=\"dynamic\"", "<Representation id=\"a\"><SegmentList duration=\"2\">"
                                                                     "<SegmentURL media=\"a.m4s\"/></SegmentList></Representation>")),
              FEATURE_NOT_SUPPORTED);
    ListRig none;
    EXPECT_EQ(none.initFailure(segmentBaseMpd(" indexRange=\"0-10\"")), FAIL_INVALID_REP);
    ListRig empty;
    std::string what;
    EXPECT_EQ(empty.initFailure(segmentListMpd(0, " duration=\"2\""), &what), FAIL_INVALID_REP);
    EXPECT_NE(what.find("SegmentList without SegmentURL"), std::string::npos) << what;
}

// --- what every scheme takes from the base class ---

struct BaseCase {
    const char* setAttributes;
    const char* representationChildren;
    const char* language;
    std::vector<std::string> baseUrls;  // texts of the effective list
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
    EXPECT_FALSE(data->hasInitBuffer);
    rig.rep->setInitBuffer({1, 2, 3});
    rig.rep->setInitBuffer({4});
    EXPECT_TRUE(data->hasInitBuffer);
    EXPECT_EQ(data->initBuffer, std::vector<uint8_t>{4});
}

INSTANTIATE_TEST_SUITE_P(
    Cases, AbstractDashRepresentationTest,
    ::testing::Values(BaseCase{"", "", "eng", {"http://cdn/v/"}}, BaseCase{" lang=\"\"", "", "eng", {"http://cdn/v/"}},
                      BaseCase{" lang=\"fra\"", "<BaseURL>hd/</BaseURL>", "fra", {"http://cdn/v/", "hd/"}},
                      BaseCase{"", "<BaseURL>https://other/</BaseURL><BaseURL>x/</BaseURL>", "eng",
                               {"https://other/", "x/"}}));

}  // namespace
}  // namespace dash
