#include "dash/DashAbrCbrAlgorithm.h"

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashAbrCbrAlgorithm")

namespace dash {

DashAbrCbrAlgorithm::DashAbrCbrAlgorithm(int32_t targetBandwidth) : mTargetBandwidth(targetBandwidth) {}

DashAbrAdjustment DashAbrCbrAlgorithm::adjustAbr(const DashAbrData& data) {
    DashAbrAdjustment result;
    result.bandwidth = mTargetBandwidth;
    if (data.playbackRate != 1000) {
        result.action = DashAbrAdjustment::ABR_NONE;
    } else if (data.currentBandwidth < mTargetBandwidth) {
        result.action = DashAbrAdjustment::ABR_RAISE;
    } else if (data.currentBandwidth > mTargetBandwidth) {
        result.action = DashAbrAdjustment::ABR_LOWER;
    }
    return result;
}

}  // namespace dash
