#include "avfile/AvPesBuffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <numeric>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AacFeeder.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/H264AvcData.h"
#include "avfile/H264Feeder.h"
#include "mpeg4_parsing/PesHeader.h"
#include "tests/common/ExpectedPes.h"
#include "tests/common/RecordingPacketBuffer.h"
#include "tests/common/RecordingPesRing.h"

// Allocation counting for the hot-path test below: the replaceable global operators count the
// allocations of the calling thread while its counter is switched on. This is the only
// replacement in the test program.
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
using velar_test::ExpectedPes;
using velar_test::RecordingPacketBuffer;

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

// The header is staged, then committed with the payload at the end of the unit. An empty write
// does nothing even when it ends the unit (deliberate): the pending bytes stay.
TEST(AvPesBufferTest, BytesWaitForTheEndOfTheUnitThenGoOutAsOneCommittedPacket) {
    auto recorder = std::make_shared<RecordingPacketBuffer>();
    avfile::AvPesBuffer pes(recorder);
    pes.setPesHeader(feederHeader(0xE0));
    const Bytes bytes = {0x00, 0x00, 0x01, 0x65, 0x88};
    pes.writeData(nullptr, 0, true);
    pes.writeData(bytes.data(), 3, false);  // start code
    pes.writeData(bytes.data(), 0, true);
    EXPECT_TRUE(recorder->writes.empty());
    pes.writeData(bytes.data() + 3, 2, true);  // NAL unit, end of unit
    const Bytes packet = ExpectedPes::video(bytes);
    const std::vector<RecordingPacketBuffer::Write> expected = {
        {Bytes(packet.begin(), packet.begin() + 19), false},
        {Bytes(packet.begin() + 19, packet.end()), true},
    };
    EXPECT_EQ(expected, recorder->writes);
}

// One unit cut at the PES length limit: the first packet carries the time stamps, the others are
// continuation packets with 9-byte headers.
TEST(AvPesBufferTest, CutsTheUnitAtTheLengthLimit) {
    const struct {
        uint8_t streamId;
        Bytes (*first)(const Bytes& payload);  // the first packet's form
        std::vector<size_t> payloads;          // per packet
    } table[] = {
        {0xE0, &ExpectedPes::video, {65513, 65523, 65523, 3441}},
        {0xC0, &ExpectedPes::audio, {65518, 65523, 65523, 3436}},
        {0xE0, &ExpectedPes::video, {65513, 1}},
    };
    for (const auto& c : table) {
        velar_test::RecordingPesRing ring;
        avfile::AvPesBuffer pes(std::make_shared<avfile::AvPacketBuffer>(ring.buffer));
        pes.setPesHeader(feederHeader(c.streamId));
        Bytes data(std::accumulate(c.payloads.begin(), c.payloads.end(), size_t(0)));
        std::iota(data.begin(), data.end(), uint8_t(3));
        pes.writeData(data.data(), data.size(), true);

        std::vector<Bytes> expected;
        auto from = data.begin();
        for (size_t size : c.payloads) {
            const Bytes payload(from, from + size);
            expected.push_back(expected.empty() ? c.first(payload)
                                                : ExpectedPes::continuation(c.streamId, payload));
            from += size;
        }
        EXPECT_EQ(expected, ring.drainUnits()) << data.size();
    }
}

// The whole conversion path, feeder to ring, allocates nothing per sample or packet once built.
TEST(AvPesBufferTest, HotPathAllocatesNothingPerPacket) {
    velar_test::RecordingPesRing ring;
    auto packetBuffer = std::make_shared<avfile::AvPacketBuffer>(ring.buffer);
    avfile::H264Feeder video(std::make_shared<avfile::AvPesBuffer>(packetBuffer));
    avfile::AacFeeder audio(std::make_shared<avfile::AvPesBuffer>(packetBuffer));
    avfile::AvSample videoSample;
    videoSample.trackInfo.codecData = std::make_shared<avfile::H264AvcData>(Bytes{
        0x01, 0x4D, 0x40, 0x1E, 0xFF, 0xE1, 0x00, 0x04, 0x67, 0x4D, 0x40, 0x1E,  // Main 3.0
        0x01, 0x00, 0x02, 0x68, 0xEE});
    videoSample.data = {0x00, 0x01, 0x00, 0x00};  // one NAL unit of 65536 bytes: two packets
    videoSample.data.resize(4 + 65536, 0xAB);
    avfile::AvSample audioSample;
    audioSample.trackInfo.codecData = std::make_shared<avfile::AacData>(Bytes{0x12, 0x10});
    audioSample.data.assign(371, 0x5A);

    for (int round = 0; round < 20; ++round) {
        tCountAllocations = round > 0;  // the first round warms up
        video.feedSample(videoSample);
        audio.feedSample(audioSample);
        tCountAllocations = false;
        ASSERT_EQ(3u, ring.drainUnits().size());
    }
    EXPECT_EQ(0u, tAllocations);
}

}  // namespace
