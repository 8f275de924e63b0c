#include "mpeg4_parsing/PackHeader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(PackHeaderTest, WritesTheFixed14Bytes) {
    std::vector<uint8_t> out(16, 0xEE);
    EXPECT_EQ(14u, ISO::PackHeader().write(out.data()));
    const std::vector<uint8_t> expected = {
        0x00, 0x00, 0x01, 0xBA,  // pack_start_code
        0x44,                    // '01', SCR[32..30] 000, marker, SCR[29..28] 00
        0x00,                    // SCR[27..20]
        0x04,                    // SCR[19..15], marker, SCR[14..13]
        0x00,                    // SCR[12..5]
        0x04,                    // SCR[4..0], marker, SCR_extension[8..7]
        0x01,                    // SCR_extension[6..0], marker
        0xFF, 0xFF, 0xFF,        // program_mux_rate 3FFFFF and two markers
        0x00,                    // reserved bits kept 0, pack_stuffing_length 0
        0xEE, 0xEE,              // beyond the header: untouched
    };
    EXPECT_EQ(expected, out);
}

}  // namespace
