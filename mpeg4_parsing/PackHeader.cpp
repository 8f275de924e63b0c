#include "mpeg4_parsing/PackHeader.h"

#include <cstring>

namespace ISO {

PackHeader::PackHeader()
    : mImage{
          0x00, 0x00, 0x01, 0xBA,  // pack_start_code
          0x44,                    // '01', SCR[32..30] 0, marker, SCR[29..28] 0
          0x00,                    // SCR[27..20]
          0x04,                    // SCR[19..15] 0, marker, SCR[14..13] 0
          0x00,                    // SCR[12..5]
          0x04,                    // SCR[4..0] 0, marker, SCR_extension[8..7] 0
          0x01,                    // SCR_extension[6..0] 0, marker
          0xFF, 0xFF, 0xFF,        // program_mux_rate 3FFFFF, two markers
          0x00,                    // reserved (kept 0) and pack_stuffing_length 0
      } {}

unsigned int PackHeader::write(unsigned char* dest) const {
    std::memcpy(dest, mImage, kSize);
    return kSize;
}

}  // namespace ISO
