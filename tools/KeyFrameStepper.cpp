#include "tools/KeyFrameStepper.h"

#include <algorithm>

namespace velar_play {

KeyFrameStepper::KeyFrameStepper(bool backwards, uint64_t durationMs)
    : mBackwards(backwards), mDurationMs(durationMs) {}

KeyFrameStepper KeyFrameStepper::byRate(int rateThousandths, uint64_t firstTargetMs,
                                        uint64_t durationMs) {
    KeyFrameStepper stepper(rateThousandths < 0, durationMs);
    stepper.mByRate = true;
    stepper.mTargetMs = firstTargetMs;
    // |INT_MIN| does not fit an int: take the magnitude in 64 bits.
    int64_t rate = rateThousandths;
    stepper.mStepMs = static_cast<uint64_t>(rate < 0 ? -rate : rate);
    return stepper;
}

bool KeyFrameStepper::onKeyFrame(uint64_t positionMs) {
    bool isNew = !mHaveLast || (mBackwards ? positionMs < mLastMs : positionMs > mLastMs);
    if (isNew) {
        mHaveLast = true;
        mLastMs = positionMs;
        ++mKept;
    }
    if (mByRate) {
        return isNew;
    }
    if (isNew) {
        mStepMs = std::max(kMinStepMs, mStepMs / 2);
        mProbedZero = false;
    } else {
        mStepMs = mStepMs > UINT64_MAX / 2 ? UINT64_MAX : mStepMs * 2;
    }
    return isNew;
}

bool KeyFrameStepper::nextTarget(uint64_t& targetMs) {
    return mByRate ? nextByRate(targetMs) : nextProbe(targetMs);
}

bool KeyFrameStepper::nextByRate(uint64_t& targetMs) {
    if (mStepMs == 0) {
        return false;
    }
    if (mBackwards) {
        if (mTargetMs < mStepMs) {
            return false;
        }
        mTargetMs -= mStepMs;
    } else {
        if (mStepMs > UINT64_MAX - mTargetMs || mTargetMs + mStepMs >= mDurationMs) {
            return false;
        }
        mTargetMs += mStepMs;
    }
    targetMs = mTargetMs;
    return true;
}

bool KeyFrameStepper::nextProbe(uint64_t& targetMs) {
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
