#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "RepresentationRig.h"
#include "dash/DashSegmentBase.h"
#include "dash/DashSegmentList.h"

namespace dash {
namespace {

using namespace velar_test;
using BaseRig = RepresentationRig<DashSegmentBase>;
using ListRig = RepresentationRig<DashSegmentList>;

std::string baseMpd(const std::string& type) {
    return representationMpd(type, "<Representation id=\"v1\"><BaseURL>movie.mp4</BaseURL><SegmentBase indexRange="
                                   "\"834-1233\"><Initialization range=\"0-833\"/></SegmentBase></Representation>");
}

// SegmentURLs seg0.m4s, seg1.m4s, ... of a Representation whose BaseURLs are `children`.
std::string listMpd(size_t urls, const std::string& list, const std::string& type = "type=\"static\"",
                    const std::string& setAttributes = "", const std::string& children = "") {
    std::string text = "<Representation id=\"v1\">" + children + "<SegmentList" + list + "><Initialization sourceURL"
                       "=\"init.mp4\"/>";
    for (size_t i = 0; i < urls; ++i) text += "<SegmentURL media=\"seg" + std::to_string(i) + ".m4s\"/>";
    return representationMpd(type, text + "</SegmentList></Representation>", setAttributes);
}

// One media request from the index to the end of the resource, announced on standard output; no seek.
TEST(DashSegmentBaseTest, OneOpenEndedRequest) {
    BaseRig rig(baseMpd("type=\"static\""));
    EXPECT_EQ(rig.rep->getInitSegment()->GetRange(), "0-833");
    std::ostringstream out;
    std::streambuf* saved = std::cout.rdbuf(out.rdbuf());
    std::shared_ptr<mpd::ISegment> segment = rig.rep->getNextSegment(true);
    std::cout.rdbuf(saved);
    EXPECT_EQ(out.str(), "Range834-\n");
    ASSERT_NE(segment, nullptr);
    EXPECT_EQ(rig.flagged(segment->GetUrl() + " " + segment->GetRange()), "http://cdn/v/movie.mp4 834- E");
    uint64_t position = 5000, duration = 0;
    EXPECT_TRUE(rig.rep->findSegmentPosition(position, duration) && position == 0 && duration == 1);
    EXPECT_EQ(thrown([&] { rig.rep->seek(5000); }), "FEATURE_NOT_SUPPORTED Unknown reason");
    EXPECT_EQ(thrown([] { BaseRig rig(baseMpd("type=\"dynamic\"")); }), "FEATURE_NOT_SUPPORTED Unknown reason");
}

// Ten 4-second segments: a seek lands on the start of the segment holding the time, past the end on the
// last. Without duration a segment is 1000 timescale units.
TEST(DashSegmentListTest, SeeksWalksAndDefaultDuration) {
    ListRig rig(listMpd(10, " duration=\"4\" timescale=\"1\"")), single(listMpd(1, " timescale=\"500\""));
    EXPECT_EQ(rig.figures(), (Figures{10, 0, 36000, 40000, 4000}));
    EXPECT_EQ(rig.rep->getInitSegment()->GetUrl(), "http://cdn/v/init.mp4");
    EXPECT_EQ(rig.walk(2), (Strings{"seg0.m4s B", "seg1.m4s"}));
    EXPECT_EQ(rig.seekTo(37999), "36000+4000");
    EXPECT_EQ(rig.walk(1), Strings{"seg9.m4s E"});
    EXPECT_EQ(rig.seekTo(4001), "4000+4000");
    EXPECT_EQ(rig.walk(2, false), (Strings{"seg1.m4s", "seg0.m4s B"}));
    EXPECT_EQ(rig.seekTo(50000), "36000+4000 out E");
    EXPECT_EQ(single.figures(), (Figures{1, 0, 0, 2000, 2000}));
    EXPECT_EQ(thrown([] { ListRig rig(listMpd(2, "", "type=\"dynamic\"")); }), "FEATURE_NOT_SUPPORTED Unknown reason");
}

// The language from the AdaptationSet ("eng" when absent or empty); own BaseURLs added to inherited ones.
TEST(AbstractDashRepresentationTest, LanguageAndBaseUrls) {
    auto languageAndUrls = [](const std::string& setAttributes, const std::string& children) {
        ListRig rig(listMpd(1, "", "type=\"static\"", setAttributes, children));
        Strings got{rig.rep->getData()->language};
        for (mpd::IBaseUrl* url : rig.rep->getData()->baseUrls) got.push_back(url->GetUrl());
        return got;
    };
    EXPECT_EQ(languageAndUrls("", ""), (Strings{"eng", "http://cdn/v/"}));
    EXPECT_EQ(languageAndUrls(" lang=\"\"", ""), (Strings{"eng", "http://cdn/v/"}));
    EXPECT_EQ(languageAndUrls(" lang=\"fra\"", "<BaseURL>hd/</BaseURL>"), (Strings{"fra", "http://cdn/v/", "hd/"}));
}

}  // namespace
}  // namespace dash
