#include "manifest/mpd/NumberParser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using dash::mpd::NumberParser;

namespace {

// Saturation at the width of the type, refusal of signs, fractions, exponents and hex.
TEST(NumberParserTest, UnsignedTable) {
    const struct {
        const char* text;
        bool ok;
        uint32_t as32;
        uint64_t as64;
    } cases[] = {
        {"0", true, 0, 0}, {"90000", true, 90000, 90000}, {" \t12\n", true, 12, 12}, {"+7", true, 7, 7}, {"007", true, 7, 7},
        {"4294967295", true, UINT32_MAX, 4294967295u}, {"4294967296", true, UINT32_MAX, 4294967296u},
        {"18446744073709551615", true, UINT32_MAX, UINT64_MAX}, {"18446744073709551616", true, UINT32_MAX, UINT64_MAX},
        {"99999999999999999999999999999999999999", true, UINT32_MAX, UINT64_MAX},
        {"-1", false, 0, 0}, {"-0", false, 0, 0}, {"", false, 0, 0}, {"   ", false, 0, 0}, {"+", false, 0, 0},
        {"15.00", false, 0, 0}, {"1e6", false, 0, 0}, {"12 34", false, 0, 0}, {"0x10", false, 0, 0}, {"INF", false, 0, 0},
    };
    for (const auto& c : cases) {
        uint32_t v32 = 12345;
        uint64_t v64 = 12345;
        EXPECT_EQ(c.ok, NumberParser::ParseUInt32(c.text, v32)) << c.text;
        EXPECT_EQ(c.ok, NumberParser::ParseUInt64(c.text, v64)) << c.text;
        EXPECT_EQ(c.ok ? c.as32 : 12345u, v32) << c.text;  // untouched when refused
        EXPECT_EQ(c.ok ? c.as64 : 12345u, v64) << c.text;
    }
}

TEST(NumberParserTest, SignedSaturatesBothWaysAndBooleans) {
    const struct {
        const char* text;
        bool ok;
        int32_t value;
    } cases[] = {{"-1", true, -1}, {"3", true, 3}, {"2147483647", true, INT32_MAX}, {"2147483648", true, INT32_MAX},
                 {"-2147483648", true, INT32_MIN}, {"-99999999999999999999", true, INT32_MIN}, {"--1", false, 77},
                 {"1.5", false, 77}};
    for (const auto& c : cases) {
        int32_t v = 77;
        EXPECT_EQ(c.ok, NumberParser::ParseInt32(c.text, v)) << c.text;
        EXPECT_EQ(c.value, v) << c.text;
    }
    bool b = false;
    EXPECT_TRUE(NumberParser::ParseBool(" true ", b) && b);
    EXPECT_TRUE(NumberParser::ParseBool("0", b) && !b);
    EXPECT_FALSE(NumberParser::ParseBool("yes", b));
    EXPECT_EQ("a b", NumberParser::Trim("\r\n\t a b \n"));
}

}  // namespace
