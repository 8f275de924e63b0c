#include "manifest/mpd/NumberParser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using dash::mpd::NumberParser;

namespace {

TEST(NumberParserTest, UnsignedTable) {
    struct Case {
        const char* text;
        bool ok;
        uint64_t as32;  // expected ParseUInt32 result (when ok)
        uint64_t as64;  // expected ParseUInt64 result (when ok)
    } cases[] = {
        {"0", true, 0, 0},
        {"90000", true, 90000, 90000},
        {" \t12\n", true, 12, 12},
        {"+7", true, 7, 7},
        {"007", true, 7, 7},
        {"4294967295", true, 4294967295u, 4294967295u},
        {"4294967296", true, 4294967295u, 4294967296u},
        {"18446744073709551615", true, 4294967295u, UINT64_MAX},
        {"18446744073709551616", true, 4294967295u, UINT64_MAX},
        {"99999999999999999999999999999999999999", true, 4294967295u, UINT64_MAX},
        {"-1", false, 0, 0},
        {"-0", false, 0, 0},
        {"", false, 0, 0},
        {"   ", false, 0, 0},
        {"+", false, 0, 0},
        {"15.00", false, 0, 0},
        {"1e6", false, 0, 0},
        {"12 34", false, 0, 0},
        {"0x10", false, 0, 0},
        {"INF", false, 0, 0},
    };
    for (const auto& c : cases) {
        uint32_t v32 = 12345;
        uint64_t v64 = 12345;
        EXPECT_EQ(c.ok, NumberParser::ParseUInt32(c.text, v32)) << c.text;
        EXPECT_EQ(c.ok, NumberParser::ParseUInt64(c.text, v64)) << c.text;
        EXPECT_EQ(c.ok ? c.as32 : 12345u, v32) << c.text;
        EXPECT_EQ(c.ok ? c.as64 : 12345u, v64) << c.text;
    }
}

TEST(NumberParserTest, SignedSaturatesBothWays) {
    struct Case {
        const char* text;
        bool ok;
        int32_t value;
    } cases[] = {
        {"-1", true, -1},
        {"3", true, 3},
        {"2147483647", true, 2147483647},
        {"2147483648", true, 2147483647},
        {"-2147483648", true, INT32_MIN},
        {"-99999999999999999999", true, INT32_MIN},
        {"--1", false, 0},
        {"1.5", false, 0},
    };
    for (const auto& c : cases) {
        int32_t v = 77;
        EXPECT_EQ(c.ok, NumberParser::ParseInt32(c.text, v)) << c.text;
        EXPECT_EQ(c.ok ? c.value : 77, v) << c.text;
    }
}

TEST(NumberParserTest, BooleansAndTrim) {
    bool b = false;
    EXPECT_TRUE(NumberParser::ParseBool(" true ", b));
    EXPECT_TRUE(b);
    EXPECT_TRUE(NumberParser::ParseBool("0", b));
    EXPECT_FALSE(b);
    EXPECT_FALSE(NumberParser::ParseBool("yes", b));
    EXPECT_EQ("a b", NumberParser::Trim("\r\n\t a b \n"));
    EXPECT_EQ("", NumberParser::Trim(" \n"));
}

}  // namespace
