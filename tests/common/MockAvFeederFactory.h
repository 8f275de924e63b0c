#pragma once

#include <gmock/gmock.h>

#include "avfile/IAvFeederFactory.h"

namespace velar_test {

// GMock double of the feeder factory.
class MockAvFeederFactory : public avfile::IAvFeederFactory {
public:
    MOCK_METHOD(std::shared_ptr<avfile::IAvFeeder>, getFeeder, (const std::string& codec),
                (override));
};

}  // namespace velar_test
