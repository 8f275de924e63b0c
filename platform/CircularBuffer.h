#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

// A byte ring shared by one writer (the library's streamer thread) and one reader (the host's
// decoder feed). All operations are thread-safe.
//
// Writes are all or nothing: a packet is either committed whole or not at all, so the reader never
// sees part of a packet. The only blocking calls are waitForFreeSpace (writer) and read (reader).
class CircularBuffer {
public:
    explicit CircularBuffer(size_t capacityBytes);
    virtual ~CircularBuffer();
    CircularBuffer(const CircularBuffer&) = delete;
    CircularBuffer& operator=(const CircularBuffer&) = delete;

    // Blocks until `bytes` can be written. `timeoutMs` 0 waits without limit; any other value
    // gives up after that many milliseconds. A clear() wakes the waiter (the ring is then empty, so
    // the space is there). Returns true when the space is free now; false on time-out, and at once
    // when `bytes` exceeds the capacity (it could never fit).
    bool waitForFreeSpace(size_t bytes, uint32_t timeoutMs);

    // Drops every unread byte and wakes a writer blocked in waitForFreeSpace.
    void clear();

    // Appends `size` bytes when they fit entirely; returns `size`, or 0 (nothing written) when they
    // do not. Never blocks.
    size_t write(const uint8_t* data, size_t size);

    // Reader side. Waits up to `timeoutMs` (0: do not wait) for data, then moves up to `maxBytes`
    // into `dest`. Returns the number of bytes read, 0 when nothing arrived in time.
    size_t read(uint8_t* dest, size_t maxBytes, uint32_t timeoutMs);

    size_t capacity() const { return mStorage.size(); }
    size_t size() const;       // unread bytes
    size_t freeSpace() const;  // capacity() - size()
    uint64_t totalWritten() const;  // bytes committed since construction (clear() does not reset)
    uint64_t clearCount() const;    // number of clear() calls since construction

protected:
    // Commits `size` bytes under the lock if they fit; shared by write() and subclasses.
    size_t commit(const uint8_t* data, size_t size);

private:
    void copyIn(const uint8_t* data, size_t size);  // caller holds mMutex and checked the space

    mutable std::mutex mMutex;
    std::condition_variable mSpaceAvailable;
    std::condition_variable mDataAvailable;
    std::vector<uint8_t> mStorage;
    size_t mReadPos = 0;
    size_t mUsed = 0;
    uint64_t mTotalWritten = 0;
    uint64_t mClears = 0;
};
