#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvFile.h"

namespace velar_test {

// GMock double of a presentation.
class MockAvFile : public avfile::IAvFile {
public:
    MOCK_METHOD(uint64_t, getDuration, (), (const, override));
    MOCK_METHOD(bool, isActive, (), (const, override));
    MOCK_METHOD(uint64_t, getActiveDuration, (uint32_t track), (const, override));
    MOCK_METHOD(uint64_t, getEarliestAvailablePosition, (), (const, override));
    MOCK_METHOD(int64_t, getPositionFromPts, (uint64_t pts), (const, override));
    MOCK_METHOD(uint64_t, getIFramePosition, (uint32_t track, uint64_t positionMs),
                (const, override));
    MOCK_METHOD(bool, jumpToTime, (uint32_t track, uint64_t positionMs), (override));
    MOCK_METHOD(avfile::AvStatus, getNextSample, (avfile::AvSample & sample), (override));
    MOCK_METHOD(void, setSampleFilter, (avfile::AvSampleFilter filter), (override));
    MOCK_METHOD(std::vector<avfile::AvTrack>, getTracks, (), (const, override));
    MOCK_METHOD(void, setPlaybackRate, (int rate), (override));
};

}  // namespace velar_test
