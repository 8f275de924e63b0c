#include "manifest/mpd/MPDParser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

#include "LogCapture.h"
#include "manifest/DASHManager.h"

using namespace dash::mpd;

namespace {

std::shared_ptr<MPD> parse(const std::string& text) {
    return dash::DASHManager::OpenFromMemory(text, "http://cdn.example/bad/manifest.mpd");
}

struct RejectCase {
    const char* name;
    std::string text;
    const char* log;  // fragment of the log line
};

class RejectedDocuments : public ::testing::TestWithParam<RejectCase> {};

TEST_P(RejectedDocuments, GiveNullAndALogLine) {
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, parse(GetParam().text));
    EXPECT_TRUE(capture.containsFragment(GetParam().log))
        << (capture.messages().empty() ? std::string("(no log)") : capture.messages().back());
    for (const auto& line : capture.lines()) EXPECT_EQ("manifest/mpd/MPDParser", line.source);
}

std::string nested(size_t depth) {
    std::string s = "<MPD><Period><AdaptationSet><ContentProtection>";
    for (size_t i = 0; i < depth; ++i) s += "<x>";
    for (size_t i = 0; i < depth; ++i) s += "</x>";
    return s + "</ContentProtection></AdaptationSet></Period></MPD>";
}

void PrintTo(const RejectCase& c, std::ostream* out) { *out << c.name; }  // for gtest and ctest

INSTANTIATE_TEST_SUITE_P(
    Table, RejectedDocuments,
    ::testing::Values(RejectCase{"Empty", "", "not well-formed"}, RejectCase{"Whitespace", "  \n ", "not well-formed"},
                      RejectCase{"Unclosed", "<MPD><Period></MPD>", "not well-formed"},
                      RejectCase{"Truncated", "<MPD type=\"static\"><Period", "not well-formed"},
                      RejectCase{"Binary", std::string("\x00\x01\x02\xff\xfe<MPD/>", 11), "not well-formed"},
                      RejectCase{"TwoRoots", "<MPD/><MPD/>", "not well-formed"},
                      RejectCase{"UnquotedAttribute", "<MPD type=static/>", "not well-formed"},
                      RejectCase{"HtmlPage", "<html><body>404 Not Found</body></html>", "found <html>"},
                      RejectCase{"PrefixedOtherRoot", "<x:Manifest xmlns:x=\"urn:x\"/>", "found <x:Manifest>"},
                      RejectCase{"SmoothStreaming", "<SmoothStreamingMedia MajorVersion=\"2\"/>", "no MPD root"},
                      RejectCase{"TooDeep", nested(100000), "not well-formed"}),
    [](const ::testing::TestParamInfo<RejectCase>& info) { return std::string(info.param.name); });

TEST(MPDParserBadInputTest, FiftyMegabyteDocumentIsRefusedBeforeParsing) {
    std::string text = "<MPD><Period>";
    const std::string item = "<AdaptationSet mimeType=\"video/mp4\"><Representation id=\"r\" bandwidth=\"1\"/></AdaptationSet>";
    text.reserve(50u * 1024 * 1024 + item.size());
    while (text.size() < 50u * 1024 * 1024) text += item;
    text += "</Period></MPD>";
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, parse(text));
    EXPECT_TRUE(capture.containsFragment("more than the limit of 16777216 bytes"));
}

TEST(MPDParserBadInputTest, ManyElementsJustBelowTheLimitStillParse) {
    // 100000 S entries (about 3 MB): bounded time and memory, all kept.
    std::string text = "<MPD><Period><AdaptationSet><SegmentTemplate media=\"$Time$\"><SegmentTimeline>";
    for (int i = 0; i < 100000; ++i) text += "<S t=\"" + std::to_string(i * 2) + "\" d=\"2\"/>";
    text += "</SegmentTimeline></SegmentTemplate></AdaptationSet></Period></MPD>";
    auto mpd = parse(text);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ(100000u, mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetSegmentTemplate()
                           ->GetSegmentTimeline()->GetTimelines().size());
}

TEST(MPDParserBadInputTest, EntityExpansionIsBounded) {
    // "Billion laughs": libxml2 refuses the amplification or leaves the entities unexpanded;
    // either way the call returns promptly.
    std::string text = "<?xml version=\"1.0\"?><!DOCTYPE MPD [<!ENTITY a \"aaaaaaaaaa\">";
    const char* names = "abcdefghij";
    for (int i = 1; i < 10; ++i) {
        text += std::string("<!ENTITY ") + names[i] + " \"";
        for (int k = 0; k < 10; ++k) text += std::string("&") + names[i - 1] + ";";
        text += "\">";
    }
    text += "]><MPD profiles=\"&j;\"><Period id=\"&j;\"/></MPD>";
    auto mpd = parse(text);
    if (mpd) {
        EXPECT_LT(mpd->GetProfiles().size(), 100u * 1000 * 1000);
    }
}

// Absurd and missing values: the model keeps the element and reads what it can.
TEST(MPDParserBadInputTest, AbsurdNumbersSaturateOrFallBackToDefaults) {
    velar_test::LogCapture capture;
    auto mpd = parse(R"(<MPD type="static"><Period><AdaptationSet mimeType="video/mp4" width="-3" height="x">
        <SegmentTemplate timescale="0" duration="-4000" startNumber="4294967296"
                         presentationTimeOffset="18446744073709551616" media="$Number$"/>
        <Representation id="huge" bandwidth="99999999999999999999" height="-720"/><Representation bandwidth="-5"/>
        <Representation/>
        <Representation id="t"><SegmentTemplate><SegmentTimeline>
          <S t="-1" d="10"/><S d="0"/><S/><S d="abc"/>
          <S t="18446744073709551616" d="18446744073709551616" r="99999999999"/><S d="5" r="-7"/><S d="5" r="-1"/>
        </SegmentTimeline></SegmentTemplate></Representation>
      </AdaptationSet></Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    const IAdaptationSet* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
    EXPECT_EQ(0u, set->GetWidth() + set->GetHeight());
    const ISegmentTemplate* tmpl = set->GetSegmentTemplate();
    EXPECT_EQ(1u, tmpl->GetTimescale());  // 0 would divide by zero: refused
    EXPECT_EQ(0u, tmpl->GetDuration());
    EXPECT_EQ(UINT32_MAX, tmpl->GetStartNumber());
    EXPECT_EQ(UINT64_MAX, tmpl->GetPresentationTimeOffset());
    const auto& reps = set->GetRepresentation();
    ASSERT_EQ(4u, reps.size());  // none dropped
    EXPECT_EQ(UINT32_MAX, reps[0]->GetBandwidth());
    EXPECT_EQ(0u, reps[0]->GetHeight() + reps[1]->GetBandwidth());
    EXPECT_EQ("", reps[1]->GetId() + reps[2]->GetId());
    // The three S without a usable d are dropped; t="-1" and r="-7" are ignored.
    const auto& s = reps[3]->GetSegmentTemplate()->GetSegmentTimeline()->GetTimelines();
    ASSERT_EQ(4u, s.size());
    EXPECT_FALSE(s[0]->HasStartTime());
    EXPECT_EQ(10u, s[0]->GetDuration());
    EXPECT_EQ(UINT64_MAX, s[1]->GetStartTime());
    EXPECT_EQ(UINT64_MAX, s[1]->GetDuration());
    EXPECT_EQ(INT32_MAX, s[1]->GetRepeatCount());
    EXPECT_EQ(0, s[2]->GetRepeatCount());
    EXPECT_EQ(-1, s[3]->GetRepeatCount());
    // Lookups over saturated values stay defined.
    EXPECT_NE(nullptr, std::unique_ptr<ISegment>(
                           reps[3]->GetSegmentTemplate()->GetMediaSegmentFromNumber({}, "t", 0, UINT64_MAX)));
    for (const char* log : {"Ignoring timescale=\"0\"", "Ignoring bandwidth=\"-5\"", "Skipping <S> without a usable d",
                            "Representation without id"}) {
        EXPECT_TRUE(capture.containsFragment(log)) << log;
    }
}

TEST(MPDParserBadInputTest, UnknownElementsAndAttributesAreSkipped) {
    auto mpd = parse(R"(<MPD type="static" futureAttribute="1" xmlns:x="urn:x">
        <x:Extension><Period id="hidden"/></x:Extension>
        <Metrics metrics="x"/>
        <Period id="real" weird="yes">
          <Subset contains="1 2"/>
          <EventStream schemeIdUri="urn:scte:scte35:2014:xml+bin"><Event><Signal xmlns="http://www.scte.org/schemas/35/2016"/></Event></EventStream>
          <AdaptationSet mimeType="video/mp4"><FutureElement/><Representation id="v" bandwidth="1">
            <SubRepresentation level="0"/></Representation></AdaptationSet>
        </Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    // Only direct children named Period count; an element named Period inside an unknown one
    // is not a Period of the MPD.
    ASSERT_EQ(1u, mpd->GetPeriods().size());
    EXPECT_EQ("real", mpd->GetPeriods()[0]->GetId());
    EXPECT_EQ(1u, mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetRepresentation().size());
}

}  // namespace
