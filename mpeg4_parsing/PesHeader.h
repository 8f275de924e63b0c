#pragma once

#include <cstddef>
#include <cstdint>

namespace ISO {

// An MPEG-2 PES packet header (ISO/IEC 13818-1, 2.4.3.6) kept as a byte image in transmission
// order. The image holds the largest header this system emits (9 fixed bytes, PTS and DTS); the
// written part is the first headerLength() = 9 + PES_header_data_length bytes. Setters patch bit
// fields in place; nothing allocates, the class is copied by value.
class PesHeader {
public:
    static const size_t kMaxHeaderBytes = 19;

    // Default image: 00 00 01 FF 00 00 80 C0 0A 31 00 01 00 01 11 00 01 00 01 (stream_id FF,
    // PES_packet_length 0, PTS and DTS flagged, both zero); payload size 0.
    PesHeader();

    // Records `size` as the payload size, then sets PES_packet_length: 0 for a size of 0 (true);
    // FFFF and false when `size` exceeds 65523 - PES_header_data_length (9 bytes below what the
    // field could carry, the bound AvPesBuffer cuts at); else size + header_data_length + 3 (true).
    bool setPayloadSize(unsigned short size);

    // PTS_DTS_flags 11 (both), 10 (pts only) or 00 (pts false: a DTS alone is never signalled);
    // PES_header_data_length 10, 5 or 0; PTS prefix nibble = the flags; DTS prefix nibble 0001
    // whenever `dts` is true. Then recomputes PES_packet_length from the stored payload size.
    void setPtsDtsFlags(bool pts, bool dts);

    // Low 33 bits of the time stamp into bytes 9-13 (PTS) or 14-18 (DTS); prefix nibbles and
    // marker bits are kept.
    void setPts(unsigned long long pts);
    void setDts(unsigned long long dts);

    // Bit 2 of byte 6.
    void setDataAlignmentIndicator(bool on);

    void setStreamId(uint8_t id) { mImage[3] = id; }
    uint8_t streamId() const { return mImage[3]; }

    // PES_header_data_length (byte 8) and the written header length 9 + that.
    unsigned int headerDataLength() const { return mImage[8]; }
    unsigned int headerLength() const { return 9u + mImage[8]; }
    // PES_packet_length (bytes 4-5).
    unsigned int packetLength() const { return (unsigned(mImage[4]) << 8) | mImage[5]; }
    uint32_t payloadSize() const { return mPayloadSize; }

    // The whole 19-byte image; the first headerLength() bytes are the header to transmit.
    const uint8_t* data() const { return mImage; }

private:
    static void writeTimeStamp(uint8_t* b, unsigned long long t);

    uint8_t mImage[kMaxHeaderBytes];
    uint32_t mPayloadSize;
};

}  // namespace ISO
