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

// Only bits 5-2 of byte 2 change, whatever the byte held before; a rate outside the table (only
// exact matches count) stores index 15.
TEST(AdtsHeaderTest, StoresTheRateIndexInBits5To2OfByte2) {
    const std::pair<unsigned int, unsigned int> rates[] = {
        {96000, 0}, {44100, 4}, {7350, 12}, {44000, 15}, {0, 15}, {192000, 15}};
    for (const auto& [rate, index] : rates) {
        ISO::AdtsHeader header;
        header.data()[2] = 0xEF;  // profile 11, index 1011 (8000), private bit 1, channels[2] 1
        EXPECT_EQ(index != 15, header.setSamplingFrequencyIndex(rate)) << rate;
        Bytes expected = image(ISO::AdtsHeader());
        expected[2] = uint8_t(0xC3 | (index << 2));
        EXPECT_EQ(expected, image(header)) << rate;
    }
}

}  // namespace
