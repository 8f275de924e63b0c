#include "manifest/mpd/TemplateExpander.h"

#include <gtest/gtest.h>

#include <string>

using dash::mpd::TemplateExpander;

namespace {

TEST(TemplateExpanderTest, ExpandsOrRefusesWithoutHalfWrittenOutput) {
    const struct {
        const char* pattern;
        bool ok;
        const char* expected;  // expansion, or a fragment of the error text
    } cases[] = {
        {"seg-$Number$.m4s", true, "seg-42.m4s"}, {"seg-$Number%05d$.m4s", true, "seg-00042.m4s"},
        {"seg-$Number%5d$.m4s", true, "seg-   42.m4s"}, {"seg-$Number%01d$.m4s", true, "seg-42.m4s"},
        {"seg-$Number%d$.m4s", true, "seg-42.m4s"}, {"seg-$Number%04x$.m4s", true, "seg-002a.m4s"},
        {"$RepresentationID$/$Bandwidth$/$Time$.m4s", true, "video/avc1/1200000/8080000000000.m4s"},
        {"t$Time%015d$", true, "t008080000000000"}, {"cost$$$Number$$$.m4s", true, "cost$42$.m4s"},
        {"$$", true, "$"}, {"", true, ""}, {"q?a=$Number$&b=$Time$", true, "q?a=42&b=8080000000000"},
        {"$SubNumber$", true, "0"}, {"$Bandwidth%/init.mp4v", false, "unterminated"},
        {"$Number", false, "unterminated"}, {"$number$", false, "unknown identifier"},
        {"$RepresentationID%05d$", false, "format tag"}, {"$Number%05s$", false, "bad format tag"},
        {"$Number%$", false, "bad format tag"}, {"$Number%0999d$", false, "too large"},
        {"$Number%05dd$", false, "bad format tag"},
    };
    const std::string id = "video/avc1";
    TemplateExpander::Values values;
    values.representationId = &id;
    values.hasBandwidth = values.hasNumber = values.hasTime = true;
    values.bandwidth = 1200000;
    values.number = 42;
    values.time = 8080000000000ull;
    for (const auto& c : cases) {
        std::string out = "untouched";
        std::string error;
        ASSERT_EQ(c.ok, TemplateExpander::Expand(c.pattern, values, out, error)) << c.pattern << " -> " << out << error;
        EXPECT_EQ(c.ok ? c.expected : "untouched", out) << c.pattern;
        EXPECT_NE(std::string::npos, (c.ok ? c.expected : error).find(c.expected)) << error;
    }
}

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
