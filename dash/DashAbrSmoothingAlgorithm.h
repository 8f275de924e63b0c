#pragma once

#include <cstdint>

#include "dash/IDashAbrAlgorithm.h"

namespace dash {

// Bit-rate strategy that blends the current bandwidth with the average measured download rate
// (both bits per second) and decides by buffer level:
//
//   estimate = smoothing(currentBandwidth, averageDownloadRate, segmentDuration, downloadTime)
//   buffered < minBufferedSegments:   current < estimate -> LOWER, otherwise RAISE
//   buffered >= minBufferedSegments:  current <= estimate -> RAISE, otherwise KEEP
//
// The pairing below the minimum (LOWER when the estimate is above the current bandwidth) is how the
// strategy is meant to behave. The recommended bandwidth is the estimate's low 32 bits. At any
// playback rate other than 1000 the answer is ABR_NONE with bandwidth 0.
//
// Decisions: an estimate that comes out negative in single precision (a current bandwidth far
// above the measured rate with a slow download) becomes 0 before the conversion to an unsigned
// number; the difference rate - current wraps around in 32 bits rather than overflowing; the
// comparisons of the current bandwidth with the estimate are numeric (a negative bandwidth is below
// every estimate).
//
// Stateless beyond the constructor argument; call from one thread at a time.
class DashAbrSmoothingAlgorithm : public IDashAbrAlgorithm {
public:
    explicit DashAbrSmoothingAlgorithm(uint32_t minBufferedSegments);

    DashAbrAdjustment adjustAbr(const DashAbrData& data) override;

    // rate - (q x 0.4) x (rate - current) in single precision, q = max(downloadTime, duration) /
    // duration in integers (1 for a download no longer than the segment, one more per whole
    // segment duration it took). 0 when rate < 1 (logged) or duration is 0. Bits per second.
    uint64_t smoothing(int current, int rate, int duration, int downloadTime);

private:
    uint32_t mMinBufferedSegments;
};

}  // namespace dash
