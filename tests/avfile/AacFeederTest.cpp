#include "avfile/AacFeeder.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/RecordingPesRing.h"
#include "avfile/AacData.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/H264AvcData.h"

namespace {

using Bytes = std::vector<uint8_t>;
using velar_test::RecordingPesRing;

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

class AacFeederTest : public ::testing::Test {
protected:
    AacFeederTest() {
        sample.track = 1;
        sample.pts = 90000;
        sample.dts = 12345;  // never written: audio carries a PTS only
        sample.trackInfo.type = avfile::AvTrackType::Audio;
        sample.trackInfo.codec = "aac";
        sample.trackInfo.codecData = aac;
    }

    RecordingPesRing ring;
    avfile::AacFeeder feeder{
        std::make_shared<avfile::AvPesBuffer>(std::make_shared<avfile::AvPacketBuffer>(ring.buffer))};
    std::shared_ptr<avfile::AacData> aac = std::make_shared<avfile::AacData>(Bytes{0x12, 0x10});
    avfile::AvSample sample;
};

// Audio PES header with PTS 90000 for a frame of `frameBytes` (ADTS header included).
Bytes audioHeader(unsigned int frameBytes) {
    const unsigned int length = frameBytes + 8;
    return {
        0x00, 0x00, 0x01,              // packet_start_code_prefix
        0xC0,                          // stream_id: audio stream 0
        static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),  // PES_packet_length
        0x84,                          // '10', data_alignment_indicator 1
        0x80,                          // PTS_DTS_flags 10
        0x05,                          // PES_header_data_length 5
        0x21, 0x00, 0x05, 0xBF, 0x21,  // '0010' PTS 90000
    };
}

TEST_F(AacFeederTest, Statics) {
    EXPECT_EQ("aac", avfile::AacFeeder::mCodec);
    EXPECT_FALSE(feeder.isTimingTrack());
}

TEST_F(AacFeederTest, OneFrameIsOnePesPacketBehindAnAdtsHeader) {
    sample.data.assign(371, 0x5A);
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(1u, units.size());
    const Bytes adts = {
        0xFF, 0xF1,  // syncword, MPEG-4, no CRC
        0x50,        // AAC LC, index 4 (44100 Hz), channels[2] 0
        0x80,        // channels 2, frame_length[12..11] 0
        0x2F,        // frame_length[10..3]: 378 = 0x17A
        0x5F,        // frame_length[2..0] 010, fullness[10..6] all ones
        0xFC,        // fullness[5..0] all ones, one raw data block
    };
    EXPECT_EQ(concat({audioHeader(378), adts, sample.data}), units[0]);
}

TEST_F(AacFeederTest, FrameLengthLimit) {
    sample.data.assign(8184, 0x11);  // frame length 8191: all 13 bits set
    feeder.feedSample(sample);
    const auto units = ring.drainUnits();
    ASSERT_EQ(1u, units.size());
    EXPECT_EQ((Bytes{0xFF, 0xF1, 0x50, 0x83, 0xFF, 0xFF, 0xFC}),
              Bytes(units[0].begin() + 14, units[0].begin() + 21));
    EXPECT_EQ(audioHeader(8191), RecordingPesRing::pesHeader(units[0]));

    velar_test::LogCapture log;
    sample.data.assign(8185, 0x11);
    try {
        feeder.feedSample(sample);
        FAIL() << "fed";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("Could not set the AAC frame length=track:1 datalen:8185 dts:12345 "
                              "pts:90000 firstSample:0 trackCodec:Audio"),
                  e.what());
    }
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ("Could not set the AAC frame length=8185.", log.lines()[0].message);
    EXPECT_EQ("avfile/AacFeeder", log.lines()[0].source);
    EXPECT_EQ(0u, ring.buffer->size());

    // The next good frame overwrites the all-ones length completely.
    sample.data.assign(371, 0x5A);
    feeder.feedSample(sample);
    const Bytes next = ring.drainUnits().at(0);
    EXPECT_EQ((Bytes{0xFF, 0xF1, 0x50, 0x80, 0x2F, 0x5F, 0xFC}),
              Bytes(next.begin() + 14, next.begin() + 21));
}

// The ADTS rate index follows the codec data; profile and channels never change.
struct RateCase {
    Bytes config;
    uint8_t byte2;
};

void PrintTo(const RateCase& c, std::ostream* os) {
    *os << "config " << ::testing::PrintToString(c.config);
}

class AacFeederRateTest : public AacFeederTest, public ::testing::WithParamInterface<RateCase> {};

TEST_P(AacFeederRateTest, AdtsCarriesTheRateIndexOnly) {
    sample.trackInfo.codecData = std::make_shared<avfile::AacData>(GetParam().config);
    sample.data.assign(10, 0x01);
    feeder.feedSample(sample);
    const Bytes unit = ring.drainUnits().at(0);
    EXPECT_EQ((Bytes{0xFF, 0xF1, GetParam().byte2, 0x80, 0x02, 0x3F, 0xFC}),  // frame length 17
              Bytes(unit.begin() + 14, unit.begin() + 21));
}

INSTANTIATE_TEST_SUITE_P(
    Configurations, AacFeederRateTest,
    ::testing::Values(RateCase{{0x12, 0x10}, 0x50},   // LC 44100 stereo: index 4
                      RateCase{{0x11, 0x90}, 0x4C},   // LC 48000 stereo: index 3
                      RateCase{{0x11, 0x88}, 0x4C},   // LC 48000 mono: still 2 channels
                      RateCase{{0x2B, 0x08}, 0x58},   // HE-AAC 24000 mono: still LC, index 6
                      RateCase{{0x10, 0x10}, 0x40},   // 96000: index 0
                      RateCase{{0x16, 0x10}, 0x70}));  // 7350: index 12

TEST_F(AacFeederTest, MissingOrForeignCodecDataIsRefused) {
    sample.data.assign(10, 0x01);
    const std::shared_ptr<avfile::IAvCodecData> foreign = std::make_shared<avfile::H264AvcData>(
        Bytes{0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E, 0x01, 0x00,
              0x02, 0x68, 0xEE});
    for (const auto& codecData : {std::shared_ptr<avfile::IAvCodecData>(), foreign}) {
        velar_test::LogCapture log;
        sample.trackInfo.codecData = codecData;
        try {
            feeder.feedSample(sample);
            FAIL() << "fed";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string("No Aac Data found"), e.what());
        }
        EXPECT_EQ((std::vector<std::string>{"No Aac Data, cannot feed"}), log.messages());
    }
    EXPECT_EQ(0u, ring.buffer->totalWritten());
}

TEST_F(AacFeederTest, ARateWithoutAdtsIndexIsRefused) {
    velar_test::LogCapture log;
    aac->sampleRate = 44000;
    sample.data.assign(10, 0x01);
    try {
        feeder.feedSample(sample);
        FAIL() << "fed";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("Failed to set ADTS audio sample rate=44000"), e.what());
    }
    EXPECT_EQ((std::vector<std::string>{"end, Failed to set ADTS audio sample rate=44000"}),
              log.messages());
    EXPECT_EQ(0u, ring.buffer->totalWritten());

    aac->sampleRate = 44100;
    feeder.feedSample(sample);
    EXPECT_EQ(0x50, ring.drainUnits().at(0)[16]);
}

TEST_F(AacFeederTest, EveryFrameHasItsOwnPts) {
    sample.data.assign(5, 0x01);
    for (uint64_t pts : {0ull, 1920ull, (1ull << 33) - 1, (1ull << 33) + 7}) {
        sample.pts = pts;
        feeder.feedSample(sample);
    }
    const auto units = ring.drainUnits();
    ASSERT_EQ(4u, units.size());
    const Bytes expectedPts[] = {
        {0x21, 0x00, 0x01, 0x00, 0x01},  // 0
        {0x21, 0x00, 0x01, 0x0F, 0x01},  // 1920 = 0x780
        {0x2F, 0xFF, 0xFF, 0xFF, 0xFF},  // 2^33 - 1
        {0x21, 0x00, 0x01, 0x00, 0x0F},  // 2^33 + 7: bit 33 dropped
    };
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(expectedPts[i], Bytes(units[i].begin() + 9, units[i].begin() + 14)) << i;
        EXPECT_EQ(audioHeader(12).size(), RecordingPesRing::pesHeader(units[i]).size());
        EXPECT_EQ(0x84, units[i][6]);  // every frame starts aligned
    }
}

}  // namespace
