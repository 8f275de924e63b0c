// Chooses where velar-play positions the streamer next in key-frame trick play (--keyframes).
//
// Under the key-frame filter the streamer stops after each video key frame (state KeyframeSent)
// until the host positions it again, and a positioning lands on the key frame at or before the
// asked position. The host does not know where the key frames are, so it probes: from the last
// key frame written it asks for a position a step further (forwards, or backwards for a negative
// rate). A probe that lands on the key frame already written (or behind it) is dropped and the step
// doubles; a probe that lands on a new key frame is kept, and the next search starts from half the
// step that found it. The smallest step is 40 ms (one frame at 25 fps). Forwards the search ends
// once the asked position passes the duration; backwards once a probe at 0 brings nothing new.
//
// Positions are milliseconds from the start of the content (what setPosition takes). Pure logic,
// used by the main thread only.
#pragma once

#include <cstdint>

namespace velar_play {

class KeyFrameStepper {
public:
    static constexpr uint64_t kMinStepMs = 40;

    KeyFrameStepper(bool backwards, uint64_t durationMs);

    // Reports the key frame a positioning produced. True: it is new, keep the stream written for
    // it. False: it repeats or goes behind the last kept one, drop it.
    bool onKeyFrame(uint64_t positionMs);

    // The position to ask for next; false when there is nothing left to probe.
    bool nextTarget(uint64_t& targetMs);

    uint64_t keptFrames() const { return mKept; }

private:
    bool mBackwards;
    uint64_t mDurationMs;
    bool mHaveLast = false;
    uint64_t mLastMs = 0;
    uint64_t mStepMs = kMinStepMs;
    bool mProbedZero = false;
    uint64_t mKept = 0;
};

}  // namespace velar_play
