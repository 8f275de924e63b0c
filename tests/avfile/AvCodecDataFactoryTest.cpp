#include "avfile/AvCodecDataFactory.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/H264AvcData.h"
#include "tests/common/LogCapture.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Main profile, level 3.0, 4-byte prefixes, one SPS and one PPS; then High 10 without flags.
const Bytes kAvcc = {0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67,
                     0x4D, 0x40, 0x1E, 0x01, 0x00, 0x02, 0x68, 0xEE};
const Bytes kHigh10 = {0x01, 0x6E, 0x00, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67,
                       0x6E, 0x00, 0x1E, 0x01, 0x00, 0x02, 0x68, 0xEE};

struct Case {
    const char* name;
    const char* codec;
    Bytes extraData;
    const char* made;     // dynamic type of the result, "" for none
    const char* logged;   // the factory's line; when "" nothing at all is logged
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class AvCodecDataFactoryTest : public ::testing::TestWithParam<Case> {};

TEST_P(AvCodecDataFactoryTest, PicksTheClassByNameAndNeverThrows) {
    const Case& c = GetParam();
    velar_test::LogCapture log;
    const auto data = avfile::AvCodecDataFactory().getCodecData(c.codec, c.extraData);
    EXPECT_STREQ(c.made, std::dynamic_pointer_cast<avfile::H264AvcData>(data) ? "H264AvcData"
                         : std::dynamic_pointer_cast<avfile::AacData>(data)   ? "AacData"
                         : data                                               ? "other"
                                                                              : "");
    const auto lines = log.lines();
    if (*c.logged == '\0') {
        EXPECT_TRUE(lines.empty());
    } else {
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(c.logged, lines.back().message);
        EXPECT_EQ("avfile/AvCodecDataFactory", lines.back().source);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, AvCodecDataFactoryTest,
    ::testing::Values(Case{"Avc1", "avc1", kAvcc, "H264AvcData", ""},
                      Case{"Aac", "aac", {0x11, 0x90}, "AacData", ""},
                      Case{"OtherNameWithAvcData", "avc3", kAvcc, "", ""},
                      Case{"OtherNameWithAacData", "mp4a", {0x11, 0x90}, "", ""},
                      Case{"RefusedAvcData", "avc1", kHigh10, "", "end, Failed to parse avc1"},
                      Case{"EmptyAvcData", "avc1", {}, "", "end, Failed to parse avc1"},
                      Case{"ShortAacData", "aac", {0x12}, "", "end, Failed to parse aac"}),
    ::testing::PrintToStringParamName());

}  // namespace
