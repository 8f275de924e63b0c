#include "mpeg4_parsing/PesHeader.h"

namespace ISO {

PesHeader::PesHeader()
    : mImage{
          0x00, 0x00, 0x01,  // packet_start_code_prefix
          0xFF,              // stream_id (the feeders set E0 / C0)
          0x00, 0x00,        // PES_packet_length
          0x80,              // '10', scrambling 00, priority 0, alignment 0, copyright 0, original 0
          0xC0,              // PTS_DTS_flags 11, other flags 0
          0x0A,              // PES_header_data_length
          0x31, 0x00, 0x01, 0x00, 0x01,  // '0011' PTS[32..30] 1, PTS[29..15] 1, PTS[14..0] 1
          0x11, 0x00, 0x01, 0x00, 0x01,  // '0001' DTS[32..30] 1, DTS[29..15] 1, DTS[14..0] 1
      },
      mPayloadSize(0) {}

bool PesHeader::setPayloadSize(unsigned short size) {
    mPayloadSize = size;
    unsigned int packetLength = 0;
    bool ok = true;
    if (size != 0) {
        const unsigned int h = mImage[8];
        const uint16_t limit = static_cast<uint16_t>(65532u - (h + 9u));
        if (size > limit) {
            packetLength = 0xFFFF;
            ok = false;
        } else {
            packetLength = size + h + 3u;
        }
    }
    mImage[4] = static_cast<uint8_t>(packetLength >> 8);
    mImage[5] = static_cast<uint8_t>(packetLength);
    return ok;
}

void PesHeader::setPtsDtsFlags(bool pts, bool dts) {
    const uint8_t flags = pts ? (dts ? 3 : 2) : 0;
    mImage[7] = static_cast<uint8_t>((mImage[7] & 0x3F) | (flags << 6));
    mImage[8] = flags == 3 ? 10 : (flags == 2 ? 5 : 0);
    mImage[9] = static_cast<uint8_t>((mImage[9] & 0x0F) | (flags << 4));
    mImage[14] = static_cast<uint8_t>((mImage[14] & 0x0F) | (dts ? 0x10 : 0x00));
    setPayloadSize(static_cast<unsigned short>(mPayloadSize & 0xFFFF));
}

void PesHeader::writeTimeStamp(uint8_t* b, unsigned long long t) {
    b[0] = static_cast<uint8_t>((b[0] & 0xF1) | (((t >> 30) & 0x07) << 1));
    b[1] = static_cast<uint8_t>((t >> 22) & 0xFF);
    b[2] = static_cast<uint8_t>((b[2] & 0x01) | (((t >> 15) & 0x7F) << 1));
    b[3] = static_cast<uint8_t>((t >> 7) & 0xFF);
    b[4] = static_cast<uint8_t>((b[4] & 0x01) | ((t & 0x7F) << 1));
}

void PesHeader::setPts(unsigned long long pts) { writeTimeStamp(mImage + 9, pts); }

void PesHeader::setDts(unsigned long long dts) { writeTimeStamp(mImage + 14, dts); }

void PesHeader::setDataAlignmentIndicator(bool on) {
    mImage[6] = static_cast<uint8_t>(on ? (mImage[6] | 0x04) : (mImage[6] & ~0x04));
}

}  // namespace ISO
