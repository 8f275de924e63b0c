#include "dash/DashAbrPDRatioAlgorithm.h"

#include <algorithm>
#include <cmath>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashAbrPDRatioAlgorithm")

namespace dash {

namespace {

// current x factor truncated toward zero, saturated to the 32-bit range.
int32_t scaledBandwidth(int32_t current, double factor) {
    const double value = static_cast<double>(current) * factor;
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(INT32_MAX)) {
        return INT32_MAX;
    }
    if (value <= static_cast<double>(INT32_MIN)) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

}  // namespace

DashAbrPDRatioAlgorithm::DashAbrPDRatioAlgorithm(uint32_t minBufferedSegments)
    : mMinBufferedSegments(minBufferedSegments) {}

DashAbrAdjustment DashAbrPDRatioAlgorithm::adjustAbr(const DashAbrData& data) {
    DashAbrAdjustment result;
    if (data.playbackRate != 1000) {
        result.action = DashAbrAdjustment::ABR_NONE;
        return result;
    }

    const double downloadTime = static_cast<double>(std::max<int32_t>(data.downloadTime, 0));
    const double ratio = static_cast<double>(data.segmentDuration) / (downloadTime + 1.0);

    if (ratio > mRaiseRatio) {
        ++mFastCount;
        mSlowCount = 0;
        if (mFastCount >= mFastLimit) {
            mFastLimit = 10;
            result.action = DashAbrAdjustment::ABR_RAISE;
            result.bandwidth = scaledBandwidth(data.currentBandwidth, std::min(ratio, mMaxRaiseFactor));
        }
    } else if (ratio >= mKeepRatio) {
        mFastCount = 0;
        mSlowCount = 0;
    } else {
        mFastCount = 0;
        ++mSlowCount;
        result.bandwidth = scaledBandwidth(data.currentBandwidth, std::min(ratio, mMaxLowerFactor));
        const bool keep = data.bufferedSegments >= mMinBufferedSegments + 1 &&
                          (mSlowCount < mSlowLimit || data.bufferedSegments >= mMinBufferedSegments + 3);
        if (!keep) {
            result.action = DashAbrAdjustment::ABR_LOWER;
        }
    }

    ZUN_LOG(0, "Adjustment: %d segment download time: %d segment duration: %d recommended bandwidth %d",
            result.action, data.downloadTime, data.segmentDuration, result.bandwidth);
    return result;
}

}  // namespace dash
