#include "avfile/AvPesBuffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <numeric>
#include <vector>

#include "tests/common/RecordingPacketBuffer.h"
#include "tests/common/RecordingPesRing.h"
#include "avfile/AacData.h"
#include "avfile/AacFeeder.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/H264AvcData.h"
#include "avfile/H264Feeder.h"
#include "mpeg4_parsing/PesHeader.h"

// Allocation counting for the hot-path test below: the replaceable global operators count the
// allocations of the calling thread while its counter is switched on.
namespace {
thread_local bool tCountAllocations = false;
thread_local size_t tAllocations = 0;

void* countedAlloc(std::size_t size) {
    if (tCountAllocations) {
        ++tAllocations;
    }
    if (void* p = std::malloc(size != 0 ? size : 1)) {
        return p;
    }
    throw std::bad_alloc();
}
}  // namespace

void* operator new(std::size_t size) { return countedAlloc(size); }
void* operator new[](std::size_t size) { return countedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using Bytes = std::vector<uint8_t>;
using velar_test::RecordingPacketBuffer;
using velar_test::RecordingPesRing;

Bytes bytes(size_t n, uint8_t first = 0) {
    Bytes v(n);
    std::iota(v.begin(), v.end(), first);
    return v;
}

// A video header as the H.264 feeder makes it: E0, PTS 90000, DTS 87000, aligned.
ISO::PesHeader videoHeader() {
    ISO::PesHeader header;
    header.setStreamId(0xE0);
    header.setPts(90000);
    header.setDts(87000);
    header.setPtsDtsFlags(true, true);
    header.setDataAlignmentIndicator(true);
    return header;
}

// 90000 = 0x15F90 and 87000 = 0x153D8 in the 5-byte layout.
Bytes videoHeaderBytes(unsigned int packetLength) {
    return {
        0x00, 0x00, 0x01, 0xE0,                   // start code, stream_id
        static_cast<uint8_t>(packetLength >> 8),  // PES_packet_length
        static_cast<uint8_t>(packetLength),
        0x84,                          // '10', data_alignment_indicator 1
        0xC0,                          // PTS_DTS_flags 11
        0x0A,                          // PES_header_data_length 10
        0x31, 0x00, 0x05, 0xBF, 0x21,  // '0011' PTS 90000
        0x11, 0x00, 0x05, 0xA7, 0xB1,  // '0001' DTS 87000
    };
}

// The 9-byte header of every further packet of a unit: no time stamps, no alignment flag.
Bytes continuationHeaderBytes(uint8_t streamId, unsigned int packetLength) {
    return {0x00, 0x00, 0x01, streamId, static_cast<uint8_t>(packetLength >> 8),
            static_cast<uint8_t>(packetLength), 0x80, 0x00, 0x00};
}

class AvPesBufferRecordingTest : public ::testing::Test {
protected:
    std::shared_ptr<RecordingPacketBuffer> recorder = std::make_shared<RecordingPacketBuffer>();
    avfile::AvPesBuffer pes{recorder};
};

TEST_F(AvPesBufferRecordingTest, StagesTheHeaderThenFlushesThePayload) {
    pes.setPesHeader(videoHeader());
    const Bytes payload = {0x00, 0x00, 0x01, 0x65, 0x88};
    pes.writeData(payload.data(), payload.size(), true);
    ASSERT_EQ(2u, recorder->writes.size());
    EXPECT_EQ(videoHeaderBytes(5 + 13), recorder->writes[0].bytes);
    EXPECT_FALSE(recorder->writes[0].flush);
    EXPECT_EQ(payload, recorder->writes[1].bytes);
    EXPECT_TRUE(recorder->writes[1].flush);
}

TEST_F(AvPesBufferRecordingTest, BytesWaitForTheEndOfTheUnit) {
    pes.setPesHeader(videoHeader());
    const Bytes startCode = {0x00, 0x00, 0x01};
    const Bytes nal = {0x65, 0x88};
    pes.writeData(startCode.data(), startCode.size(), false);
    EXPECT_TRUE(recorder->writes.empty());
    pes.writeData(nal.data(), nal.size(), true);
    ASSERT_EQ(1u, recorder->packets.size());
    Bytes expected = videoHeaderBytes(5 + 13);
    expected.insert(expected.end(), {0x00, 0x00, 0x01, 0x65, 0x88});
    EXPECT_EQ(expected, recorder->packets[0]);
}

TEST_F(AvPesBufferRecordingTest, AnEmptyWriteDoesNothingEvenAtTheEndOfAUnit) {
    pes.setPesHeader(videoHeader());
    pes.writeData(nullptr, 0, true);
    const Bytes three = {1, 2, 3};
    pes.writeData(three.data(), three.size(), false);
    pes.writeData(three.data(), 0, true);  // the pending bytes stay
    EXPECT_TRUE(recorder->writes.empty());
    pes.writeData(three.data(), 1, true);
    ASSERT_EQ(1u, recorder->packets.size());
    EXPECT_EQ(4u + 19, recorder->packets[0].size());
}

TEST_F(AvPesBufferRecordingTest, LaterUnitsWithoutANewHeaderAreContinuationPackets) {
    pes.setPesHeader(videoHeader());
    const Bytes data = bytes(10);
    pes.writeData(data.data(), data.size(), true);
    pes.writeData(data.data(), data.size(), true);
    ASSERT_EQ(2u, recorder->packets.size());
    EXPECT_EQ(continuationHeaderBytes(0xE0, 13), RecordingPesRing::pesHeader(recorder->packets[1]));

    pes.setPesHeader(videoHeader());  // a feeder restores the template for every unit
    pes.writeData(data.data(), data.size(), true);
    EXPECT_EQ(videoHeaderBytes(23), RecordingPesRing::pesHeader(recorder->packets[2]));
}

TEST_F(AvPesBufferRecordingTest, AFullPacketWaitsForMoreBytes) {
    pes.setPesHeader(videoHeader());
    const Bytes data = bytes(65514);
    pes.writeData(data.data(), 65513, false);  // exactly the limit: not emitted yet
    EXPECT_TRUE(recorder->writes.empty());
    pes.writeData(data.data() + 65513, 1, true);
    ASSERT_EQ(2u, recorder->packets.size());
    EXPECT_EQ(videoHeaderBytes(65526), RecordingPesRing::pesHeader(recorder->packets[0]));
    EXPECT_EQ(65513u, RecordingPesRing::pesPayload(recorder->packets[0]).size());
    EXPECT_EQ(continuationHeaderBytes(0xE0, 4), RecordingPesRing::pesHeader(recorder->packets[1]));
    EXPECT_EQ(Bytes{data.back()}, RecordingPesRing::pesPayload(recorder->packets[1]));
}

TEST_F(AvPesBufferRecordingTest, AUnitOfExactlyTheLimitIsOnePacket) {
    pes.setPesHeader(videoHeader());
    const Bytes data = bytes(65513);
    pes.writeData(data.data(), data.size(), true);
    ASSERT_EQ(1u, recorder->packets.size());
    EXPECT_EQ(65526u + 6, recorder->packets[0].size());
}

// Cutting one 200000-byte unit at the length limit, for each header form.
struct CutCase {
    const char* name;
    bool pts;
    bool dts;
    Bytes firstHeader;
    size_t firstPayload;
};

void PrintTo(const CutCase& c, std::ostream* os) { *os << c.name; }

class AvPesBufferCutTest : public ::testing::TestWithParam<CutCase> {};

TEST_P(AvPesBufferCutTest, CutsAt65526BytesOfPacketLength) {
    const CutCase& c = GetParam();
    RecordingPesRing ring;
    auto packetBuffer = std::make_shared<avfile::AvPacketBuffer>(ring.buffer);
    avfile::AvPesBuffer pes(packetBuffer);
    ISO::PesHeader header = videoHeader();
    header.setPtsDtsFlags(c.pts, c.dts);
    pes.setPesHeader(header);

    const Bytes data = bytes(200000, 3);
    pes.writeData(data.data(), data.size(), true);

    const auto units = ring.drainUnits();
    const size_t rest = 200000 - c.firstPayload - 2 * 65523;
    ASSERT_EQ(4u, units.size());
    EXPECT_EQ(c.firstHeader, RecordingPesRing::pesHeader(units[0]));
    EXPECT_EQ(continuationHeaderBytes(0xE0, 65526), RecordingPesRing::pesHeader(units[1]));
    EXPECT_EQ(continuationHeaderBytes(0xE0, 65526), RecordingPesRing::pesHeader(units[2]));
    EXPECT_EQ(continuationHeaderBytes(0xE0, rest + 3), RecordingPesRing::pesHeader(units[3]));
    const size_t sizes[] = {c.firstPayload, 65523, 65523, rest};
    Bytes joined;
    for (size_t i = 0; i < 4; ++i) {
        const Bytes payload = RecordingPesRing::pesPayload(units[i]);
        EXPECT_EQ(sizes[i], payload.size()) << "packet " << i;
        joined.insert(joined.end(), payload.begin(), payload.end());
    }
    EXPECT_EQ(data, joined);
}

Bytes withPtsOnly() {
    return {0x00, 0x00, 0x01, 0xE0, 0xFF, 0xF6,  // PES_packet_length 65526
            0x84, 0x80, 0x05,                    // aligned, PTS only, 5 bytes
            0x21, 0x00, 0x05, 0xBF, 0x21};       // '0010' PTS 90000
}

Bytes withoutTimeStamps() {
    return {0x00, 0x00, 0x01, 0xE0, 0xFF, 0xF6,  // PES_packet_length 65526
            0x84, 0x00, 0x00};                   // aligned, no time stamps
}

INSTANTIATE_TEST_SUITE_P(
    HeaderForms, AvPesBufferCutTest,
    ::testing::Values(CutCase{"PtsAndDts", true, true, videoHeaderBytes(65526), 65513},  // 3441 left
                      CutCase{"PtsOnly", true, false, withPtsOnly(), 65518},
                      CutCase{"NoTimeStamps", false, false, withoutTimeStamps(), 65523}),
    [](const ::testing::TestParamInfo<CutCase>& info) { return std::string(info.param.name); });

TEST(AvPesBufferTest, The200000ByteExampleLeaves3441BytesForTheLastPacket) {
    RecordingPesRing ring;
    avfile::AvPesBuffer pes(std::make_shared<avfile::AvPacketBuffer>(ring.buffer));
    pes.setPesHeader(videoHeader());
    const Bytes data = bytes(200000);
    pes.writeData(data.data(), data.size(), true);
    const auto units = ring.drainUnits();
    ASSERT_EQ(4u, units.size());
    EXPECT_EQ((Bytes{0x00, 0x00, 0x01, 0xE0, 0x0D, 0x74, 0x80, 0x00, 0x00}),  // 3444 = 3441 + 3
              RecordingPesRing::pesHeader(units[3]));
    EXPECT_EQ(3441u, RecordingPesRing::pesPayload(units[3]).size());
}

// The whole conversion path, feeder to ring, allocates nothing per sample or packet once built.
TEST(AvPesBufferTest, HotPathAllocatesNothingPerPacket) {
    RecordingPesRing ring(1 << 22);
    auto packetBuffer = std::make_shared<avfile::AvPacketBuffer>(ring.buffer);
    auto videoPes = std::make_shared<avfile::AvPesBuffer>(packetBuffer);
    auto audioPes = std::make_shared<avfile::AvPesBuffer>(packetBuffer);
    avfile::H264Feeder video(videoPes);
    avfile::AacFeeder audio(audioPes);

    avfile::AvSample videoSample;
    videoSample.trackInfo.codecData = std::make_shared<avfile::H264AvcData>(std::vector<uint8_t>{
        0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E,  // Main 3.0
        0x01, 0x00, 0x02, 0x68, 0xEE});
    videoSample.data = {0x00, 0x00, 0x00, 0x03, 0x65, 0x88, 0x84,  // 3-byte NAL unit
                        0x00, 0x01, 0x00, 0x00};                    // 65536-byte NAL unit...
    videoSample.data.resize(videoSample.data.size() + 65536, 0xAB);  // ...two PES packets
    videoSample.firstSample = true;
    avfile::AvSample audioSample;
    audioSample.trackInfo.codecData = std::make_shared<avfile::AacData>(std::vector<uint8_t>{0x12, 0x10});
    audioSample.data.assign(371, 0x5A);

    // Warm up once (first-time initialisation outside the code under test).
    video.feedSample(videoSample);
    audio.feedSample(audioSample);
    ring.drain();
    const uint64_t before = ring.buffer->totalWritten();

    tCountAllocations = true;
    tAllocations = 0;
    for (int i = 0; i < 20; ++i) {
        videoSample.pts += 3000;
        videoSample.dts += 3000;
        audioSample.pts += 1920;
        video.feedSample(videoSample);
        audio.feedSample(audioSample);
        uint8_t sink[4096];
        while (ring.buffer->read(sink, sizeof(sink), 0) != 0) {
        }
    }
    tCountAllocations = false;
    EXPECT_EQ(0u, tAllocations);
    EXPECT_GT(ring.buffer->totalWritten(), before + 20 * (65536 + 371));
}

}  // namespace
