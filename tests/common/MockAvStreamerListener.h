#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvStreamerListener.h"

namespace velar_test {

// GMock double of a host's streamer listener.
class MockAvStreamerListener : public avfile::IAvStreamerListener {
public:
    MOCK_METHOD(void, onAvTracks, (), (override));
    MOCK_METHOD(void, onAvStateChanged, (const avfile::AvStreamerState& state), (override));
    MOCK_METHOD(void, onAvError, (const avfile::AvBaseException& error), (override));
};

}  // namespace velar_test
