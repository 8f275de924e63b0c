#include "manifest/mpd/TemplateExpander.h"

#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>

using dash::mpd::TemplateExpander;

namespace {

struct ExpandCase {
    const char* pattern;
    bool ok;
    const char* expected;  // expansion, or a fragment of the error text
};

// Values: RepresentationID "video/avc1", Bandwidth 1200000, Number 42, Time 8080000000000.
const ExpandCase kCases[] = {
    {"seg-$Number$.m4s", true, "seg-42.m4s"}, {"seg-$Number%05d$.m4s", true, "seg-00042.m4s"},
    {"seg-$Number%5d$.m4s", true, "seg-   42.m4s"}, {"seg-$Number%01d$.m4s", true, "seg-42.m4s"},
    {"seg-$Number%d$.m4s", true, "seg-42.m4s"}, {"seg-$Number%04x$.m4s", true, "seg-002a.m4s"},
    {"$RepresentationID$/$Bandwidth$/$Time$.m4s", true, "video/avc1/1200000/8080000000000.m4s"},
    {"t$Time%015d$", true, "t008080000000000"}, {"$Bandwidth%010d$", true, "0001200000"},
    {"cost$$$Number$$$.m4s", true, "cost$42$.m4s"}, {"$$", true, "$"}, {"plain.m4s", true, "plain.m4s"}, {"", true, ""},
    {"q?a=$Number$&b=$Time$", true, "q?a=42&b=8080000000000"}, {"$SubNumber$", true, "0"},
    {"$Bandwidth%/init.mp4v", false, "unterminated"}, {"$Number", false, "unterminated"},
    {"$Foo$", false, "unknown identifier"}, {"$number$", false, "unknown identifier"},
    {"$RepresentationID%05d$", false, "format tag"}, {"$Number%05s$", false, "bad format tag"},
    {"$Number%$", false, "bad format tag"}, {"$Number%0999d$", false, "too large"}, {"$Number%05dd$", false, "bad format tag"},
};

void PrintTo(const ExpandCase& c, std::ostream* out) { *out << '"' << c.pattern << '"'; }  // for gtest and ctest

class TemplateExpansion : public ::testing::TestWithParam<ExpandCase> {};

TEST_P(TemplateExpansion, ExpandsOrRefuses) {
    const std::string id = "video/avc1";
    TemplateExpander::Values values;
    values.representationId = &id;
    values.hasBandwidth = true;
    values.bandwidth = 1200000;
    values.hasNumber = true;
    values.number = 42;
    values.hasTime = true;
    values.time = 8080000000000ull;
    std::string out = "untouched";
    std::string error;
    const bool ok = TemplateExpander::Expand(GetParam().pattern, values, out, error);
    ASSERT_EQ(GetParam().ok, ok) << GetParam().pattern << " -> " << out << " / " << error;
    if (ok) {
        EXPECT_EQ(GetParam().expected, out);
    } else {
        EXPECT_NE(std::string::npos, error.find(GetParam().expected)) << error;
        EXPECT_EQ("untouched", out);  // nothing half-written
    }
}

INSTANTIATE_TEST_SUITE_P(Table, TemplateExpansion, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<ExpandCase>& info) {
                             std::string name = std::to_string(info.index) + "_";
                             for (const char* c = info.param.pattern; *c != '\0'; ++c) name += std::isalnum(*c) ? *c : '_';
                             return name;
                         });

TEST(TemplateExpanderTest, MissingValuesFullWidthAndUses) {
    TemplateExpander::Values values;
    std::string out, error;
    EXPECT_FALSE(TemplateExpander::Expand("$Time$.m4s", values, out, error));
    EXPECT_NE(std::string::npos, error.find("$Time$"));
    EXPECT_FALSE(TemplateExpander::Expand("$RepresentationID$", values, out, error));
    values.hasNumber = true;
    values.number = UINT64_MAX;
    ASSERT_TRUE(TemplateExpander::Expand("$Number%025d$", values, out, error));
    EXPECT_EQ("0000018446744073709551615", out);
    EXPECT_TRUE(TemplateExpander::Uses("a$Number%05d$b", "Number"));
    EXPECT_FALSE(TemplateExpander::Uses("$RepresentationID$/$Time$", "Number"));
    EXPECT_FALSE(TemplateExpander::Uses("$$Number$$", "Number"));
}

}  // namespace
