#include "dash/DashAbrSmoothingAlgorithm.h"

#include <algorithm>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashAbrSmoothingAlgorithm")

namespace dash {

DashAbrSmoothingAlgorithm::DashAbrSmoothingAlgorithm(uint32_t minBufferedSegments)
    : mMinBufferedSegments(minBufferedSegments) {}

uint64_t DashAbrSmoothingAlgorithm::smoothing(int current, int rate, int duration, int downloadTime) {
    if (rate < 1) {
        ZUN_LOG(0, "Adjust: Smoothing: 0");
        return 0;
    }
    if (duration == 0) {
        return 0;
    }
    // The dividend is at least the divisor, so INT_MIN / -1 cannot occur.
    const int q = std::max(downloadTime, duration) / duration;
    const int32_t difference =
        static_cast<int32_t>(static_cast<uint32_t>(rate) - static_cast<uint32_t>(current));
    const float estimate =
        static_cast<float>(rate) - (static_cast<float>(q) * 0.4f) * static_cast<float>(difference);
    if (!(estimate > 0.0f)) {
        return 0;
    }
    return static_cast<uint64_t>(estimate);
}

DashAbrAdjustment DashAbrSmoothingAlgorithm::adjustAbr(const DashAbrData& data) {
    DashAbrAdjustment result;
    if (data.playbackRate != 1000) {
        result.action = DashAbrAdjustment::ABR_NONE;
        return result;
    }
    const uint64_t estimate = smoothing(data.currentBandwidth, static_cast<int>(data.averageDownloadRate),
                                        data.segmentDuration, data.downloadTime);
    result.bandwidth = static_cast<int32_t>(static_cast<uint32_t>(estimate));
    // The estimate is below 2^63, so it compares exactly as a signed 64-bit number.
    const int64_t current = data.currentBandwidth;
    const int64_t target = static_cast<int64_t>(estimate);
    if (data.bufferedSegments < mMinBufferedSegments) {
        result.action = current < target ? DashAbrAdjustment::ABR_LOWER : DashAbrAdjustment::ABR_RAISE;
    } else if (current <= target) {
        result.action = DashAbrAdjustment::ABR_RAISE;
    }
    return result;
}

}  // namespace dash
