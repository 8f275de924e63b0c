#include "avfile/H264Feeder.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/RecordingPacketBuffer.h"
#include "tests/common/RecordingPesRing.h"
#include "avfile/AacData.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/H264AvcData.h"

namespace {

using Bytes = std::vector<uint8_t>;
using velar_test::RecordingPesRing;

// Main profile, level 3.0, 4-byte prefixes; tests replace SPS, PPS and prefix width as needed.
std::shared_ptr<avfile::H264AvcData> avcData(uint32_t nalSize = 4) {
    auto data = std::make_shared<avfile::H264AvcData>(Bytes{
        0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E,  // one SPS
        0x01, 0x00, 0x02, 0x68, 0xEE});                                          // one PPS
    data->mNalSize = nalSize;
    return data;
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

const Bytes kStartCode = {0x00, 0x00, 0x01};

class H264FeederTest : public ::testing::Test {
protected:
    H264FeederTest() {
        sample.track = 0;
        sample.pts = 90000;
        sample.dts = 87000;
        sample.trackInfo.type = avfile::AvTrackType::Video;
        sample.trackInfo.codec = "avc1";
        sample.trackInfo.codecData = avc;
    }

    RecordingPesRing ring;
    std::shared_ptr<avfile::AvPesBuffer> pes =
        std::make_shared<avfile::AvPesBuffer>(std::make_shared<avfile::AvPacketBuffer>(ring.buffer));
    avfile::H264Feeder feeder{pes};
    std::shared_ptr<avfile::H264AvcData> avc = avcData();
    avfile::AvSample sample;
};

// Header of the first packet of a unit with PTS 90000 and DTS 87000.
Bytes videoHeader(unsigned int payloadBytes) {
    const unsigned int length = payloadBytes + 13;
    return {
        0x00, 0x00, 0x01,              // packet_start_code_prefix
        0xE0,                          // stream_id: video stream 0
        static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),  // PES_packet_length
        0x84,                          // '10', data_alignment_indicator 1
        0xC0,                          // PTS_DTS_flags 11
        0x0A,                          // PES_header_data_length 10
        0x31, 0x00, 0x05, 0xBF, 0x21,  // '0011' PTS 90000 (0x15F90)
        0x11, 0x00, 0x05, 0xA7, 0xB1,  // '0001' DTS 87000 (0x153D8)
    };
}

TEST_F(H264FeederTest, Statics) {
    EXPECT_EQ("avc1", avfile::H264Feeder::mCodec);
    EXPECT_EQ(kStartCode, Bytes(avfile::H264Feeder::mStartCode, avfile::H264Feeder::mStartCode + 3));
    EXPECT_TRUE(feeder.isTimingTrack());
}

TEST_F(H264FeederTest, OneNalUnitBecomesOneAnnexBPacket) {
    sample.data = {0x00, 0x00, 0x00, 0x02, 0x65, 0x88};
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(1u, units.size());
    EXPECT_EQ(concat({videoHeader(5), {0x00, 0x00, 0x01, 0x65, 0x88}}), units[0]);
}

TEST_F(H264FeederTest, FirstSampleCarriesSpsAndPpsInTheSamePacket) {
    const Bytes sps = {0x67, 0x4D, 0x40, 0x1E, 0x96, 0x54, 0x05, 0x01, 0xE8, 0x80};  // 10 bytes
    const Bytes pps = {0x68, 0xEE, 0x3C, 0x80};                                      // 4 bytes
    avc->mSps = sps;
    avc->mPps = {pps};
    sample.data = {0x00, 0x00, 0x00, 0x02, 0x65, 0x88};
    sample.firstSample = true;
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(1u, units.size());
    const Bytes payload = concat({kStartCode, sps, kStartCode, pps, kStartCode, {0x65, 0x88}});
    EXPECT_EQ(concat({videoHeader(payload.size()), payload}), units[0]);

    // Only the first sample: the next one (even a key frame) has no parameter sets.
    sample.firstSample = false;
    sample.keyFrame = true;
    feeder.feedSample(sample);
    EXPECT_EQ(concat({videoHeader(5), kStartCode, {0x65, 0x88}}), ring.drainUnits().at(0));
}

TEST_F(H264FeederTest, EveryPpsInRecordOrder) {
    avc->mPps = {{0x68, 0x01}, {0x68, 0x02}, {0x68, 0x03}};
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    sample.firstSample = true;
    feeder.feedSample(sample);
    const Bytes payload = concat({kStartCode, avc->mSps, kStartCode, {0x68, 0x01}, kStartCode,
                                  {0x68, 0x02}, kStartCode, {0x68, 0x03}, kStartCode, {0x65}});
    EXPECT_EQ(payload, RecordingPesRing::pesPayload(ring.drainUnits().at(0)));
}

struct PrefixCase {
    uint32_t nalSize;
    Bytes sample;
};

void PrintTo(const PrefixCase& c, std::ostream* os) { *os << "nalSize " << c.nalSize; }

class H264FeederPrefixTest : public H264FeederTest,
                             public ::testing::WithParamInterface<PrefixCase> {};

TEST_P(H264FeederPrefixTest, SeveralNalUnitsShareOnePacket) {
    avc->mNalSize = GetParam().nalSize;
    sample.data = GetParam().sample;
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(1u, units.size());
    const Bytes payload = concat({kStartCode, {0x09, 0xF0}, kStartCode, {0x41, 0x9A, 0x02},
                                  kStartCode, {0x01}});
    EXPECT_EQ(concat({videoHeader(payload.size()), payload}), units[0]);
}

INSTANTIATE_TEST_SUITE_P(
    Widths, H264FeederPrefixTest,
    ::testing::Values(
        PrefixCase{1, {0x02, 0x09, 0xF0, 0x03, 0x41, 0x9A, 0x02, 0x01, 0x01}},
        PrefixCase{2, {0x00, 0x02, 0x09, 0xF0, 0x00, 0x03, 0x41, 0x9A, 0x02, 0x00, 0x01, 0x01}},
        PrefixCase{4, {0x00, 0x00, 0x00, 0x02, 0x09, 0xF0, 0x00, 0x00, 0x00, 0x03, 0x41, 0x9A,
                       0x02, 0x00, 0x00, 0x00, 0x01, 0x01}}));

TEST_F(H264FeederTest, ANalUnitRunningPastTheSampleIsCutAndClosesTheUnit) {
    sample.data = {0x00, 0x00, 0x03, 0xE8,  // claims 1000 bytes
                   0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9};  // 10 remain
    feeder.feedSample(sample);
    EXPECT_EQ(concat({kStartCode, {0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9}}),
              RecordingPesRing::pesPayload(ring.drainUnits().at(0)));
}

TEST_F(H264FeederTest, DataEndingInsideALengthPrefixThrowsAndWritesNothing) {
    sample.data = {0x00, 0x00, 0x00};
    EXPECT_THROW(feeder.feedSample(sample), std::out_of_range);
    EXPECT_EQ(0u, ring.buffer->totalWritten());

    // Nothing of it waits in the PES buffer either: the next sample is alone in its packet.
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    feeder.feedSample(sample);
    EXPECT_EQ(concat({kStartCode, {0x65}}), RecordingPesRing::pesPayload(ring.drainUnits().at(0)));
}

TEST_F(H264FeederTest, APrefixCutAfterAGoodNalUnitThrowsAfterWritingIt) {
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x09, 0x00, 0x00};
    EXPECT_THROW(feeder.feedSample(sample), std::out_of_range);
    EXPECT_EQ(0u, ring.buffer->totalWritten());  // staged in the PES buffer, not emitted
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    feeder.feedSample(sample);
    EXPECT_EQ(concat({kStartCode, {0x09}, kStartCode, {0x65}}),
              RecordingPesRing::pesPayload(ring.drainUnits().at(0)));
}

TEST_F(H264FeederTest, AnEmptySampleClosesNothing) {
    sample.data.clear();
    feeder.feedSample(sample);
    EXPECT_EQ(0u, ring.buffer->totalWritten());
}

TEST_F(H264FeederTest, MissingOrForeignCodecDataIsRefused) {
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    const std::shared_ptr<avfile::IAvCodecData> foreign =
        std::make_shared<avfile::AacData>(Bytes{0x12, 0x10});
    for (const auto& codecData : {std::shared_ptr<avfile::IAvCodecData>(), foreign}) {
        velar_test::LogCapture log;
        sample.trackInfo.codecData = codecData;
        try {
            feeder.feedSample(sample);
            FAIL() << "fed";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string("No AVC Data, cannot feed"), e.what());
        }
        ASSERT_EQ(1u, log.lines().size());
        EXPECT_EQ("No AVC Data, cannot feed", log.lines()[0].message);
        EXPECT_EQ("avfile/H264Feeder", log.lines()[0].source);
    }
    EXPECT_EQ(0u, ring.buffer->totalWritten());
}

TEST_F(H264FeederTest, ZeroPrefixWidthIsRefused) {
    velar_test::LogCapture log;
    avc->mNalSize = 0;
    sample.data = {0x65};
    try {
        feeder.feedSample(sample);
        FAIL() << "fed";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("Invalid length of size field."), e.what());
    }
    EXPECT_EQ((std::vector<std::string>{"Invalid length of size(0) field."}), log.messages());
}

TEST_F(H264FeederTest, TimeStampsKeepTheirLow33Bits) {
    sample.pts = (1ull << 33) + 90000;
    sample.dts = (5ull << 33) + 87000;
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    feeder.feedSample(sample);
    EXPECT_EQ(videoHeader(4), RecordingPesRing::pesHeader(ring.drainUnits().at(0)));
}

TEST_F(H264FeederTest, ALargeAccessUnitRunsOverContinuationPackets) {
    sample.data = {0x00, 0x01, 0x00, 0x00};  // one NAL unit of 65536 bytes
    sample.data.resize(4 + 65536, 0x77);
    sample.firstSample = true;
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(2u, units.size());
    EXPECT_EQ(videoHeader(65513), RecordingPesRing::pesHeader(units[0]));
    const size_t total = 3 + avc->mSps.size() + 3 + avc->mPps[0].size() + 3 + 65536;
    const size_t rest = total - 65513;
    EXPECT_EQ((Bytes{0x00, 0x00, 0x01, 0xE0, static_cast<uint8_t>((rest + 3) >> 8),
                     static_cast<uint8_t>(rest + 3), 0x80, 0x00, 0x00}),  // continuation
              RecordingPesRing::pesHeader(units[1]));

    // The next unit has its time stamps again.
    sample.firstSample = false;
    sample.data = {0x00, 0x00, 0x00, 0x01, 0x41};
    feeder.feedSample(sample);
    EXPECT_EQ(videoHeader(4), RecordingPesRing::pesHeader(ring.drainUnits().at(0)));
}

// The calls a feeder makes: start code and NAL unit in separate writes, only the last one ends
// the unit.
TEST(H264FeederCallsTest, WritesStartCodesAndNalUnitsSeparately) {
    auto recorder = std::make_shared<velar_test::RecordingPacketBuffer>();
    auto pes = std::make_shared<avfile::AvPesBuffer>(recorder);
    avfile::H264Feeder feeder(pes);
    feeder.pesWriteNals(avfile::H264Feeder::mStartCode, 3, false);
    EXPECT_TRUE(recorder->writes.empty());
    const Bytes nal = {0x65, 0x11};
    feeder.pesWriteNals(nal.data(), 2, true);
    ASSERT_EQ(1u, recorder->packets.size());
    // Before any sample the PES buffer holds a default header: stream FF, zero time stamps.
    EXPECT_EQ(concat({{0x00, 0x00, 0x01, 0xFF, 0x00, 0x18, 0x80, 0xC0, 0x0A, 0x31, 0x00, 0x01,
                       0x00, 0x01, 0x11, 0x00, 0x01, 0x00, 0x01},
                      kStartCode, kStartCode, kStartCode, nal}),
              recorder->packets[0]);
}

}  // namespace
