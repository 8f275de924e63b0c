#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "avfile/IAvCodecData.h"

namespace ISO {
class AVCDecoderConfigurationRecord;
}

namespace avfile {

// Checked codec data of an H.264 track, from its AVCDecoderConfigurationRecord (avcC payload):
// the NAL length-prefix width, the one SPS (with levels above 4.1 rewritten to 4.1) and all PPS.
// The constructor throws std::runtime_error ("Could not extract avc data", "Avc data failed
// testing") when the record is unusable downstream.
class H264AvcData : public IAvCodecData {
public:
    static const std::string mCodec;  // "avc1"

    explicit H264AvcData(const std::vector<unsigned char>& extraData);

    // Takes the SPS, the PPS and the prefix width out of the record and repairs the level.
    bool extractAvcData(const ISO::AVCDecoderConfigurationRecord& record);
    // Rejects versions, profiles, levels and prefix widths the decoder cannot handle.
    bool testAvcData(const ISO::AVCDecoderConfigurationRecord& record);

    uint32_t mNalSize = 0;                        // bytes of each NAL length prefix (1, 2 or 4)
    std::vector<unsigned char> mSps;              // the SPS NAL unit, header byte included
    std::vector<std::vector<unsigned char>> mPps; // every PPS NAL unit, in record order
};

}  // namespace avfile
