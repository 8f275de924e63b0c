#include "avfile/AvCodecDataFactory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "avfile/AacData.h"
#include "avfile/H264AvcData.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Main profile, level 3.0, 4-byte prefixes, one SPS and one PPS.
const Bytes kAvcc = {0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D,
                     0x40, 0x1E, 0x01, 0x00, 0x02, 0x68, 0xEE};

class AvCodecDataFactoryTest : public ::testing::Test {
protected:
    std::shared_ptr<avfile::IAvCodecDataFactory> factory =
        std::make_shared<avfile::AvCodecDataFactory>();
    velar_test::LogCapture log;
};

TEST_F(AvCodecDataFactoryTest, MakesH264DataForAvc1) {
    auto data = factory->getCodecData("avc1", kAvcc);
    auto avc = std::dynamic_pointer_cast<avfile::H264AvcData>(data);
    ASSERT_TRUE(avc);
    EXPECT_EQ(4u, avc->mNalSize);
    EXPECT_EQ((Bytes{0x67, 0x4D, 0x40, 0x1E}), avc->mSps);
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(AvCodecDataFactoryTest, MakesAacDataForAac) {
    auto aac = std::dynamic_pointer_cast<avfile::AacData>(factory->getCodecData("aac", {0x11, 0x90}));
    ASSERT_TRUE(aac);
    EXPECT_EQ(48000u, aac->sampleRate);
}

TEST_F(AvCodecDataFactoryTest, OtherCodecsGiveNothingSilently) {
    for (const char* codec : {"", "mp4a", "AVC1", "avc3", "hev1", "aac "}) {
        EXPECT_FALSE(factory->getCodecData(codec, kAvcc)) << codec;
        EXPECT_FALSE(factory->getCodecData(codec, {0x11, 0x90})) << codec;
    }
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(AvCodecDataFactoryTest, RefusedDataIsLoggedAndGivesNothing) {
    Bytes high10 = kAvcc;
    high10[9] = 110;  // profile_idc in the SPS: High 10
    high10[10] = 0;   // without constraint flags
    EXPECT_FALSE(factory->getCodecData("avc1", high10));
    EXPECT_TRUE(log.contains("end, Failed to parse avc1"));

    log.clear();
    EXPECT_FALSE(factory->getCodecData("avc1", Bytes{}));
    EXPECT_FALSE(factory->getCodecData("avc1", Bytes(kAvcc.begin(), kAvcc.begin() + 10)));
    EXPECT_EQ(2u, log.count("end, Failed to parse avc1"));

    log.clear();
    EXPECT_FALSE(factory->getCodecData("aac", Bytes{0x12}));  // out_of_range is caught too
    EXPECT_FALSE(factory->getCodecData("aac", Bytes{0x17, 0x80}));  // index 15
    const std::vector<std::string> expected = {"end, Failed to parse aac",
                                               "end, Failed to parse aac"};
    EXPECT_EQ(expected, log.messages());
    for (const auto& line : log.lines()) {
        EXPECT_EQ("avfile/AvCodecDataFactory", line.source);
        EXPECT_EQ(0, line.level);
    }
}

}  // namespace
