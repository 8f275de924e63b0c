#include "avfile/AvFeederFactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "avfile/AacFeeder.h"
#include "avfile/H264Feeder.h"
#include "tests/common/LogCapture.h"
#include "tests/common/MockAvPacketBuffer.h"

using ::testing::NiceMock;

namespace {

enum class Made { H264, Aac, Nothing };

struct CodecCase {
    const char* name;
    std::string codec;
    Made made;
};

class AvFeederFactoryCodecTest : public ::testing::TestWithParam<CodecCase> {};

TEST_P(AvFeederFactoryCodecTest, SelectsTheFeederByCodecName) {
    avfile::AvFeederFactory factory(std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>());
    velar_test::LogCapture log;
    std::shared_ptr<avfile::IAvFeeder> feeder = factory.getFeeder(GetParam().codec);
    const Made made = std::dynamic_pointer_cast<avfile::H264Feeder>(feeder)  ? Made::H264
                      : std::dynamic_pointer_cast<avfile::AacFeeder>(feeder) ? Made::Aac
                                                                             : Made::Nothing;
    EXPECT_EQ(GetParam().made, made);
    EXPECT_EQ(made != Made::Nothing, bool(feeder));
    if (GetParam().made == Made::H264) {  // only the H.264 branch says where its PES buffer is
        ASSERT_EQ(1u, log.lines().size());
        EXPECT_EQ(0, log.lines()[0].level);
        EXPECT_THAT(log.lines()[0].message, ::testing::MatchesRegex("pesBuffer 0x[0-9a-f]+"));
    } else {
        EXPECT_TRUE(log.lines().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, AvFeederFactoryCodecTest,
    ::testing::Values(CodecCase{"Avc1", "avc1", Made::H264}, CodecCase{"Aac", "aac", Made::Aac},
                      CodecCase{"UpperCaseAvc1", "AVC1", Made::Nothing},
                      CodecCase{"Mp4a", "mp4a", Made::Nothing},
                      CodecCase{"Empty", "", Made::Nothing},
                      CodecCase{"TrailingBlank", "avc1 ", Made::Nothing},
                      CodecCase{"EmbeddedNul", std::string("aac\0x", 5), Made::Nothing}),
    [](const ::testing::TestParamInfo<CodecCase>& info) { return info.param.name; });

TEST(AvFeederFactoryTest, RefusesAnEmptyPacketBuffer) {
    EXPECT_THROW(avfile::AvFeederFactory(nullptr), std::invalid_argument);
}

}  // namespace
