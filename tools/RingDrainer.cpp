#include "tools/RingDrainer.h"

#include <chrono>
#include <thread>
#include <utility>

namespace velar_play {

RingDrainer::RingDrainer(std::shared_ptr<ContigMemBuffer> ring, OutputStream& output)
    : mRing(std::move(ring)), mOutput(output), mChunk(kChunkBytes) {}

size_t RingDrainer::drainOnce(uint32_t timeoutMs) {
    size_t n = mRing->read(mChunk.data(), mChunk.size(), timeoutMs);
    if (n == 0) {
        return 0;
    }
    if (n < kBatchBytes) {
        // A small read: let the writer commit a batch before the next one.
        std::this_thread::sleep_for(std::chrono::milliseconds(kBatchPauseMs));
    }
    if (mHolding) {
        mHeld.insert(mHeld.end(), mChunk.begin(), mChunk.begin() + static_cast<std::ptrdiff_t>(n));
    } else {
        mOutput.write(mChunk.data(), n);
    }
    return n;
}

void RingDrainer::commitHeld() {
    if (!mHeld.empty()) {
        mOutput.write(mHeld.data(), mHeld.size());
    }
    mHeld.clear();
}

void RingDrainer::dropHeld() { mHeld.clear(); }

}  // namespace velar_play
