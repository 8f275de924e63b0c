#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "avfile/IAvCodecData.h"

namespace avfile {

// Codec data of an AAC track: the sampling rate from the AudioSpecificConfig (ISO/IEC 14496-3,
// 1.6.2.1), the one value the ADTS header needs. Object type and channels are ignored.
class AacData : public IAvCodecData {
public:
    static const std::string mCodec;  // "aac"

    // Throws std::out_of_range for fewer than two bytes or a samplingFrequencyIndex of 13 or more
    // (including the escape 15 with an explicit rate).
    explicit AacData(const std::vector<unsigned char>& extraData);

    uint32_t sampleRate = 0;  // Hz
};

}  // namespace avfile
