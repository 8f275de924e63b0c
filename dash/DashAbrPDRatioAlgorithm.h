#pragma once

#include <cstdint>

#include "dash/IDashAbrAlgorithm.h"

namespace dash {

// Bit-rate strategy from the ratio of a segment's playback duration to its download time, with
// hysteresis: a raise needs fastLimit fast segments in a row (3 for the first raise, 10 after it),
// a lowering needs slowLimit slow ones unless the buffer is well filled.
//
//   ratio = segmentDuration / (downloadTime + 1)     (ms / ms)
//   ratio > 1.5   fast: after enough of them RAISE to current x min(ratio, 5.0); the fast count is
//                 not reset by a raise, so once past the limit every further fast segment raises
//   ratio >= 1.2  KEEP, both counts reset
//   otherwise     slow: recommended current x min(ratio, 0.8); KEEP while at least
//                 minBufferedSegments + 1 are buffered and either fewer than slowLimit slow
//                 segments came in a row or minBufferedSegments + 3 are buffered, else LOWER
//
// The slow count starts at 2 (= slowLimit), so the very first slow segment is already judged against
// the limit. At any playback rate other than 1000 the answer is ABR_NONE without touching the
// counters. Each answer at normal speed is logged ("Adjustment: ...").
//
// Decisions for input the adaptation set does not produce: a negative downloadTime counts as 0 (no
// division by zero or by a negative time), and a recommended bandwidth beyond the 32-bit range
// saturates at its limit.
//
// Threads: the counters persist between calls without a lock; call from one thread (the one that
// processes the set's completed segments).
class DashAbrPDRatioAlgorithm : public IDashAbrAlgorithm {
public:
    explicit DashAbrPDRatioAlgorithm(uint32_t minBufferedSegments);

    DashAbrAdjustment adjustAbr(const DashAbrData& data) override;

private:
    uint32_t mMinBufferedSegments;
    double mRaiseRatio = 1.5;
    double mKeepRatio = 1.2;
    double mMaxRaiseFactor = 5.0;
    double mMaxLowerFactor = 0.8;
    uint32_t mFastCount = 0;
    uint32_t mSlowCount = 2;
    uint32_t mFastLimit = 3;
    uint32_t mSlowLimit = 2;
};

}  // namespace dash
