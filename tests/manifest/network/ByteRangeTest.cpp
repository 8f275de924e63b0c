#include "manifest/network/ByteRange.h"

#include <gtest/gtest.h>

namespace {

using dash::network::ByteRange;

struct RangeCase {
    const char* name;
    const char* text;
    bool valid;
    uint64_t first;
    bool hasLast;
    uint64_t last;
    bool whole;
};

class ByteRangeParse : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ByteRangeParse, ReadsTheFormsOfTheManifest) {
    const RangeCase& c = GetParam();
    ByteRange range;
    range.first = 777;  // untouched on failure
    ASSERT_EQ(c.valid, ByteRange::parse(c.text, range)) << c.text;
    EXPECT_EQ(c.valid ? c.first : 777u, range.first);
    EXPECT_EQ(c.hasLast, range.hasLast);
    EXPECT_EQ(c.last, range.last);
    EXPECT_EQ(c.whole, c.valid && range.whole());
}

constexpr uint64_t kMax = 18446744073709551615ull;

INSTANTIATE_TEST_SUITE_P(
    Table, ByteRangeParse,
    ::testing::Values(
        RangeCase{"Empty", "", true, 0, false, 0, true},
        RangeCase{"FromZero", "0-", true, 0, false, 0, true},  // everything as well
        RangeCase{"OneByte", "0-0", true, 0, true, 0, false},
        RangeCase{"Inclusive", "100-199", true, 100, true, 199, false},
        RangeCase{"OpenEnd", "862-", true, 862, false, 0, false},
        RangeCase{"Largest", "18446744073709551615-18446744073709551615", true, kMax, true, kMax, false},
        RangeCase{"Overflow", "18446744073709551616-", false, 0, false, 0, false},
        RangeCase{"LastBeforeFirst", "200-100", false, 0, false, 0, false},
        RangeCase{"Suffix", "-500", false, 0, false, 0, false},
        RangeCase{"HeaderPrefix", "bytes=0-1", false, 0, false, 0, false},
        RangeCase{"List", "0-1,5-6", false, 0, false, 0, false},
        RangeCase{"LeadingBlank", " 0-1", false, 0, false, 0, false},
        RangeCase{"InnerBlank", "0 -1", false, 0, false, 0, false},
        RangeCase{"TwoDashes", "1-2-3", false, 0, false, 0, false},
        RangeCase{"DashOnly", "-", false, 0, false, 0, false},
        RangeCase{"Letters", "a-b", false, 0, false, 0, false},
        RangeCase{"NoDash", "12", false, 0, false, 0, false}),
    [](const ::testing::TestParamInfo<RangeCase>& info) { return std::string(info.param.name); });

}  // namespace
