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

// Object type and channels around the index are all ones, then all zeros: only the index counts.
TEST(AacDataTest, RateTable) {
    const unsigned int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
    for (unsigned int index = 0; index < 13; ++index) {
        EXPECT_EQ(rates[index], avfile::AacData(config(31, index, 15)).sampleRate) << index;
        EXPECT_EQ(rates[index], avfile::AacData(config(0, index, 0)).sampleRate) << index;
    }
}

TEST(AacDataTest, RefusesWhatTheTableCannotAnswer) {
    EXPECT_THROW(avfile::AacData{config(2, 13, 2)}, std::out_of_range);
    EXPECT_THROW(avfile::AacData{config(2, 15, 2)}, std::out_of_range);  // explicit rate follows
    EXPECT_THROW(avfile::AacData{Bytes{0x12}}, std::out_of_range);
    EXPECT_THROW(avfile::AacData{Bytes{}}, std::out_of_range);
}

}  // namespace
