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
    std::atomic<bool> mDiscarding;
};

}  // namespace avfile
