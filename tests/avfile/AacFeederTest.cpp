#include "avfile/AacFeeder.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "avfile/AacData.h"
#include "tests/common/ExpectedPes.h"
#include "tests/common/FeederRig.h"

namespace {

using Bytes = std::vector<uint8_t>;
using velar_test::ExpectedPes;

class AacFeederTest : public velar_test::FeederRig {
protected:
    AacFeederTest() {
        sample.track = 1;
        sample.trackInfo.type = avfile::AvTrackType::Audio;
        sample.trackInfo.codecData = aac;
    }

    // One frame expected in the ring: its ADTS header and data in an audio PES packet.
    void expectFrame(const Bytes& adts) {
        EXPECT_EQ(std::vector<Bytes>{ExpectedPes::audio(ExpectedPes::concat({adts, sample.data}))},
                  ring.drainUnits());
    }

    std::shared_ptr<avfile::AacData> aac = std::make_shared<avfile::AacData>(Bytes{0x12, 0x10});
    avfile::AacFeeder feeder{pes};
};

// The ADTS header of a frame of 378 bytes (371 + 7) at 44100 Hz.
const Bytes kAdts378 = {
    0xFF, 0xF1,  // syncword, MPEG-4, layer 0, no CRC
    0x50,        // AAC LC, index 4 (44100 Hz), private 0, channels[2] 0
    0x80,        // channels 2, frame_length[12..11] 0
    0x2F,        // frame_length[10..3]: 378 = 0x17A
    0x5F,        // frame_length[2..0] 010, fullness[10..6] all ones
    0xFC,        // fullness[5..0] all ones, one raw data block
};

TEST_F(AacFeederTest, EveryFrameIsOnePesPacketBehindAnAdtsHeader) {
    EXPECT_FALSE(feeder.isTimingTrack());
    sample.data.assign(371, 0x5A);
    feeder.feedSample(sample);
    expectFrame(kAdts378);
}

TEST_F(AacFeederTest, FrameLengthLimit) {
    sample.data.assign(8184, 0x11);
    feeder.feedSample(sample);
    expectFrame({0xFF, 0xF1, 0x50, 0x83, 0xFF, 0xFF, 0xFC});  // frame_length 8191: all 13 bits

    sample.data.assign(8185, 0x11);
    sample.dts = 12345;
    expectRefusal(feeder,
                  "Could not set the AAC frame length=track:1 datalen:8185 dts:12345 pts:90000 "
                  "firstSample:0 trackCodec:Audio",
                  "Could not set the AAC frame length=8185.");

    sample.data.assign(371, 0x5A);  // overwrites the all-ones length completely
    feeder.feedSample(sample);
    expectFrame(kAdts378);
}

// Only the rate index follows the codec data; profile and channels never change.
TEST_F(AacFeederTest, AdtsCarriesTheRateIndexOnly) {
    const std::pair<Bytes, uint8_t> configs[] = {
        {{0x11, 0x88}, 0x4C},  // LC 48000 mono: index 3, still 2 channels
        {{0x2B, 0x08}, 0x58},  // HE-AAC 24000 mono: index 6, still LC
        {{0x16, 0x10}, 0x70},  // LC 7350: index 12
    };
    sample.data.assign(10, 0x01);
    for (const auto& config : configs) {
        sample.trackInfo.codecData = std::make_shared<avfile::AacData>(config.first);
        feeder.feedSample(sample);
        expectFrame({0xFF, 0xF1, config.second, 0x80, 0x02, 0x3F, 0xFC});  // frame_length 17
    }
}

TEST_F(AacFeederTest, RefusesSamplesItCannotConvert) {
    sample.data.assign(10, 0x01);
    sample.trackInfo.codecData = nullptr;
    expectRefusal(feeder, "No Aac Data found", "No Aac Data, cannot feed");
    sample.trackInfo.codecData = aac;
    aac->sampleRate = 44000;
    expectRefusal(feeder, "Failed to set ADTS audio sample rate=44000",
                  "end, Failed to set ADTS audio sample rate=44000");
}

}  // namespace
