#include "platform/ContigMemBuffer.h"

ContigMemBuffer::ContigMemBuffer(size_t ringBytes, size_t stagingBytes)
    : CircularBuffer(ringBytes), mStaging(stagingBytes) {}

ContigMemBuffer::~ContigMemBuffer() = default;

ContigMemBuffer::ContigMem ContigMemBuffer::getContigMem() {
    return ContigMem{mStaging.data(), mStaging.size()};
}

size_t ContigMemBuffer::writeFromSource(size_t offset, size_t size, bool waitForSpace) {
    if (offset > mStaging.size() || size > mStaging.size() - offset) {
        return 0;
    }
    if (waitForSpace && !waitForFreeSpace(size, 0)) {
        return 0;
    }
    return commit(mStaging.data() + offset, size);
}
