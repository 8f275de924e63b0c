#pragma once

#include <cstdint>

namespace ISO {

// The 7-byte ADTS frame header (ISO/IEC 13818-7 / 14496-3) without CRC, as a byte image.
// Default FF F1 4C 80 00 1F FC: MPEG-4, AAC LC, 48000 Hz, 2 channels, frame length 0, buffer
// fullness 7FF. The frame length (bytes 3-5) is patched by the AAC feeder on the image directly.
class AdtsHeader {
public:
    static const unsigned int kSize = 7;

    AdtsHeader();

    // Stores the sampling_frequency_index of `rate` (exact matches of the 13-entry table only) in
    // bits 5-2 of byte 2 and returns true; any other rate stores 15 and returns false.
    bool setSamplingFrequencyIndex(unsigned int rate);

    uint8_t* data() { return mImage; }
    const uint8_t* data() const { return mImage; }

private:
    uint8_t mImage[kSize];
};

}  // namespace ISO
