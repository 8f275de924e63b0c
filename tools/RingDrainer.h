// The reader side of the ring the library plays into: moves what the streamer thread commits to
// the output, the way a device's decoder feed would.
//
// In holding mode the bytes are kept in memory instead of written, so that the caller can decide
// afterwards whether a stretch of stream is wanted (key-frame trick play drops a stretch that
// repeats a key frame already written). The hold grows by what the streamer produces for one
// positioning: at most one video key frame and the audio read before it.
//
// Reads are batched: the ring wakes its reader at every committed PES packet, and waking for each
// one (a few hundred bytes of audio) costs more CPU than the conversion itself. After a read that
// brought less than kBatchBytes the drainer pauses kBatchPauseMs before reading again. The writer
// is never held up by this as long as the ring takes what the streamer produces in one pause
// (5 ms of a 3 Mbit/s stream converted at full speed is about 100 KiB; the smallest ring allowed
// is 64 KiB and the default 2 MiB), and when it is full the writer simply waits for the next read.
//
// After a positioning the caller may ask the drainer to skip to the next pack header
// (skipToPackHeader): the library empties the ring when it is positioned, but its streamer thread
// may be committing one last packet of the old position at that moment (it feeds outside the
// streamer's lock), and that packet can land in the ring before the pack header that starts the
// new stretch. Whole PES packets (ISO/IEC 13818-1, 2.4.3.6: start code, stream id, 16-bit length)
// in front of the pack header are dropped, so the output after a positioning starts with it.
//
// Called by the main thread only; the ring itself is shared with the streamer thread and does its
// own locking.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/ContigMemBuffer.h"
#include "tools/OutputStream.h"

namespace velar_play {

class RingDrainer {
public:
    RingDrainer(std::shared_ptr<ContigMemBuffer> ring, OutputStream& output);

    // Waits up to `timeoutMs` for bytes and moves what is there (up to one read chunk) to the
    // output or the hold. Returns the number of bytes taken from the ring.
    size_t drainOnce(uint32_t timeoutMs);

    // Drops what comes before the next pack header (00 00 01 BA), packet by packet.
    void skipToPackHeader();
    uint64_t skippedBytes() const { return mSkipped; }

    // True when the ring holds no unread byte.
    bool ringEmpty() const { return mRing->size() == 0; }

    void setHolding(bool holding) { mHolding = holding; }
    bool holding() const { return mHolding; }
    // Writes the held bytes to the output, or forgets them.
    void commitHeld();
    void dropHeld();
    size_t heldBytes() const { return mHeld.size(); }

    // Bytes written to the output so far (held bytes not counted until committed).
    uint64_t bytesOut() const { return mOutput.bytesWritten(); }

    // When the first byte was taken from the ring (steady clock, read before any batching pause);
    // false before that.
    bool firstByteTime(std::chrono::steady_clock::time_point& when) const {
        when = mFirstByteTime;
        return mHaveFirstByte;
    }

    // Batching: a read that brought less than kBatchBytes is followed by a pause of kBatchPauseMs.
    static constexpr size_t kBatchBytes = 64 * 1024;
    static constexpr uint32_t kBatchPauseMs = 5;

private:
    static constexpr size_t kChunkBytes = 256 * 1024;

    void deliver(const uint8_t* data, size_t size);
    void resync();

    std::shared_ptr<ContigMemBuffer> mRing;
    OutputStream& mOutput;
    std::vector<uint8_t> mChunk;
    std::vector<uint8_t> mHeld;
    bool mHolding = false;
    bool mSkipping = false;
    std::vector<uint8_t> mPending;  // bytes examined while skipping to a pack header
    uint64_t mSkipped = 0;
    bool mHaveFirstByte = false;
    std::chrono::steady_clock::time_point mFirstByteTime;
};

}  // namespace velar_play
