#include "avfile/AvCodecDataFactory.h"

#include <gtest/gtest.h>

#include <memory>
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

// The class is picked by the exact codec name; refusals are logged, never thrown.
TEST(AvCodecDataFactoryTest, PicksTheClassByNameAndNeverThrows) {
    const struct {
        const char* codec;
        Bytes extraData;
        const char* made;    // dynamic type of the result, "" for none
        const char* logged;  // the factory's last line, "" for nothing logged
    } table[] = {
        {"avc1", kAvcc, "H264AvcData", ""},
        {"aac", {0x11, 0x90}, "AacData", ""},
        {"avc3", kAvcc, "", ""},
        {"avc1", kHigh10, "", "end, Failed to parse avc1"},
        {"aac", {0x12}, "", "end, Failed to parse aac"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.logged);
        velar_test::LogCapture log;
        const auto data = avfile::AvCodecDataFactory().getCodecData(row.codec, row.extraData);
        EXPECT_STREQ(row.made, std::dynamic_pointer_cast<avfile::H264AvcData>(data) ? "H264AvcData"
                               : std::dynamic_pointer_cast<avfile::AacData>(data)   ? "AacData"
                               : data                                               ? "other"
                                                                                    : "");
        const auto messages = log.messages();
        EXPECT_EQ(row.logged, messages.empty() ? "" : messages.back());
    }
}

}  // namespace
