#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "avfile/IAvPacketBuffer.h"
#include "platform/ContigMemBuffer.h"

namespace avfile {

// Stages the bytes of one PES packet in the host buffer's contiguous memory and commits them to
// its ring in one piece (writeFromSource), blocking while the ring is full. While discarding
// (around a seek) every write is dropped; leaving that state empties the ring and writes an
// MPEG-2 pack header first.
//
// Copies: two, both needed. Staging is where the packet is assembled contiguously (PES header,
// start codes or ADTS header, payload: the pieces come from different places); the commit is the
// one write into the ring, made by the host's buffer from its staging memory so that the ring
// never holds part of a packet. Nothing is allocated.
//
// Decision: a packet that would run past the end of the staging memory (only reachable with
// malformed input: pending bytes of a cut-short unit in front of a full packet) is not staged; it
// is dropped as a whole when it is flushed, with the log line of a failed commit ("Failed to
// write data.").
//
// writeData runs on the streamer thread only. discardData is called from the thread that changes
// the position, under the streamer's lock; `mDiscarding` is atomic because the streamer thread
// reads it without that lock.
class AvPacketBuffer : public IAvPacketBuffer {
public:
    explicit AvPacketBuffer(std::shared_ptr<ContigMemBuffer> buffer);

    // Stages `size` bytes (at most one PES packet, 65532 bytes, in all; not checked) and, with
    // `flush`, commits everything staged.
    void writeData(const uint8_t* data, size_t size, bool flush) override;
    void discardData(bool discard) override;

private:
    std::shared_ptr<ContigMemBuffer> mBuffer;
    uint32_t mFill;
    uint8_t* mStaging;
    size_t mStagingSize;  // bytes
    bool mOverflow;       // the packet being staged did not fit; dropped at its flush
    std::atomic<bool> mDiscarding;
};

}  // namespace avfile
