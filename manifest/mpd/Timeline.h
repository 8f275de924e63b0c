#pragma once

#include <cstdint>

#include "manifest/mpd/ITimeline.h"

namespace dash {
namespace mpd {

// One S element, values as written.
class Timeline : public ITimeline {
public:
    Timeline(bool hasStartTime, uint64_t startTime, uint64_t duration, int32_t repeatCount)
        : mHasStartTime(hasStartTime), mStartTime(startTime), mDuration(duration), mRepeatCount(repeatCount) {}

    uint64_t GetStartTime() const override { return mStartTime; }
    bool HasStartTime() const override { return mHasStartTime; }
    uint64_t GetDuration() const override { return mDuration; }
    int32_t GetRepeatCount() const override { return mRepeatCount; }

private:
    bool mHasStartTime;
    uint64_t mStartTime;
    uint64_t mDuration;
    int32_t mRepeatCount;
};

}  // namespace mpd
}  // namespace dash
