#include "avfile/AvFeederFactory.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "avfile/AacFeeder.h"
#include "avfile/H264Feeder.h"
#include "tests/common/MockAvPacketBuffer.h"

namespace {

// Only the exact names make a feeder.
TEST(AvFeederFactoryTest, SelectsTheFeederByCodecName) {
    avfile::AvFeederFactory factory(
        std::make_shared<::testing::NiceMock<velar_test::MockAvPacketBuffer>>());
    EXPECT_TRUE(std::dynamic_pointer_cast<avfile::H264Feeder>(factory.getFeeder("avc1")));
    EXPECT_TRUE(std::dynamic_pointer_cast<avfile::AacFeeder>(factory.getFeeder("aac")));
    for (const std::string& codec : std::vector<std::string>{"AVC1", "mp4a", "", "avc1 ",
                                                         std::string("aac\0x", 5)}) {
        EXPECT_EQ(nullptr, factory.getFeeder(codec)) << codec;
    }
    EXPECT_THROW(avfile::AvFeederFactory(nullptr), std::invalid_argument);
}

}  // namespace
