#include "manifest/network/ByteRange.h"

#include <gtest/gtest.h>

namespace {

using dash::network::ByteRange;

struct RangeCase {
    const char* text;
    bool valid;
    uint64_t first;
    bool hasLast;
    uint64_t last;
};

class ByteRangeParse : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ByteRangeParse, ReadsTheFormsOfTheManifest) {
    const RangeCase& c = GetParam();
    ByteRange range;
    range.first = 777;  // untouched on failure
    ASSERT_EQ(c.valid, ByteRange::parse(c.text, range)) << c.text;
    if (!c.valid) {
        EXPECT_EQ(777u, range.first);
        return;
    }
    EXPECT_EQ(c.first, range.first);
    EXPECT_EQ(c.hasLast, range.hasLast);
    if (c.hasLast) {
        EXPECT_EQ(c.last, range.last);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, ByteRangeParse,
    ::testing::Values(
        RangeCase{"", true, 0, false, 0},                     // whole resource
        RangeCase{"0-0", true, 0, true, 0},                   // one byte
        RangeCase{"100-199", true, 100, true, 199},           // inclusive bounds
        RangeCase{"862-", true, 862, false, 0},               // open end
        RangeCase{"18446744073709551615-18446744073709551615", true, 18446744073709551615ull, true,
                  18446744073709551615ull},                   // largest 64-bit offsets
        RangeCase{"18446744073709551616-", false, 0, false, 0},  // overflows 64 bits
        RangeCase{"200-100", false, 0, false, 0},             // last before first
        RangeCase{"-500", false, 0, false, 0},                // suffix range: not accepted
        RangeCase{"bytes=0-1", false, 0, false, 0},           // prefix belongs to the header only
        RangeCase{"0-1,5-6", false, 0, false, 0},             // lists not accepted
        RangeCase{" 0-1", false, 0, false, 0},                // blanks
        RangeCase{"0 -1", false, 0, false, 0},
        RangeCase{"1-2-3", false, 0, false, 0},
        RangeCase{"-", false, 0, false, 0},
        RangeCase{"a-b", false, 0, false, 0},
        RangeCase{"12", false, 0, false, 0}));                // no dash

TEST(ByteRange, WholeOnlyForTheEmptyRange) {
    ByteRange r;
    ASSERT_TRUE(ByteRange::parse("", r));
    EXPECT_TRUE(r.whole());
    ASSERT_TRUE(ByteRange::parse("0-", r));
    EXPECT_TRUE(r.whole());  // "0-" asks for everything as well
    ASSERT_TRUE(ByteRange::parse("0-9", r));
    EXPECT_FALSE(r.whole());
}

}  // namespace
