#pragma once

#include <istream>
#include <vector>

namespace ISO {

// The AVC decoder configuration record of ISO/IEC 14496-15, 5.2.4.1 (the payload of an avcC box).
// Reads the header fields and the raw SPS and PPS NAL units; it checks nothing beyond logging
// warnings: the consumer (avfile::H264AvcData) decides what it accepts.
class AVCDecoderConfigurationRecord {
public:
    AVCDecoderConfigurationRecord();
    virtual ~AVCDecoderConfigurationRecord();

    // Parses the record from `in`, one byte at a time, big-endian. Short data is not detected as
    // such: fields read past the end hold the stream's end-of-file value (all ones in the field's
    // width), and no further NAL unit is read once the stream is exhausted. Always returns true.
    bool init(std::istream& in);

    unsigned int configurationVersion() const { return mConfigurationVersion; }
    unsigned int avcProfileIndication() const { return mAvcProfileIndication; }
    unsigned int profileCompatibility() const { return mProfileCompatibility; }
    unsigned int avcLevelIndication() const { return mAvcLevelIndication; }
    unsigned int lengthSizeMinusOne() const { return mLengthSizeMinusOne; }
    const std::vector<std::vector<unsigned char>>& rawSpsNals() const { return mRawSpsNals; }
    const std::vector<std::vector<unsigned char>>& rawPpsNals() const { return mRawPpsNals; }

private:
    unsigned int mConfigurationVersion;
    unsigned int mAvcProfileIndication;
    unsigned int mProfileCompatibility;
    unsigned int mAvcLevelIndication;
    unsigned int mLengthSizeMinusOne;
    std::vector<std::vector<unsigned char>> mRawSpsNals;
    std::vector<std::vector<unsigned char>> mRawPpsNals;
};

}  // namespace ISO
