// From samples to the bytes in the host's ring: the H.264 and AAC feeders, the PES buffer that cuts units into PES
// packets, and the packet buffer that commits each packet whole and restarts the stream with a pack header.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AacFeeder.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/H264AvcData.h"
#include "avfile/H264Feeder.h"
#include "mpeg4_parsing/PesHeader.h"
#include "platform/ContigMemBuffer.h"
#include "tests/common/LogCapture.h"
#include "tests/common/WaitFor.h"

using namespace avfile;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

// Whole PES packets as the pipeline must emit them, for samples at PTS 90000 (0x15F90) and DTS 87000 (0x153D8):
// start code, stream_id, PES_packet_length, the fields after it, the payload.
Bytes pesPacket(uint8_t streamId, const Bytes& fields, const Bytes& payload) {
    const size_t length = fields.size() + payload.size();
    return concat({{0x00, 0x00, 0x01, streamId, uint8_t(length >> 8), uint8_t(length)}, fields, payload});
}
// First packet of an H.264 access unit: video stream 0, PTS and DTS.
Bytes videoPes(const Bytes& payload) {
    return pesPacket(0xE0, {0x84, 0xC0, 0x0A,               // aligned, PTS_DTS_flags 11, 10 bytes
                            0x31, 0x00, 0x05, 0xBF, 0x21,   // '0011' PTS with markers
                            0x11, 0x00, 0x05, 0xA7, 0xB1},  // '0001' DTS with markers
                     payload);
}
// Packet of an AAC frame: audio stream 0, PTS only.
Bytes audioPes(const Bytes& payload) {
    return pesPacket(0xC0, {0x84, 0x80, 0x05,               // aligned, PTS_DTS_flags 10, 5 bytes
                            0x21, 0x00, 0x05, 0xBF, 0x21},  // '0010' PTS with markers
                     payload);
}
// Every further packet of a unit: no alignment flag, no time stamps, no header data.
Bytes continuationPes(uint8_t streamId, const Bytes& payload) {
    return pesPacket(streamId, {0x80, 0x00, 0x00}, payload);
}

// Drains a host ring and splits the program stream into its units: pack headers (00 00 01 BA, 14 bytes) and PES
// packets (6 + PES_packet_length bytes); stray bytes end up in a unit of their own.
std::vector<Bytes> drainUnits(ContigMemBuffer& ring) {
    Bytes bytes(ring.size());
    bytes.resize(ring.read(bytes.data(), bytes.size(), 0));
    std::vector<Bytes> units;
    for (size_t pos = 0, n = 0; pos < bytes.size(); pos += n) {
        const size_t left = bytes.size() - pos;
        n = left < 6 ? left : bytes[pos + 3] == 0xBA ? 14 : 6 + (bytes[pos + 4] << 8 | bytes[pos + 5]);
        n = std::min(n, left);
        units.emplace_back(bytes.begin() + pos, bytes.begin() + pos + n);
    }
    return units;
}

const Bytes kSc = {0x00, 0x00, 0x01};                                              // start code
const Bytes kSps = {0x67, 0x4D, 0x40, 0x1E, 0x96, 0x54, 0x05, 0x01, 0xE8, 0x80};  // 10 bytes
const Bytes kPps = {0x68, 0xEE, 0x3C, 0x80};                                      // 4 bytes

// The ADTS header of a frame of 378 bytes (371 + 7) at 44100 Hz.
const Bytes kAdts378 = {
    0xFF, 0xF1,  // syncword, MPEG-4, layer 0, no CRC
    0x50,        // AAC LC, index 4 (44100 Hz), private 0, channels[2] 0
    0x80,        // channels 2, frame_length[12..11] 0
    0x2F,        // frame_length[10..3]: 378 = 0x17A
    0x5F,        // frame_length[2..0] 010, fullness[10..6] all ones
    0xFC,        // fullness[5..0] all ones, one raw data block
};

// The feeders' real way down to a host ring (PES buffer, packet buffer, ContigMemBuffer), and a video sample (track 0)
// and an audio sample (track 1), both at PTS 90000 and DTS 87000.
class FeederTest : public ::testing::Test {
protected:
    FeederTest() {
        avc->mSps = kSps;
        avc->mPps = {kPps};
        video.pts = audio.pts = 90000;
        video.dts = audio.dts = 87000;
        video.trackInfo.codecData = avc;
        audio.track = 1;
        audio.trackInfo.type = AvTrackType::Audio;
        audio.trackInfo.codecData = aac;
    }
    // Feeds `sample`, expecting the refusal `what` after the one log line `logged` and no output.
    void expectRefusal(IAvFeeder& feeder, const AvSample& sample, const std::string& what, const std::string& logged) {
        velar_test::LogCapture log;
        try {
            feeder.feedSample(sample);
            ADD_FAILURE() << "fed, expected " << what;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(what, e.what());
        }
        EXPECT_EQ(std::vector<std::string>{logged}, log.messages());
        EXPECT_EQ(0u, ring->size());
    }
    // Feeds the audio sample, expecting it in the ring behind `adts` in an audio PES packet.
    void expectFrame(const Bytes& adts) {
        adtsFeeder.feedSample(audio);
        EXPECT_EQ(std::vector<Bytes>{audioPes(concat({adts, audio.data}))}, drainUnits(*ring));
    }

    std::shared_ptr<ContigMemBuffer> ring = std::make_shared<ContigMemBuffer>(1 << 20);
    std::shared_ptr<AvPacketBuffer> packets = std::make_shared<AvPacketBuffer>(ring);
    // A Main 3.0 record; the tests set the parameter sets and the prefix width they need.
    std::shared_ptr<H264AvcData> avc = std::make_shared<H264AvcData>(
        Bytes{0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E, 0x01, 0x00, 0x02, 0x68, 0xEE});
    std::shared_ptr<AacData> aac = std::make_shared<AacData>(Bytes{0x12, 0x10});
    H264Feeder h264Feeder{std::make_shared<AvPesBuffer>(packets)};
    AacFeeder adtsFeeder{std::make_shared<AvPesBuffer>(packets)};
    AvSample video, audio;
};

// One sample in, one PES packet out: the Annex B payload behind the first-packet header.
TEST_F(FeederTest, H264SampleIsOneAnnexBPacket) {
    const struct {
        uint32_t nalSize;
        std::vector<Bytes> pps;  // with the sample flagged firstSample; none: not flagged
        Bytes data, payload;
    } table[] = {
        {4, {}, {0x00, 0x00, 0x00, 0x02, 0x65, 0x88}, {0x00, 0x00, 0x01, 0x65, 0x88}},
        {4, {kPps, {0x68, 0x02}}, {0x00, 0x00, 0x00, 0x01, 0x65},  // every PPS, in record order
         concat({kSc, kSps, kSc, kPps, kSc, {0x68, 0x02}, kSc, {0x65}})},
        {1, {}, {0x02, 0x09, 0xF0, 0x03, 0x41, 0x9A, 0x02, 0x01, 0x01},  // one-byte prefixes
         concat({kSc, {0x09, 0xF0}, kSc, {0x41, 0x9A, 0x02}, kSc, {0x01}})},
        {4, {}, {0x00, 0x00, 0x03, 0xE8, 0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9},  // claims 1000 bytes, 10 remain: cut
         {0x00, 0x00, 0x01, 0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    video.keyFrame = true;  // parameter sets go with the first sample only, not every key frame
    for (const auto& row : table) {
        avc->mNalSize = row.nalSize;
        avc->mPps = row.pps;
        video.firstSample = !row.pps.empty();
        video.data = row.data;
        h264Feeder.feedSample(video);
        EXPECT_EQ(std::vector<Bytes>{videoPes(row.payload)}, drainUnits(*ring)) << row.data.size();
    }
}

TEST_F(FeederTest, H264PrefixCutShortThrowsAndKeepsOnlyTheNalUnitsBeforeIt) {
    EXPECT_TRUE(h264Feeder.isTimingTrack());
    video.data = {0x00, 0x00, 0x00};
    EXPECT_THROW(h264Feeder.feedSample(video), std::out_of_range);
    video.data = {0x00, 0x00, 0x00, 0x01, 0x09, 0x00, 0x00};
    EXPECT_THROW(h264Feeder.feedSample(video), std::out_of_range);
    video.data.clear();  // an empty sample closes nothing either
    h264Feeder.feedSample(video);
    EXPECT_EQ(0u, ring->totalWritten());
    // The NAL unit written before the failure goes out with the next unit's bytes.
    video.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    h264Feeder.feedSample(video);
    EXPECT_EQ(std::vector<Bytes>{videoPes(concat({kSc, {0x09}, kSc, {0x65}}))}, drainUnits(*ring));
}

// Each AAC frame is one PES packet behind its ADTS header (frame_length 17 for 10 bytes). Only the rate index follows
// the codec data; profile and channels never change, and each frame length overwrites the one before completely.
TEST_F(FeederTest, AacFramesGoBehindAdtsHeaders) {
    EXPECT_FALSE(adtsFeeder.isTimingTrack());
    const struct {
        Bytes config;
        size_t size;
        Bytes adts;
    } table[] = {
        {{0x12, 0x10}, 8184, {0xFF, 0xF1, 0x50, 0x83, 0xFF, 0xFF, 0xFC}},  // LC 44100: frame_length 8191, all 13 bits
        {{0x12, 0x10}, 371, kAdts378},                                     // the all-ones length is gone
        {{0x11, 0x88}, 10, {0xFF, 0xF1, 0x4C, 0x80, 0x02, 0x3F, 0xFC}},    // LC 48000 mono: index 3, still 2 channels
        {{0x2B, 0x08}, 10, {0xFF, 0xF1, 0x58, 0x80, 0x02, 0x3F, 0xFC}},    // HE-AAC 24000 mono: index 6, still LC
        {{0x16, 0x10}, 10, {0xFF, 0xF1, 0x70, 0x80, 0x02, 0x3F, 0xFC}},    // LC 7350: index 12
    };
    for (const auto& row : table) {
        audio.trackInfo.codecData = std::make_shared<AacData>(row.config);
        audio.data.assign(row.size, 0x5A);
        expectFrame(row.adts);
    }
}

TEST_F(FeederTest, RefusesSamplesTheyCannotConvert) {
    video.data = {0x00, 0x00, 0x00, 0x01, 0x65};
    video.trackInfo.codecData = nullptr;
    expectRefusal(h264Feeder, video, "No AVC Data, cannot feed", "No AVC Data, cannot feed");
    video.trackInfo.codecData = aac;
    expectRefusal(h264Feeder, video, "No AVC Data, cannot feed", "No AVC Data, cannot feed");
    video.trackInfo.codecData = avc;
    avc->mNalSize = 0;
    expectRefusal(h264Feeder, video, "Invalid length of size field.", "Invalid length of size(0) field.");
    audio.data.assign(8185, 0x11);
    audio.dts = 12345;
    expectRefusal(adtsFeeder, audio,
                  "Could not set the AAC frame length=track:1 datalen:8185 dts:12345 pts:90000 firstSample:0 "
                  "trackCodec:Audio",
                  "Could not set the AAC frame length=8185.");
    audio.data.assign(371, 0x5A);
    audio.dts = 87000;
    expectFrame(kAdts378);
    audio.trackInfo.codecData = nullptr;
    expectRefusal(adtsFeeder, audio, "No Aac Data found", "No Aac Data, cannot feed");
    audio.trackInfo.codecData = aac;
    aac->sampleRate = 44000;
    expectRefusal(adtsFeeder, audio, "Failed to set ADTS audio sample rate=44000",
                  "end, Failed to set ADTS audio sample rate=44000");
}

const Bytes kPackHeader = {
    0x00, 0x00, 0x01, 0xBA,              // pack_start_code
    0x44, 0x00, 0x04, 0x00, 0x04, 0x01,  // '01', SCR 0 and its extension 0, with every marker bit
    0xFF, 0xFF, 0xFF,                    // program_mux_rate all ones, two marker bits
    0x00,                                // reserved 0, no stuffing
};

// A packet buffer over a 32-byte ring (its staging memory keeps the default 64 KiB).
class AvPacketBufferTest : public ::testing::Test {
protected:
    ~AvPacketBufferTest() override {
        if (writer.joinable()) {
            packets.discardData(true);  // releases the writer if a failed test left it blocked
            writer.join();
        }
    }
    void write(const Bytes& bytes, bool flush) { packets.writeData(bytes.data(), bytes.size(), flush); }
    void fillRing(size_t n) { ring->write(Bytes(n, 0xEE).data(), n); }
    Bytes drain(size_t most = 64) {
        Bytes out(most);
        out.resize(ring->read(out.data(), out.size(), 0));
        return out;
    }
    // The streamer's side: one 16-byte packet, committed from a thread of its own.
    void startWriter() {
        if (writer.joinable()) writer.join();
        written = false;
        writer = std::thread([this] {
            write(Bytes(16, 0xAB), true);
            written = true;
        });
    }
    std::shared_ptr<ContigMemBuffer> ring = std::make_shared<ContigMemBuffer>(32);
    AvPacketBuffer packets{ring};
    std::thread writer;
    std::atomic<bool> written{false};
};

// Each packet is committed whole; a packet that can never fit is logged and forgotten.
TEST_F(AvPacketBufferTest, StagesAndCommitsEachPacketWhole) {
    velar_test::LogCapture log;
    write({1, 2, 3}, false);  // a header...
    EXPECT_EQ(0u, ring->size());
    write({4, 5}, true);  // ...and its payload
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5}), drain());
    write(Bytes(40, 0x11), true);  // no wait
    write(Bytes(65530, 0x22), false);  // more than the 64 KiB staging memory holds: dropped whole
    write(Bytes(7, 0x22), true);
    EXPECT_EQ(std::vector<std::string>(2, "Failed to write data."), log.messages());
    write({6}, true);  // the next packet starts at the beginning of the staging memory again
    packets.writeData(nullptr, 0, true);  // a flush with nothing staged commits nothing
    EXPECT_EQ(Bytes{6}, drain());
}

TEST_F(AvPacketBufferTest, DiscardingDropsWritesAndLeavingItStartsWithAPackHeader) {
    write({0xA1, 0xA2}, false);
    fillRing(10);
    packets.discardData(true);
    EXPECT_EQ(0u, ring->size());
    write({0xD1, 0xD2, 0xD3}, true);  // dropped: changes nothing, not even what is staged
    EXPECT_EQ(10u, ring->totalWritten());

    fillRing(10);
    packets.discardData(false);  // empties the ring again, then writes the pack header into it
    write({0xB1}, true);         // the bytes staged before discarding complete this packet
    EXPECT_EQ(concat({kPackHeader, {0xA1, 0xA2, 0xB1}}), drain());
}

// A writer on a full ring waits until the whole packet fits, or until a discard from another thread.
TEST_F(AvPacketBufferTest, AWriterOnAFullRingWaitsForRoomOrADiscard) {
    fillRing(32);
    startWriter();
    EXPECT_EQ(Bytes(16, 0xEE), drain(16));
    ASSERT_TRUE(velar_test::waitFor([&] { return written.load(); }));
    EXPECT_EQ(concat({Bytes(16, 0xEE), Bytes(16, 0xAB)}), drain());

    fillRing(32);
    startWriter();
    packets.discardData(true);  // as the streamer does around a seek
    ASSERT_TRUE(velar_test::waitFor([&] { return written.load(); }));
    write({1, 2, 3}, true);  // dropped
    packets.discardData(false);
    EXPECT_EQ(kPackHeader, drain());
}

// The headers of the feeders: E0 with PTS 90000 and DTS 87000, or C0 with PTS 90000; aligned.
ISO::PesHeader feederHeader(uint8_t streamId) {
    ISO::PesHeader header;
    header.setStreamId(streamId);
    header.setPts(90000);
    header.setDts(87000);
    header.setPtsDtsFlags(true, streamId == 0xE0);
    header.setDataAlignmentIndicator(true);
    return header;
}

// The header is staged, then committed with the payload at the end of the unit. An empty write does nothing even
// when it ends the unit (deliberate): the pending bytes stay.
TEST(AvPesBufferTest, BytesWaitForTheEndOfTheUnitThenGoOutAsOneCommittedPacket) {
    struct Recorder : IAvPacketBuffer {
        void writeData(const uint8_t* d, size_t n, bool flush) override { writes.emplace_back(Bytes(d, d + n), flush); }
        void discardData(bool) override {}
        std::vector<std::pair<Bytes, bool>> writes;  // bytes, flush
    };
    auto recorder = std::make_shared<Recorder>();
    AvPesBuffer pes(recorder);
    pes.setPesHeader(feederHeader(0xE0));
    const Bytes bytes = {0x00, 0x00, 0x01, 0x65, 0x88};
    pes.writeData(nullptr, 0, true);
    pes.writeData(bytes.data(), 3, false);  // start code
    pes.writeData(bytes.data(), 0, true);
    EXPECT_TRUE(recorder->writes.empty());
    pes.writeData(bytes.data() + 3, 2, true);  // NAL unit, end of unit
    const Bytes packet = videoPes(bytes);
    const std::vector<std::pair<Bytes, bool>> expected = {{Bytes(packet.begin(), packet.begin() + 19), false},
                                                          {Bytes(packet.begin() + 19, packet.end()), true}};
    EXPECT_EQ(expected, recorder->writes);
}

// One unit cut at the PES length limit: the first packet carries the time stamps, the others are continuation
// packets with 9-byte headers.
TEST(AvPesBufferTest, CutsTheUnitAtTheLengthLimit) {
    const struct {
        uint8_t streamId;
        Bytes (*first)(const Bytes& payload);  // the first packet's form
        std::vector<size_t> payloads;          // per packet
    } table[] = {
        {0xE0, &videoPes, {65513, 65523, 65523, 3441}},
        {0xC0, &audioPes, {65518, 65523, 65523, 3436}},
        {0xE0, &videoPes, {65513, 1}},
    };
    for (const auto& c : table) {
        auto ring = std::make_shared<ContigMemBuffer>(1 << 20);
        AvPesBuffer pes(std::make_shared<AvPacketBuffer>(ring));
        pes.setPesHeader(feederHeader(c.streamId));
        Bytes data(std::accumulate(c.payloads.begin(), c.payloads.end(), size_t(0)));
        std::iota(data.begin(), data.end(), uint8_t(3));
        pes.writeData(data.data(), data.size(), true);
        std::vector<Bytes> expected;
        auto from = data.begin();
        for (size_t size : c.payloads) {
            const Bytes payload(from, from + size);
            expected.push_back(expected.empty() ? c.first(payload) : continuationPes(c.streamId, payload));
            from += size;
        }
        EXPECT_EQ(expected, drainUnits(*ring)) << data.size();
    }
}

}  // namespace
