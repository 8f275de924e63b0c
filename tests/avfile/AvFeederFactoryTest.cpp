#include "avfile/AvFeederFactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/MockAvPacketBuffer.h"
#include "avfile/AacData.h"
#include "avfile/AacFeeder.h"
#include "avfile/H264Feeder.h"

using ::testing::_;
using ::testing::Invoke;
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
    switch (GetParam().made) {
        case Made::H264:
            ASSERT_TRUE(std::dynamic_pointer_cast<avfile::H264Feeder>(feeder));
            EXPECT_TRUE(feeder->isTimingTrack());
            ASSERT_EQ(1u, log.lines().size());
            EXPECT_EQ(0, log.lines()[0].level);
            EXPECT_EQ("avfile/AvFeederFactory", log.lines()[0].source);
            EXPECT_THAT(log.lines()[0].message, ::testing::MatchesRegex("pesBuffer 0x[0-9a-f]+"));
            break;
        case Made::Aac:
            ASSERT_TRUE(std::dynamic_pointer_cast<avfile::AacFeeder>(feeder));
            EXPECT_FALSE(feeder->isTimingTrack());
            EXPECT_TRUE(log.lines().empty());
            break;
        case Made::Nothing:
            EXPECT_FALSE(feeder);
            EXPECT_TRUE(log.lines().empty());  // no message for an unknown codec
            break;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, AvFeederFactoryCodecTest,
    ::testing::Values(CodecCase{"Avc1", "avc1", Made::H264}, CodecCase{"Aac", "aac", Made::Aac},
                      CodecCase{"UpperCaseAvc1", "AVC1", Made::Nothing},
                      CodecCase{"UpperCaseAac", "AAC", Made::Nothing},
                      CodecCase{"Mp4a", "mp4a", Made::Nothing},
                      CodecCase{"Hevc", "hvc1", Made::Nothing},
                      CodecCase{"Empty", "", Made::Nothing},
                      CodecCase{"TrailingBlank", "avc1 ", Made::Nothing},
                      CodecCase{"EmbeddedNul", std::string("aac\0x", 5), Made::Nothing}),
    [](const ::testing::TestParamInfo<CodecCase>& info) { return info.param.name; });

TEST(AvFeederFactoryTest, EveryCallMakesANewFeeder) {
    avfile::AvFeederFactory factory(std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>());
    auto first = factory.getFeeder("aac");
    auto second = factory.getFeeder("aac");
    ASSERT_TRUE(first && second);
    EXPECT_NE(first.get(), second.get());
}

// The feeder writes its PES packets into the factory's packet buffer: one AAC access unit of
// 10 bytes becomes one committed packet (ISO/IEC 13818-1 PES with PTS, ADTS header, payload).
TEST(AvFeederFactoryTest, FeederWritesIntoTheSharedPacketBuffer) {
    auto packets = std::make_shared<NiceMock<velar_test::MockAvPacketBuffer>>();
    std::vector<uint8_t> staged;
    int commits = 0;
    ON_CALL(*packets, writeData(_, _, _))
        .WillByDefault(Invoke([&](const uint8_t* data, size_t size, bool flush) {
            staged.insert(staged.end(), data, data + size);
            commits += flush ? 1 : 0;
        }));
    avfile::AvFeederFactory factory(packets);
    auto feeder = factory.getFeeder("aac");
    ASSERT_TRUE(feeder);

    avfile::AvSample sample;
    sample.track = 1;
    sample.data.assign(10, 0xAB);
    sample.pts = 90000;
    sample.dts = 90000;
    sample.trackInfo.type = avfile::AvTrackType::Audio;
    sample.trackInfo.codec = "aac";
    sample.trackInfo.codecData = std::make_shared<avfile::AacData>(std::vector<unsigned char>{
        0x12, 0x10});  // AudioSpecificConfig: AAC LC, 44100 Hz, 2 channels
    feeder->feedSample(sample);

    EXPECT_EQ(1, commits);
    ASSERT_EQ(14u + 7u + 10u, staged.size());  // PES header with PTS, ADTS header, payload
    EXPECT_EQ((std::vector<uint8_t>{0x00, 0x00, 0x01, 0xC0}),  // packet_start_code_prefix, audio 0
              std::vector<uint8_t>(staged.begin(), staged.begin() + 4));
    EXPECT_EQ(0xFF, staged[14]);  // ADTS syncword follows the PES header
    EXPECT_EQ(std::vector<uint8_t>(10, 0xAB), std::vector<uint8_t>(staged.end() - 10, staged.end()));
}

TEST(AvFeederFactoryTest, RefusesAnEmptyPacketBuffer) {
    EXPECT_THROW(avfile::AvFeederFactory(nullptr), std::invalid_argument);
}

}  // namespace
