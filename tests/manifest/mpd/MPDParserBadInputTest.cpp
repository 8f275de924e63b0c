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

void PrintTo(const RejectCase& c, std::ostream* out) { *out << c.name; }  // for gtest and ctest

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

INSTANTIATE_TEST_SUITE_P(
    Table, RejectedDocuments,
    ::testing::Values(RejectCase{"Empty", "", "not well-formed"},
                      RejectCase{"Unclosed", "<MPD><Period></MPD>", "not well-formed"},
                      RejectCase{"Binary", std::string("\x00\x01\x02\xff\xfe<MPD/>", 11), "not well-formed"},
                      RejectCase{"TwoRoots", "<MPD/><MPD/>", "not well-formed"},
                      RejectCase{"HtmlPage", "<html><body>404 Not Found</body></html>", "found <html>"},
                      RejectCase{"PrefixedOtherRoot", "<x:Manifest xmlns:x=\"urn:x\"/>", "found <x:Manifest>"},
                      RejectCase{"SmoothStreaming", "<SmoothStreamingMedia MajorVersion=\"2\"/>", "no MPD root"},
                      RejectCase{"TooDeep", nested(100000), "not well-formed"}),
    [](const ::testing::TestParamInfo<RejectCase>& info) { return std::string(info.param.name); });

// Over the size limit: refused before parsing, so memory stays bounded.
TEST(MPDParserBadInputTest, FiftyMegabyteDocumentIsRefused) {
    const std::string item = "<AdaptationSet mimeType=\"video/mp4\"><Representation id=\"r\" bandwidth=\"1\"/></AdaptationSet>";
    std::string text = "<MPD><Period>";
    text.reserve(50u * 1024 * 1024 + item.size() + 20);
    while (text.size() < 50u * 1024 * 1024) text += item;
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, parse(text + "</Period></MPD>"));
    EXPECT_TRUE(capture.containsFragment("more than the limit of 16777216 bytes"));
}

// Absurd and missing values: the model keeps the element and reads what it can.
TEST(MPDParserBadInputTest, AbsurdNumbersSaturateOrFallBackToDefaults) {
    velar_test::LogCapture capture;
    auto mpd = parse(R"(<MPD type="static"><Period><AdaptationSet mimeType="video/mp4" width="-3" height="x">
        <SegmentTemplate timescale="0" duration="-4000" startNumber="4294967296"
                         presentationTimeOffset="18446744073709551616" media="$Number$"/>
        <Representation id="huge" bandwidth="99999999999999999999" height="-720"/><Representation bandwidth="-5"/>
        <Representation id="t"><SegmentTemplate><SegmentTimeline>
          <S t="-1" d="10"/><S d="0"/><S/><S d="abc"/>
          <S t="18446744073709551616" d="18446744073709551616" r="99999999999"/><S d="5" r="-7"/><S d="5" r="-1"/>
        </SegmentTimeline></SegmentTemplate></Representation>
      </AdaptationSet></Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    const IAdaptationSet* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
    const ISegmentTemplate* tmpl = set->GetSegmentTemplate();
    const auto& reps = set->GetRepresentation();
    ASSERT_EQ(3u, reps.size());  // none dropped
    EXPECT_EQ("0 1 0 4294967295 18446744073709551615 4294967295 0 0 ",
              std::to_string(set->GetWidth() + set->GetHeight()) + " " + std::to_string(tmpl->GetTimescale()) + " " +
                  std::to_string(tmpl->GetDuration()) + " " + std::to_string(tmpl->GetStartNumber()) + " " +
                  std::to_string(tmpl->GetPresentationTimeOffset()) + " " + std::to_string(reps[0]->GetBandwidth()) +
                  " " + std::to_string(reps[0]->GetHeight()) + " " + std::to_string(reps[1]->GetBandwidth()) + " " +
                  reps[1]->GetId());
    // The three S without a usable d are dropped; t="-1" and r="-7" are ignored.
    const auto& s = reps[2]->GetSegmentTemplate()->GetSegmentTimeline()->GetTimelines();
    ASSERT_EQ(4u, s.size());
    EXPECT_FALSE(s[0]->HasStartTime());
    EXPECT_EQ(10u, s[0]->GetDuration());
    EXPECT_EQ(UINT64_MAX, s[1]->GetStartTime());
    EXPECT_EQ(UINT64_MAX, s[1]->GetDuration());
    EXPECT_EQ(INT32_MAX, s[1]->GetRepeatCount());
    EXPECT_EQ(0, s[2]->GetRepeatCount());
    EXPECT_EQ(-1, s[3]->GetRepeatCount());
    // Lookups over saturated values stay defined.
    EXPECT_NE(nullptr, std::unique_ptr<ISegment>(reps[2]->GetSegmentTemplate()->GetMediaSegmentFromNumber({}, "t", 0, UINT64_MAX)));
    for (const char* log : {"Ignoring timescale=\"0\"", "Ignoring bandwidth=\"-5\"", "Skipping <S> without a usable d",
                            "Representation without id"}) {
        EXPECT_TRUE(capture.containsFragment(log)) << log;
    }
}

}  // namespace
