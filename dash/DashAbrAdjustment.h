#pragma once

#include <cstdint>

namespace dash {

// A bit-rate strategy's answer. The adaptation set reads `action` as the kind of change:
// 0 the first (lowest) representation, 1 and 3 the highest representation whose bandwidth is at
// most `bandwidth`, 2 no change, 4 the last (highest) representation; 5 or more is refused.
struct DashAbrAdjustment {
    static constexpr int32_t ABR_NONE = 0;   // no decision: trick play in progress
    static constexpr int32_t ABR_LOWER = 1;
    static constexpr int32_t ABR_KEEP = 2;
    static constexpr int32_t ABR_RAISE = 3;
    static constexpr int32_t ABR_HIGHEST = 4;  // not produced by the strategies

    int32_t action = ABR_KEEP;
    int32_t bandwidth = 0;  // recommended bandwidth, bits per second; 0 when none
};

}  // namespace dash
