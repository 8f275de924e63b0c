#include "platform/CircularBuffer.h"

#include <algorithm>
#include <chrono>
#include <cstring>

CircularBuffer::CircularBuffer(size_t capacityBytes) : mStorage(capacityBytes) {}

CircularBuffer::~CircularBuffer() = default;

bool CircularBuffer::waitForFreeSpace(size_t bytes, uint32_t timeoutMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (bytes > mStorage.size()) {
        return false;
    }
    const uint64_t clearsAtStart = mClears;
    auto ready = [&] { return mStorage.size() - mUsed >= bytes || mClears != clearsAtStart; };
    if (timeoutMs == 0) {
        mSpaceAvailable.wait(lock, ready);
    } else if (!mSpaceAvailable.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready)) {
        return false;
    }
    return mStorage.size() - mUsed >= bytes;
}

void CircularBuffer::clear() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mReadPos = 0;
        mUsed = 0;
        ++mClears;
    }
    mSpaceAvailable.notify_all();
}

size_t CircularBuffer::write(const uint8_t* data, size_t size) { return commit(data, size); }

size_t CircularBuffer::commit(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mStorage.size() - mUsed < size) {
            return 0;
        }
        copyIn(data, size);
    }
    mDataAvailable.notify_all();
    return size;
}

void CircularBuffer::copyIn(const uint8_t* data, size_t size) {
    const size_t cap = mStorage.size();
    const size_t writePos = (mReadPos + mUsed) % cap;
    const size_t first = std::min(size, cap - writePos);
    std::memcpy(mStorage.data() + writePos, data, first);
    if (size > first) {
        std::memcpy(mStorage.data(), data + first, size - first);
    }
    mUsed += size;
    mTotalWritten += size;
}

size_t CircularBuffer::read(uint8_t* dest, size_t maxBytes, uint32_t timeoutMs) {
    size_t count = 0;
    {
        std::unique_lock<std::mutex> lock(mMutex);
        if (mUsed == 0 && timeoutMs > 0) {
            mDataAvailable.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                    [&] { return mUsed > 0; });
        }
        const size_t cap = mStorage.size();
        count = std::min(maxBytes, mUsed);
        const size_t first = std::min(count, cap - mReadPos);
        std::memcpy(dest, mStorage.data() + mReadPos, first);
        if (count > first) {
            std::memcpy(dest + first, mStorage.data(), count - first);
        }
        mReadPos = cap == 0 ? 0 : (mReadPos + count) % cap;
        mUsed -= count;
    }
    if (count > 0) {
        mSpaceAvailable.notify_all();
    }
    return count;
}

size_t CircularBuffer::size() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUsed;
}

size_t CircularBuffer::freeSpace() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mStorage.size() - mUsed;
}

uint64_t CircularBuffer::totalWritten() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mTotalWritten;
}

uint64_t CircularBuffer::clearCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mClears;
}
