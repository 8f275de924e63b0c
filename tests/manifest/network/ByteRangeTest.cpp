#include "manifest/network/ByteRange.h"

#include <gtest/gtest.h>

namespace {

using dash::network::ByteRange;

// The forms of the manifest's range attributes; everything else is refused and leaves the output.
TEST(ByteRangeTest, ParsesTheManifestFormsOnly) {
    constexpr uint64_t kMax = UINT64_MAX;
    const struct {
        const char* text;
        bool valid;
        uint64_t first;
        bool hasLast;
        uint64_t last;
    } cases[] = {
        {"", true, 0, false, 0}, {"0-", true, 0, false, 0}, {"0-0", true, 0, true, 0},
        {"100-199", true, 100, true, 199}, {"862-", true, 862, false, 0},
        {"18446744073709551615-18446744073709551615", true, kMax, true, kMax},
        {"18446744073709551616-", false, 777, false, 0}, {"200-100", false, 777, false, 0},
        {"-500", false, 777, false, 0}, {"bytes=0-1", false, 777, false, 0}, {"0-1,5-6", false, 777, false, 0},
        {" 0-1", false, 777, false, 0}, {"1-2-3", false, 777, false, 0}, {"a-b", false, 777, false, 0},
        {"12", false, 777, false, 0},
    };
    for (const auto& c : cases) {
        ByteRange range;
        range.first = 777;
        ASSERT_EQ(c.valid, ByteRange::parse(c.text, range)) << c.text;
        EXPECT_EQ(c.first, range.first) << c.text;
        EXPECT_EQ(c.hasLast, range.hasLast) << c.text;
        EXPECT_EQ(c.last, range.last) << c.text;
    }
}

}  // namespace
