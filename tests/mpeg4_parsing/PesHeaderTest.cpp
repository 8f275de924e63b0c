#include "mpeg4_parsing/PesHeader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes image(const ISO::PesHeader& header) {
    return Bytes(header.data(), header.data() + ISO::PesHeader::kMaxHeaderBytes);
}

TEST(PesHeaderTest, TimeStampBitPlacement) {
    ISO::PesHeader header;
    EXPECT_EQ(19u, header.headerLength());
    header.setPts(0x123456789ull);
    header.setDts(0x0000ABCDEull);
    const Bytes expected = {
        0x00, 0x00, 0x01,  // packet_start_code_prefix
        0xFF,              // stream_id, overwritten by the feeders
        0x00, 0x00,        // PES_packet_length 0
        0x80,              // '10', no scrambling/priority/alignment/copyright/original
        0xC0,              // PTS_DTS_flags 11, no other flags
        0x0A,              // PES_header_data_length 10
        0x39,              // '0011', PTS[32..30] = 100, marker
        0x8D,              // PTS[29..22]
        0x15,              // PTS[21..15] = 0001010, marker
        0xCF,              // PTS[14..7]
        0x13,              // PTS[6..0] = 0001001, marker
        0x11,              // '0001', DTS[32..30] = 000, marker
        0x00,              // DTS[29..22]
        0x2B,              // DTS[21..15] = 0010101, marker
        0x79,              // DTS[14..7]
        0xBD,              // DTS[6..0] = 1011110, marker
    };
    EXPECT_EQ(expected, image(header));
    header.setPts(1ull << 33);  // bit 33 is dropped: zero, markers kept
    header.setDts(1ull << 33);
    EXPECT_EQ(image(ISO::PesHeader()), image(header));
}

// The bound is 65523 - PES_header_data_length: PES_packet_length never exceeds 65526.
TEST(PesHeaderTest, SetPayloadSizeSetsThePacketLengthWithinTheBound) {
    struct {
        bool pts, dts;
        unsigned short size;
        bool ok;
        unsigned int packetLength;
    } const cases[] = {
        {true, true, 0, true, 0},  // unbounded video PES
        {true, true, 65513, true, 65526},   {true, true, 65514, false, 0xFFFF},
        {true, false, 65518, true, 65526},  {true, false, 65519, false, 0xFFFF},
        {false, false, 65523, true, 65526}, {false, false, 65524, false, 0xFFFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "flags " << c.pts << c.dts << ", size " << c.size);
        ISO::PesHeader header;
        header.setPtsDtsFlags(c.pts, c.dts);
        EXPECT_EQ(c.ok, header.setPayloadSize(c.size));
        EXPECT_EQ((Bytes{uint8_t(c.packetLength >> 8), uint8_t(c.packetLength)}),
                  Bytes(header.data() + 4, header.data() + 6));
        EXPECT_EQ(c.size, header.payloadSize());  // recorded even when refused
    }
}

// The 14-byte layout itself is spelled in the audio packets of the feeder tests.
TEST(PesHeaderTest, PtsOnlyShortensTheHeaderAndRecomputesTheLength) {
    ISO::PesHeader header;
    ASSERT_TRUE(header.setPayloadSize(378));
    header.setPtsDtsFlags(true, false);
    EXPECT_EQ(14u, header.headerLength());
    EXPECT_EQ((Bytes{0x01, 0x82}), Bytes(header.data() + 4, header.data() + 6));  // 378 + 8
}

}  // namespace
