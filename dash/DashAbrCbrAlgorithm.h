#pragma once

#include <cstdint>

#include "dash/IDashAbrAlgorithm.h"

namespace dash {

// Constant-rate bit-rate strategy: always recommends its target bandwidth (bits per second) and
// moves toward it: RAISE when the current bandwidth is below it, LOWER when above, KEEP when equal.
// At any playback rate other than 1000 the answer is ABR_NONE, still with the target bandwidth.
// The audio sets use it with 2147483647 so that they always take their best representation.
//
// Stateless beyond the constructor argument; call from any one thread at a time.
class DashAbrCbrAlgorithm : public IDashAbrAlgorithm {
public:
    explicit DashAbrCbrAlgorithm(int32_t targetBandwidth);

    DashAbrAdjustment adjustAbr(const DashAbrData& data) override;

private:
    int32_t mTargetBandwidth;
};

}  // namespace dash
