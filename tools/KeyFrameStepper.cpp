#include "tools/KeyFrameStepper.h"

#include <algorithm>

namespace velar_play {

KeyFrameStepper::KeyFrameStepper(bool backwards, uint64_t durationMs)
    : mBackwards(backwards), mDurationMs(durationMs) {}

bool KeyFrameStepper::onKeyFrame(uint64_t positionMs) {
    bool isNew = !mHaveLast || (mBackwards ? positionMs < mLastMs : positionMs > mLastMs);
    if (isNew) {
        mHaveLast = true;
        mLastMs = positionMs;
        mStepMs = std::max(kMinStepMs, mStepMs / 2);
        mProbedZero = false;
        ++mKept;
    } else {
        mStepMs = mStepMs > UINT64_MAX / 2 ? UINT64_MAX : mStepMs * 2;
    }
    return isNew;
}

bool KeyFrameStepper::nextTarget(uint64_t& targetMs) {
    if (!mHaveLast) {
        return false;
    }
    if (mBackwards) {
        if (mLastMs == 0 || mProbedZero) {
            return false;
        }
        targetMs = mLastMs > mStepMs ? mLastMs - mStepMs : 0;
        mProbedZero = targetMs == 0;
        return true;
    }
    if (mStepMs > UINT64_MAX - mLastMs) {
        return false;
    }
    targetMs = mLastMs + mStepMs;
    return targetMs <= mDurationMs;
}

}  // namespace velar_play
