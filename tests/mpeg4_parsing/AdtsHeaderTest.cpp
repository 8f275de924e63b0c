#include "mpeg4_parsing/AdtsHeader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes image(const ISO::AdtsHeader& header) {
    return Bytes(header.data(), header.data() + ISO::AdtsHeader::kSize);
}

TEST(AdtsHeaderTest, DefaultImage) {
    const Bytes expected = {
        0xFF,  // syncword
        0xF1,  // syncword, ID 0 (MPEG-4), layer 00, protection_absent 1
        0x4C,  // profile 01 (LC), sampling_frequency_index 0011 (48000), private 0, channels[2] 0
        0x80,  // channels[1..0] 10, original/home/copyright 0, frame_length[12..11] 0
        0x00,  // frame_length[10..3]
        0x1F,  // frame_length[2..0] 0, buffer_fullness[10..6] all ones
        0xFC,  // buffer_fullness[5..0] all ones, no further raw data blocks
    };
    EXPECT_EQ(expected, image(ISO::AdtsHeader()));
}

class AdtsRateTest : public ::testing::TestWithParam<std::pair<unsigned int, unsigned int>> {};

TEST_P(AdtsRateTest, StoresTheIndexInBits5To2OfByte2) {
    const auto [rate, index] = GetParam();
    ISO::AdtsHeader header;
    EXPECT_TRUE(header.setSamplingFrequencyIndex(rate));
    Bytes expected = image(ISO::AdtsHeader());
    expected[2] = static_cast<uint8_t>(0x40 | (index << 2));  // profile 01, index, 0, channels[2]
    EXPECT_EQ(expected, image(header));
}

INSTANTIATE_TEST_SUITE_P(
    Table, AdtsRateTest,
    ::testing::Values(std::make_pair(96000u, 0u), std::make_pair(88200u, 1u),
                      std::make_pair(64000u, 2u), std::make_pair(48000u, 3u),
                      std::make_pair(44100u, 4u), std::make_pair(32000u, 5u),
                      std::make_pair(24000u, 6u), std::make_pair(22050u, 7u),
                      std::make_pair(16000u, 8u), std::make_pair(12000u, 9u),
                      std::make_pair(11025u, 10u), std::make_pair(8000u, 11u),
                      std::make_pair(7350u, 12u)));

TEST(AdtsHeaderTest, Rate44100GivesByte2Of50) {
    ISO::AdtsHeader header;
    EXPECT_TRUE(header.setSamplingFrequencyIndex(44100));
    EXPECT_EQ((Bytes{0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC}), image(header));
}

class AdtsUnknownRateTest : public ::testing::TestWithParam<unsigned int> {};

TEST_P(AdtsUnknownRateTest, StoresIndex15AndFails) {
    ISO::AdtsHeader header;
    header.setSamplingFrequencyIndex(8000);  // a previous good index is overwritten
    EXPECT_FALSE(header.setSamplingFrequencyIndex(GetParam()));
    EXPECT_EQ((Bytes{0xFF, 0xF1, 0x7C, 0x80, 0x00, 0x1F, 0xFC}), image(header));
}

INSTANTIATE_TEST_SUITE_P(OnlyExactMatches, AdtsUnknownRateTest,
                         ::testing::Values(44000u, 0u, 7349u, 7351u, 96001u, 192000u, 15u));

TEST(AdtsHeaderTest, KeepsOtherBitsOfByte2) {
    ISO::AdtsHeader header;
    header.data()[2] = 0xC3;  // profile 11, private bit and channels[2] set
    header.setSamplingFrequencyIndex(22050);
    EXPECT_EQ(0xC3 | (7 << 2), header.data()[2]);
}

}  // namespace
