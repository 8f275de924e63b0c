#include "avfile/AacData.h"

#include <array>

namespace avfile {

const std::string AacData::mCodec = "aac";

namespace {

// samplingFrequencyIndex 0 to 12 (ISO/IEC 14496-3, Table 1.18).
const std::array<uint32_t, 13> kSampleRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                               22050, 16000, 12000, 11025, 8000,  7350};

}  // namespace

AacData::AacData(const std::vector<unsigned char>& extraData) {
    // 5 bits audioObjectType, then 4 bits samplingFrequencyIndex.
    const unsigned int first16 = (unsigned(extraData.at(0)) << 8) | extraData.at(1);
    sampleRate = kSampleRates.at((first16 >> 7) & 0x0F);
}

}  // namespace avfile
