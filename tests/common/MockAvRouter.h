#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvRouter.h"

namespace velar_test {

// GMock double of the sample router.
class MockAvRouter : public avfile::IAvRouter {
public:
    MOCK_METHOD(void, addTrack, (unsigned int track, std::string codec), (override));
    MOCK_METHOD(void, clearTracks, (), (override));
    MOCK_METHOD(bool, noTracks, (), (const, override));
    MOCK_METHOD(uint64_t, getCurrentPtsMs, (), (const, override));
    MOCK_METHOD(uint32_t, getTimingTrack, (), (const, override));
    MOCK_METHOD(void, feedSample, (const avfile::AvSample& sample), (override));
};

}  // namespace velar_test
