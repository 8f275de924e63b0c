#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"

namespace {

using Bytes = std::vector<unsigned char>;

const char* const kSource = "mpeg4_parsing/ISO_14496-15_Box_Extensions";

std::istringstream streamOf(const Bytes& bytes) {
    return std::istringstream(std::string(bytes.begin(), bytes.end()));
}

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

TEST(AVCDecoderConfigurationRecordTest, DefaultConstructorZeroesEverything) {
    ISO::AVCDecoderConfigurationRecord record;
    EXPECT_EQ(0u, record.configurationVersion());
    EXPECT_EQ(0u, record.avcProfileIndication());
    EXPECT_EQ(0u, record.profileCompatibility());
    EXPECT_EQ(0u, record.avcLevelIndication());
    EXPECT_EQ(0u, record.lengthSizeMinusOne());
    EXPECT_TRUE(record.rawSpsNals().empty());
    EXPECT_TRUE(record.rawPpsNals().empty());
}

TEST(AVCDecoderConfigurationRecordTest, ParsesFieldsAndParameterSets) {
    velar_test::LogCapture log;
    auto in = streamOf(kRecord);
    ISO::AVCDecoderConfigurationRecord record;
    EXPECT_TRUE(record.init(in));
    EXPECT_EQ(1u, record.configurationVersion());
    EXPECT_EQ(100u, record.avcProfileIndication());
    EXPECT_EQ(0u, record.profileCompatibility());
    EXPECT_EQ(31u, record.avcLevelIndication());
    EXPECT_EQ(3u, record.lengthSizeMinusOne());
    EXPECT_EQ((std::vector<Bytes>{{0x67, 0x64, 0x00, 0x1F, 0xAC}}), record.rawSpsNals());
    EXPECT_EQ((std::vector<Bytes>{{0x68, 0xEB, 0xE3}, {0x68, 0x01}}), record.rawPpsNals());
    EXPECT_TRUE(log.messages().empty());
}

TEST(AVCDecoderConfigurationRecordTest, WarnsAboutVersionAndReservedBitsButGoesOn) {
    velar_test::LogCapture log;
    Bytes bytes = kRecord;
    bytes[0] = 0x02;  // unknown version
    bytes[4] = 0xFD;  // reserved bits 111111, lengthSizeMinusOne 1
    bytes[5] = 0x61;  // reserved 011: one bit un-set
    auto in = streamOf(bytes);
    ISO::AVCDecoderConfigurationRecord record;
    EXPECT_TRUE(record.init(in));
    EXPECT_EQ(2u, record.configurationVersion());
    EXPECT_EQ(1u, record.lengthSizeMinusOne());
    EXPECT_EQ(1u, record.rawSpsNals().size());
    EXPECT_EQ(2u, record.rawPpsNals().size());
    const std::vector<std::string> expected = {
        "Warning: unknown configuration version '2' in an AVCDecoderConfigurationRecord.",
        "Warning: un-set bits found in reserved section of an AVCDecoderConfigurationRecord.",
    };
    EXPECT_EQ(expected, log.messages());
    for (const auto& line : log.lines()) {
        EXPECT_EQ(kSource, line.source);
        EXPECT_EQ(0, line.level);
    }
}

TEST(AVCDecoderConfigurationRecordTest, ReservedBitsOfTheSecondByteAlsoCount) {
    velar_test::LogCapture log;
    Bytes bytes = kRecord;
    bytes[4] = 0x7F;  // first reserved bit un-set
    auto in = streamOf(bytes);
    ISO::AVCDecoderConfigurationRecord record;
    record.init(in);
    EXPECT_TRUE(log.contains(
        "Warning: un-set bits found in reserved section of an AVCDecoderConfigurationRecord."));
}

TEST(AVCDecoderConfigurationRecordTest, ReadsEverySpsAndWarnsAboutMultiple) {
    velar_test::LogCapture log;
    const Bytes bytes = {
        0x01, 0x42, 0xC0, 0x1E, 0xFC,  // version 1, Baseline, level 3.0, lengthSizeMinusOne 0
        0xE2,                          // two SPS
        0x00, 0x02, 0x67, 0x42,        // SPS 1
        0x00, 0x01, 0x67,              // SPS 2
        0x00,                          // no PPS
    };
    auto in = streamOf(bytes);
    ISO::AVCDecoderConfigurationRecord record;
    record.init(in);
    EXPECT_EQ(0u, record.lengthSizeMinusOne());
    EXPECT_EQ((std::vector<Bytes>{{0x67, 0x42}, {0x67}}), record.rawSpsNals());
    EXPECT_TRUE(record.rawPpsNals().empty());
    EXPECT_EQ((std::vector<std::string>{"Warning: Multiple SPS's found.  All PPS's will be "
                                        "associated with the first SPS."}),
              log.messages());
}

TEST(AVCDecoderConfigurationRecordTest, ShortDataIsNotDetectedAsSuch) {
    // Cut inside the first PPS: the PPS keeps a zero tail, nothing more is read.
    Bytes cut(kRecord.begin(), kRecord.begin() + 17);
    auto in = streamOf(cut);
    ISO::AVCDecoderConfigurationRecord record;
    EXPECT_TRUE(record.init(in));
    EXPECT_EQ(1u, record.rawSpsNals().size());
    EXPECT_EQ((std::vector<Bytes>{{0x68, 0x00, 0x00}}), record.rawPpsNals());

    // Cut after the SPS: the PPS count reads the end-of-file value but no PPS follows.
    Bytes noPps(kRecord.begin(), kRecord.begin() + 13);
    auto in2 = streamOf(noPps);
    ISO::AVCDecoderConfigurationRecord record2;
    EXPECT_TRUE(record2.init(in2));
    EXPECT_EQ(1u, record2.rawSpsNals().size());
    EXPECT_TRUE(record2.rawPpsNals().empty());

    // Nothing at all: fields hold end-of-file values, no parameter sets.
    velar_test::LogCapture log;
    std::istringstream empty;
    ISO::AVCDecoderConfigurationRecord record3;
    EXPECT_TRUE(record3.init(empty));
    EXPECT_NE(1u, record3.configurationVersion());
    EXPECT_TRUE(record3.rawSpsNals().empty());
    EXPECT_TRUE(record3.rawPpsNals().empty());
    EXPECT_TRUE(log.containsFragment("Warning: unknown configuration version"));
}

TEST(AVCDecoderConfigurationRecordTest, InitReplacesAnEarlierParse) {
    ISO::AVCDecoderConfigurationRecord record;
    auto first = streamOf(kRecord);
    record.init(first);
    auto second = streamOf(kRecord);
    record.init(second);
    EXPECT_EQ(1u, record.rawSpsNals().size());
    EXPECT_EQ(2u, record.rawPpsNals().size());
}

}  // namespace
