#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvPacketBuffer.h"

namespace velar_test {

// GMock double of the packet buffer in front of the host's ring.
class MockAvPacketBuffer : public avfile::IAvPacketBuffer {
public:
    MOCK_METHOD(void, writeData, (const uint8_t* data, size_t size, bool flush), (override));
    MOCK_METHOD(void, discardData, (bool discard), (override));
};

}  // namespace velar_test
