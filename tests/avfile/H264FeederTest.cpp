#include "avfile/H264Feeder.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/H264AvcData.h"
#include "tests/common/ExpectedPes.h"
#include "tests/common/FeederRig.h"

namespace {

using Bytes = std::vector<uint8_t>;
using velar_test::ExpectedPes;

const Bytes kSc = {0x00, 0x00, 0x01};                                              // start code
const Bytes kSps = {0x67, 0x4D, 0x40, 0x1E, 0x96, 0x54, 0x05, 0x01, 0xE8, 0x80};  // 10 bytes
const Bytes kPps = {0x68, 0xEE, 0x3C, 0x80};                                      // 4 bytes

class H264FeederTest : public velar_test::FeederRig {
protected:
    H264FeederTest() {
        avc->mSps = kSps;
        avc->mPps = {kPps};
        sample.trackInfo.codecData = avc;
    }

    // A Main 3.0 record; the tests set the parameter sets and the prefix width they need.
    std::shared_ptr<avfile::H264AvcData> avc = std::make_shared<avfile::H264AvcData>(
        Bytes{0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E,  // SPS
              0x01, 0x00, 0x02, 0x68, 0xEE});                                          // PPS
    avfile::H264Feeder feeder{pes};
};

// One sample in, one PES packet out: the Annex B payload behind the first-packet header.
struct Case {
    const char* name;
    uint32_t nalSize;
    std::vector<Bytes> pps;  // with the sample flagged firstSample; none: not flagged
    Bytes data;
    Bytes payload;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class H264FeederSampleTest : public H264FeederTest, public ::testing::WithParamInterface<Case> {};

TEST_P(H264FeederSampleTest, EmitsOneAnnexBPacket) {
    const Case& c = GetParam();
    avc->mNalSize = c.nalSize;
    avc->mPps = c.pps;
    sample.firstSample = !c.pps.empty();
    sample.keyFrame = true;  // parameter sets go with the first sample only, not every key frame
    sample.data = c.data;
    feeder.feedSample(sample);
    EXPECT_EQ(std::vector<Bytes>{ExpectedPes::video(c.payload)}, ring.drainUnits());
}

INSTANTIATE_TEST_SUITE_P(
    Samples, H264FeederSampleTest,
    ::testing::Values(
        Case{"OneNalUnit", 4, {}, {0x00, 0x00, 0x00, 0x02, 0x65, 0x88},
             {0x00, 0x00, 0x01, 0x65, 0x88}},
        Case{"EveryPpsInRecordOrder", 4, {kPps, {0x68, 0x02}}, {0x00, 0x00, 0x00, 0x01, 0x65},
             ExpectedPes::concat({kSc, kSps, kSc, kPps, kSc, {0x68, 0x02}, kSc, {0x65}})},
        Case{"OneBytePrefixes", 1, {}, {0x02, 0x09, 0xF0, 0x03, 0x41, 0x9A, 0x02, 0x01, 0x01},
             ExpectedPes::concat({kSc, {0x09, 0xF0}, kSc, {0x41, 0x9A, 0x02}, kSc, {0x01}})},
        Case{"NalUnitRunningPastTheSampleIsCut", 4, {},
             {0x00, 0x00, 0x03, 0xE8, 0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9},  // claims 1000, 10 remain
             {0x00, 0x00, 0x01, 0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9}}),
    ::testing::PrintToStringParamName());

TEST_F(H264FeederTest, APrefixCutShortThrowsAndKeepsOnlyTheNalUnitsBeforeIt) {
    EXPECT_TRUE(feeder.isTimingTrack());
    sample.data = {0x00, 0x00, 0x00};
    EXPECT_THROW(feeder.feedSample(sample), std::out_of_range);
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x09, 0x00, 0x00};
    EXPECT_THROW(feeder.feedSample(sample), std::out_of_range);
    sample.data.clear();  // an empty sample closes nothing either
    feeder.feedSample(sample);
    EXPECT_EQ(0u, ring.buffer->totalWritten());

    // The NAL unit written before the failure goes out with the next unit's bytes.
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    feeder.feedSample(sample);
    const Bytes payload = ExpectedPes::concat({kSc, {0x09}, kSc, {0x65}});
    EXPECT_EQ(std::vector<Bytes>{ExpectedPes::video(payload)}, ring.drainUnits());
}

TEST_F(H264FeederTest, RefusesSamplesItCannotConvert) {
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    sample.trackInfo.codecData = nullptr;
    expectRefusal(feeder, "No AVC Data, cannot feed", "No AVC Data, cannot feed");
    sample.trackInfo.codecData = std::make_shared<avfile::AacData>(Bytes{0x12, 0x10});
    expectRefusal(feeder, "No AVC Data, cannot feed", "No AVC Data, cannot feed");
    sample.trackInfo.codecData = avc;
    avc->mNalSize = 0;
    expectRefusal(feeder, "Invalid length of size field.", "Invalid length of size(0) field.");
}

}  // namespace
