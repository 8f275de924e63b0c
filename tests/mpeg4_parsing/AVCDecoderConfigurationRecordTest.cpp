#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"

namespace {

using Bytes = std::vector<unsigned char>;

// avcC of a High profile (100), level 3.1 stream with 4-byte prefixes, one SPS, two PPS.
const Bytes kRecord = {
    0x01,                          // configurationVersion
    0x64,                          // AVCProfileIndication 100
    0x00,                          // profile_compatibility
    0x1F,                          // AVCLevelIndication 31
    0xFF,                          // reserved 111111, lengthSizeMinusOne 3
    0xE1,                          // reserved 111, numOfSequenceParameterSets 1
    0x00, 0x05,                    // sequenceParameterSetLength 5
    0x67, 0x64, 0x00, 0x1F, 0xAC,  // SPS NAL unit
    0x02,                          // numOfPictureParameterSets 2
    0x00, 0x03,                    // pictureParameterSetLength 3
    0x68, 0xEB, 0xE3,              // PPS 1
    0x00, 0x02,                    // pictureParameterSetLength 2
    0x68, 0x01,                    // PPS 2
};

ISO::AVCDecoderConfigurationRecord parse(const Bytes& bytes) {
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    ISO::AVCDecoderConfigurationRecord record;
    EXPECT_TRUE(record.init(in));
    return record;
}

// An un-set reserved bit in either byte is warned about; the parse goes on.
TEST(AVCDecoderConfigurationRecordTest, WarnsAboutReservedBitsAndGoesOn) {
    velar_test::LogCapture log;
    Bytes bytes = kRecord;
    bytes[5] = 0x61;
    EXPECT_EQ(2u, parse(bytes).rawPpsNals().size());
    EXPECT_EQ((std::vector<std::string>{"Warning: un-set bits found in reserved section of an "
                                        "AVCDecoderConfigurationRecord."}),
              log.messages());
}

TEST(AVCDecoderConfigurationRecordTest, ShortDataLeavesAZeroTail) {
    const auto record = parse(Bytes(kRecord.begin(), kRecord.begin() + 17));  // inside PPS 1
    EXPECT_EQ(1u, record.rawSpsNals().size());
    EXPECT_EQ((std::vector<Bytes>{{0x68, 0x00, 0x00}}), record.rawPpsNals());
}

}  // namespace
