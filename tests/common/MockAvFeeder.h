#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvFeeder.h"

namespace velar_test {

// GMock double of a per-track feeder.
class MockAvFeeder : public avfile::IAvFeeder {
public:
    MOCK_METHOD(void, feedSample, (const avfile::AvSample& sample), (override));
    MOCK_METHOD(bool, isTimingTrack, (), (override));
};

}  // namespace velar_test
