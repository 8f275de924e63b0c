#pragma once

#include <cstddef>
#include <cstdint>

namespace avfile {

// Stages the bytes of one PES packet and commits them to the host's ring in one piece; can drop
// everything while the streamer repositions. Used by the streamer thread only.
class IAvPacketBuffer {
public:
    // Stages `size` bytes; with `flush` true commits everything staged as one packet (blocking
    // while the ring is full).
    virtual void writeData(const uint8_t* data, size_t size, bool flush) = 0;
    // Empties the ring; `discard` true drops all further writes, false resumes and writes a pack
    // header first.
    virtual void discardData(bool discard) = 0;
    virtual ~IAvPacketBuffer() {}
};

}  // namespace avfile
