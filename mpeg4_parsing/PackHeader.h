#pragma once

#include <cstdint>

namespace ISO {

// The MPEG-2 program-stream pack header (ISO/IEC 13818-1, 2.5.3.3) written after every
// positioning. Its 14 bytes never change: SCR 0, program_mux_rate 3FFFFF, and byte 13 zero
// (reserved bits deliberately 0, no stuffing).
class PackHeader {
public:
    static const unsigned int kSize = 14;

    PackHeader();

    // Copies the 14 bytes to `dest`; returns 14.
    unsigned int write(unsigned char* dest) const;

private:
    uint8_t mImage[kSize];
};

}  // namespace ISO
