#include "avfile/AacData.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// AudioSpecificConfig: audioObjectType (5 bits), samplingFrequencyIndex (4), channels (4), ...
Bytes config(unsigned int objectType, unsigned int index, unsigned int channels) {
    const unsigned int bits = (objectType << 11) | (index << 7) | (channels << 3);
    return {static_cast<unsigned char>(bits >> 8), static_cast<unsigned char>(bits)};
}

TEST(AacDataTest, CodecName) { EXPECT_EQ("aac", avfile::AacData::mCodec); }

TEST(AacDataTest, CommonConfigurations) {
    EXPECT_EQ(44100u, avfile::AacData(Bytes{0x12, 0x10}).sampleRate);  // LC, 44100, stereo
    EXPECT_EQ(48000u, avfile::AacData(Bytes{0x11, 0x90}).sampleRate);  // LC, 48000, stereo
    EXPECT_EQ(48000u, avfile::AacData(Bytes{0x11, 0x88}).sampleRate);  // LC, 48000, mono
    // Trailing bytes (e.g. an SBR extension) are ignored.
    EXPECT_EQ(24000u, avfile::AacData(Bytes{0x13, 0x10, 0x56, 0xE5, 0x98}).sampleRate);
}

TEST(AacDataTest, RateTable) {
    const unsigned int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
    for (unsigned int index = 0; index < 13; ++index) {
        for (unsigned int objectType : {1u, 2u, 5u, 31u}) {
            for (unsigned int channels : {0u, 1u, 2u, 15u}) {
                EXPECT_EQ(rates[index],
                          avfile::AacData(config(objectType, index, channels)).sampleRate)
                    << "index " << index << " object type " << objectType << " channels "
                    << channels;
            }
        }
    }
}

TEST(AacDataTest, IndexOutsideTheTableIsRefused) {
    for (unsigned int index : {13u, 14u, 15u}) {
        EXPECT_THROW(avfile::AacData{config(2, index, 2)}, std::out_of_range) << index;
    }
}

TEST(AacDataTest, ShortConfigurationIsRefused) {
    EXPECT_THROW(avfile::AacData{Bytes{}}, std::out_of_range);
    EXPECT_THROW(avfile::AacData{Bytes{0x12}}, std::out_of_range);
}

}  // namespace
