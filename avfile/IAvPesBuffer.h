#pragma once

#include <cstddef>
#include <cstdint>

namespace ISO {
class PesHeader;
}

namespace avfile {

// Wraps elementary-stream bytes in MPEG-2 PES packets (ISO/IEC 13818-1, 2.4.3.6), cutting an
// access unit into as many packets as the PES length field allows. One per feeder.
class IAvPesBuffer {
public:
    // Appends bytes of the current access unit; `endOfUnit` true emits the packet(s).
    virtual void writeData(const uint8_t* data, size_t size, bool endOfUnit) = 0;
    // Header (time stamps, stream id) for the next access unit; copied.
    virtual void setPesHeader(const ISO::PesHeader& header) = 0;
    virtual ~IAvPesBuffer() {}
};

}  // namespace avfile
