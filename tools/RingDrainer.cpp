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
    if (!mHaveFirstByte) {
        mHaveFirstByte = true;
        mFirstByteTime = std::chrono::steady_clock::now();
    }
    if (n < kBatchBytes) {
        // A small read: let the writer commit a batch before the next one.
        std::this_thread::sleep_for(std::chrono::milliseconds(kBatchPauseMs));
    }
    if (mSkipping) {
        mPending.insert(mPending.end(), mChunk.begin(),
                        mChunk.begin() + static_cast<std::ptrdiff_t>(n));
        resync();
    } else {
        deliver(mChunk.data(), n);
    }
    return n;
}

void RingDrainer::deliver(const uint8_t* data, size_t size) {
    if (mHolding) {
        mHeld.insert(mHeld.end(), data, data + size);
    } else {
        mOutput.write(data, size);
    }
}

void RingDrainer::skipToPackHeader() {
    mSkipping = true;
    mPending.clear();
}

void RingDrainer::resync() {
    size_t pos = 0;
    while (mPending.size() - pos >= 4) {
        const uint8_t* p = mPending.data() + pos;
        bool startCode = p[0] == 0 && p[1] == 0 && p[2] == 1;
        if (startCode && p[3] == 0xBA) {
            // The pack header: the new stretch starts here.
            mSkipping = false;
            mSkipped += pos;
            deliver(p, mPending.size() - pos);
            mPending.clear();
            return;
        }
        if (startCode && p[3] >= 0xBC) {
            // A PES packet of the old position: skip it whole once all of it is here.
            if (mPending.size() - pos < 6) {
                break;
            }
            size_t length = 6 + ((static_cast<size_t>(p[4]) << 8) | p[5]);
            if (mPending.size() - pos < length) {
                break;
            }
            pos += length;
            continue;
        }
        ++pos;  // not at a packet boundary (cannot happen with whole packets): scan on
    }
    mSkipped += pos;
    mPending.erase(mPending.begin(), mPending.begin() + static_cast<std::ptrdiff_t>(pos));
}

void RingDrainer::commitHeld() {
    if (!mHeld.empty()) {
        mOutput.write(mHeld.data(), mHeld.size());
    }
    mHeld.clear();
}

void RingDrainer::dropHeld() { mHeld.clear(); }

}  // namespace velar_play
