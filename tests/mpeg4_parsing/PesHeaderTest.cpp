#include "mpeg4_parsing/PesHeader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes image(const ISO::PesHeader& header) {
    return Bytes(header.data(), header.data() + ISO::PesHeader::kMaxHeaderBytes);
}

// Reads the 33-bit time stamp back out of its five bytes (ISO/IEC 13818-1, 2.4.3.7).
uint64_t timeStampAt(const ISO::PesHeader& header, size_t at) {
    const uint8_t* b = header.data() + at;
    return (uint64_t((b[0] >> 1) & 0x07) << 30) | (uint64_t(b[1]) << 22) |
           (uint64_t(b[2] >> 1) << 15) | (uint64_t(b[3]) << 7) | (b[4] >> 1);
}

TEST(PesHeaderTest, DefaultImage) {
    ISO::PesHeader header;
    const Bytes expected = {
        0x00, 0x00, 0x01,              // packet_start_code_prefix
        0xFF,                          // stream_id, overwritten by the feeders
        0x00, 0x00,                    // PES_packet_length 0
        0x80,                          // '10', no scrambling/priority/alignment/copyright/original
        0xC0,                          // PTS_DTS_flags 11, no other flags
        0x0A,                          // PES_header_data_length 10
        0x31, 0x00, 0x01, 0x00, 0x01,  // '0011' PTS 0 with its three marker bits
        0x11, 0x00, 0x01, 0x00, 0x01,  // '0001' DTS 0 with its three marker bits
    };
    EXPECT_EQ(expected, image(header));
    EXPECT_EQ(19u, header.headerLength());
    EXPECT_EQ(0u, header.payloadSize());
}

struct PayloadCase {
    bool pts;
    bool dts;
    unsigned short size;
    bool ok;
    unsigned int packetLength;
};

void PrintTo(const PayloadCase& c, std::ostream* os) {
    *os << "pts " << c.pts << " dts " << c.dts << " size " << c.size;
}

class PesHeaderPayloadSizeTest : public ::testing::TestWithParam<PayloadCase> {};

TEST_P(PesHeaderPayloadSizeTest, SetsPacketLengthWithinTheBound) {
    const PayloadCase c = GetParam();
    ISO::PesHeader header;
    header.setPtsDtsFlags(c.pts, c.dts);
    EXPECT_EQ(c.ok, header.setPayloadSize(c.size));
    EXPECT_EQ(c.packetLength, header.packetLength());
    EXPECT_EQ(c.packetLength >> 8, header.data()[4]);
    EXPECT_EQ(c.packetLength & 0xFF, header.data()[5]);
    EXPECT_EQ(c.size, header.payloadSize());  // recorded even when refused
}

// The bound is 65523 - PES_header_data_length: PES_packet_length never exceeds 65526.
INSTANTIATE_TEST_SUITE_P(
    Bounds, PesHeaderPayloadSizeTest,
    ::testing::Values(PayloadCase{true, true, 0, true, 0},  // unbounded video PES
                      PayloadCase{true, true, 1, true, 14},
                      PayloadCase{true, true, 65513, true, 65526},
                      PayloadCase{true, true, 65514, false, 0xFFFF},
                      PayloadCase{true, true, 65535, false, 0xFFFF},
                      PayloadCase{true, false, 100, true, 108},
                      PayloadCase{true, false, 65518, true, 65526},
                      PayloadCase{true, false, 65519, false, 0xFFFF},
                      PayloadCase{false, false, 0, true, 0},
                      PayloadCase{false, false, 65523, true, 65526},
                      PayloadCase{false, false, 65524, false, 0xFFFF}));

TEST(PesHeaderTest, PtsOnlyShortensTheHeaderAndRecomputesTheLength) {
    ISO::PesHeader header;
    header.setStreamId(0xC0);
    ASSERT_TRUE(header.setPayloadSize(378));
    ASSERT_EQ(378u + 13, header.packetLength());
    header.setPtsDtsFlags(true, false);
    const Bytes expected = {
        0x00, 0x00, 0x01,              // start code
        0xC0,                          // stream_id
        0x01, 0x82,                    // PES_packet_length 386 = 378 + 8
        0x80,                          // flags byte 1 unchanged
        0x80,                          // PTS_DTS_flags 10
        0x05,                          // PES_header_data_length 5
        0x21, 0x00, 0x01, 0x00, 0x01,  // '0010' PTS 0
        0x01, 0x00, 0x01, 0x00, 0x01,  // DTS prefix cleared to 0000 (bytes no longer written)
    };
    EXPECT_EQ(expected, image(header));
    EXPECT_EQ(14u, header.headerLength());
}

TEST(PesHeaderTest, DtsWithoutPtsIsNeverSignalledButSetsTheDtsPrefix) {
    ISO::PesHeader header;
    header.setPtsDtsFlags(false, true);
    const Bytes expected = {
        0x00, 0x00, 0x01, 0xFF, 0x00, 0x00, 0x80,
        0x00,                          // PTS_DTS_flags 00
        0x00,                          // PES_header_data_length 0
        0x01, 0x00, 0x01, 0x00, 0x01,  // PTS prefix 0000
        0x11, 0x00, 0x01, 0x00, 0x01,  // DTS prefix 0001 (in the unwritten bytes)
    };
    EXPECT_EQ(expected, image(header));
    EXPECT_EQ(9u, header.headerLength());
}

TEST(PesHeaderTest, FlagsCanBeRestoredAfterContinuationForm) {
    ISO::PesHeader header;
    header.setPtsDtsFlags(false, false);
    EXPECT_EQ(0x01, header.data()[14]);  // DTS prefix 0000
    header.setPtsDtsFlags(true, true);
    EXPECT_EQ(image(ISO::PesHeader()), image(header));
}

TEST(PesHeaderTest, TimeStampsUseAll33BitsAndKeepMarkers) {
    ISO::PesHeader header;
    header.setPts((1ull << 33) - 1);
    header.setDts((1ull << 33) - 1);
    const Bytes allOnes = {
        0x00, 0x00, 0x01, 0xFF, 0x00, 0x00, 0x80, 0xC0, 0x0A,
        0x3F, 0xFF, 0xFF, 0xFF, 0xFF,  // '0011' PTS[32..30] 111 marker, then all ones with markers
        0x1F, 0xFF, 0xFF, 0xFF, 0xFF,  // '0001' DTS all ones
    };
    EXPECT_EQ(allOnes, image(header));

    header.setPts(1ull << 33);  // bit 33 is dropped: zero
    header.setDts(1ull << 33);
    EXPECT_EQ(image(ISO::PesHeader()), image(header));
}

TEST(PesHeaderTest, TimeStampBitPlacement) {
    ISO::PesHeader header;
    header.setPts(0x123456789ull);
    header.setDts(0x0000ABCDEull);
    const Bytes expected = {
        0x00, 0x00, 0x01, 0xFF, 0x00, 0x00, 0x80, 0xC0, 0x0A,
        0x39,  // '0011', PTS[32..30] = 100, marker
        0x8D,  // PTS[29..22]
        0x15,  // PTS[21..15] = 0001010, marker
        0xCF,  // PTS[14..7]
        0x13,  // PTS[6..0] = 0001001, marker
        0x11,  // '0001', DTS[32..30] = 000, marker
        0x00,  // DTS[29..22]
        0x2B,  // DTS[21..15] = 0010101, marker
        0x79,  // DTS[14..7]
        0xBD,  // DTS[6..0] = 1011110, marker
    };
    EXPECT_EQ(expected, image(header));
}

class PesHeaderTimeStampTest : public ::testing::TestWithParam<uint64_t> {};

TEST_P(PesHeaderTimeStampTest, RoundTripsTheLow33Bits) {
    ISO::PesHeader header;
    header.setPts(GetParam());
    header.setDts(~GetParam());
    EXPECT_EQ(GetParam() & 0x1FFFFFFFFull, timeStampAt(header, 9));
    EXPECT_EQ(~GetParam() & 0x1FFFFFFFFull, timeStampAt(header, 14));
    for (size_t marker : {9, 11, 13, 14, 16, 18}) {
        EXPECT_EQ(1, header.data()[marker] & 1) << "byte " << marker;
    }
    EXPECT_EQ(0x30, header.data()[9] & 0xF0);
    EXPECT_EQ(0x10, header.data()[14] & 0xF0);
}

INSTANTIATE_TEST_SUITE_P(Values, PesHeaderTimeStampTest,
                         ::testing::Values(0ull, 1ull, 90000ull, 0x40000000ull, 0x1FFFFFFFFull,
                                           0x1AAAAAAAAull, 0x155555555ull,
                                           0xFFFFFFFFFFFFFFFFull));

TEST(PesHeaderTest, DataAlignmentIndicatorIsBit2OfByte6) {
    ISO::PesHeader header;
    header.setDataAlignmentIndicator(true);
    EXPECT_EQ(0x84, header.data()[6]);
    header.setDataAlignmentIndicator(true);
    EXPECT_EQ(0x84, header.data()[6]);
    header.setDataAlignmentIndicator(false);
    EXPECT_EQ(0x80, header.data()[6]);
}

TEST(PesHeaderTest, CopiesCarryImageAndPayloadSize) {
    ISO::PesHeader header;
    header.setStreamId(0xE0);
    header.setPts(1234);
    header.setPayloadSize(70);
    ISO::PesHeader copy;
    copy = header;
    header.setPts(0);
    EXPECT_EQ(0xE0, copy.streamId());
    EXPECT_EQ(1234u, timeStampAt(copy, 9));
    EXPECT_EQ(70u, copy.payloadSize());
    EXPECT_EQ(83u, copy.packetLength());
}

}  // namespace
