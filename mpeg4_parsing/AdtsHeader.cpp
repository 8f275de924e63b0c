#include "mpeg4_parsing/AdtsHeader.h"

namespace ISO {

namespace {

// ISO/IEC 14496-3, Table 1.18: samplingFrequencyIndex 0 to 12.
const unsigned int kSamplingFrequencies[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                             22050, 16000, 12000, 11025, 8000,  7350};

}  // namespace

AdtsHeader::AdtsHeader()
    : mImage{
          0xFF,  // syncword[11..4]
          0xF1,  // syncword[3..0], ID 0, layer 00, protection_absent 1
          0x4C,  // profile 01, sampling_frequency_index 0011, private 0, channel_config[2] 0
          0x80,  // channel_config[1..0] 10, original/home/copyright bits 0, frame_length[12..11] 0
          0x00,  // frame_length[10..3]
          0x1F,  // frame_length[2..0] 0, buffer_fullness[10..6] 11111
          0xFC,  // buffer_fullness[5..0] 111111, number_of_raw_data_blocks 00
      } {}

bool AdtsHeader::setSamplingFrequencyIndex(unsigned int rate) {
    unsigned int index = 15;
    for (unsigned int i = 0; i < sizeof(kSamplingFrequencies) / sizeof(kSamplingFrequencies[0]);
         ++i) {
        if (kSamplingFrequencies[i] == rate) {
            index = i;
            break;
        }
    }
    mImage[2] = static_cast<uint8_t>((mImage[2] & 0xC3) | (index << 2));
    return index != 15;
}

}  // namespace ISO
