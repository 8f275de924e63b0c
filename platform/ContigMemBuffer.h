#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/CircularBuffer.h"

// A CircularBuffer with a contiguous staging area in front of it. The writer assembles a packet in
// the staging memory (getContigMem) and commits it to the ring in one piece (writeFromSource), so
// a packet is either in the ring whole or not at all.
//
// The staging memory belongs to the buffer and lives as long as it; only the writer thread may
// touch it. The default staging size holds the largest MPEG-2 PES packet (65536 bytes).
class ContigMemBuffer : public CircularBuffer {
public:
    struct ContigMem {
        uint8_t* data;  // start of the staging memory
        size_t size;    // its size in bytes
    };

    static const size_t kDefaultStagingBytes = 65536;

    explicit ContigMemBuffer(size_t ringBytes, size_t stagingBytes = kDefaultStagingBytes);
    ~ContigMemBuffer() override;

    ContigMem getContigMem();

    // Moves `size` bytes that start `offset` bytes into the staging memory into the ring. With
    // `waitForSpace` true it first blocks in waitForFreeSpace(size, 0); with false it does not wait.
    // Returns `size` when the bytes were committed, 0 when they did not fit (or the range lies
    // outside the staging memory).
    size_t writeFromSource(size_t offset, size_t size, bool waitForSpace);

private:
    std::vector<uint8_t> mStaging;
};
