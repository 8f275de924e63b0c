// Chooses where velar-play positions the streamer next in key-frame trick play (--keyframes).
//
// Under the key-frame filter the streamer stops after each video key frame (state KeyframeSent)
// until the host positions it again, and a positioning lands on the key frame at or before the
// asked position. After each key frame the host reports where it landed (onKeyFrame) and asks for
// the next position (nextTarget). A landing that repeats the last kept key frame, or goes behind
// it, is dropped (its stream is not written). Two ways of stepping:
//
// - By rate (any rate but 1000): the target moves by |rate| milliseconds per key frame, forwards
//   for a positive rate, backwards for a negative one, from the first target (--seek, else 0
//   forwards and the duration backwards). A host that shows one key frame per second of wall time
//   at rate R/1000 advances R/1000 seconds of content per key frame, so R milliseconds. The
//   stepping goes on from the target, not from where a positioning landed, so a dropped landing
//   does not hold it back. It ends once the next target reaches the duration (forwards: the content
//   covers [0, duration), and a target at the duration would only land on the last key frame
//   again) or would fall below 0 (backwards; 0 itself is still asked for).
// - Probing (rate 1000, the default): every key frame once. The host does not know where the key
//   frames are, so from the last key frame kept it asks for a position a step further. A probe
//   that brings nothing new doubles the step; one that finds a new key frame is kept and the next
//   search starts from half the step that found it. The smallest step is 40 ms (one frame at
//   25 fps). Forwards the search ends once the asked position passes the duration; backwards once
//   a probe at 0 brings nothing new.
//
// A duration of 0 (unknown) ends forward stepping after the first key frame. Positions are
// milliseconds from the start of the content (what setPosition takes); all arithmetic is checked
// against wrap-around. Pure logic, used by the main thread only.
#pragma once

#include <cstdint>

namespace velar_play {

class KeyFrameStepper {
public:
    static constexpr uint64_t kMinStepMs = 40;

    // Probing, every key frame once (rate 1000).
    KeyFrameStepper(bool backwards, uint64_t durationMs);

    // Stepping by rate: |rateThousandths| ms per key frame, starting at `firstTargetMs`, backwards
    // for a negative rate. The rate must not be 0.
    static KeyFrameStepper byRate(int rateThousandths, uint64_t firstTargetMs, uint64_t durationMs);

    // Reports the key frame a positioning produced. True: it is new, keep the stream written for
    // it. False: it repeats or goes behind the last kept one, drop it.
    bool onKeyFrame(uint64_t positionMs);

    // The position to ask for next; false when there is nothing left to ask for.
    bool nextTarget(uint64_t& targetMs);

    uint64_t keptFrames() const { return mKept; }

private:
    bool nextProbe(uint64_t& targetMs);
    bool nextByRate(uint64_t& targetMs);

    bool mBackwards;
    uint64_t mDurationMs;
    bool mByRate = false;
    uint64_t mTargetMs = 0;  // by rate: the last target asked for
    bool mHaveLast = false;
    uint64_t mLastMs = 0;    // the last key frame kept
    uint64_t mStepMs = kMinStepMs;
    bool mProbedZero = false;
    uint64_t mKept = 0;
};

}  // namespace velar_play
