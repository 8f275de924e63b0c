// Fuzz target: the H.264 feeder on arbitrary samples, through the real PES buffer and packet
// buffer into a ContigMemBuffer ring that is drained after every sample.
//
// The codec data is fixed: the avcC record of the baseline test clip (tests/data/make-media.sh,
// baseline.mp4), with its NAL prefix width set to 4, 2 or 1 bytes by the first input byte
// (its low two bits; 3: the sample carries AAC codec data instead). The rest of the input is a
// run of samples, each:
//   flags (1 byte: bit 0 firstSample, bit 1 keyFrame, bit 2 zero padding), length L (3 bytes,
//   big-endian, at most kMaxSampleBytes), pts and dts (5 bytes each, big-endian, so 33-bit
//   wrap-around is reached), count n (2 bytes), then n literal bytes.
// The sample's data is the literal bytes cut to L bytes or brought up to L bytes by repeating them
// (by zero bytes with bit 2, or when there are none), so a short input can describe a long sample:
// a long NAL unit, and with zero padding a long unit followed by zero-length ones. Samples stop
// once kMaxInputSampleBytes have been fed, which bounds the time one input takes.
//
// Expected outcomes: std::runtime_error (no usable codec data) and std::out_of_range (a length
// prefix cut off by the end of the sample). Checked: what reaches the ring is a sequence of whole
// video PES packets (00 00 01 E0, PES_packet_length matching the bytes), and one sample never puts
// more into the ring than its bound (3 start-code bytes per prefix byte plus the parameter sets
// and headers).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/H264AvcData.h"
#include "avfile/H264Feeder.h"
#include "fuzz/FuzzCheck.h"
#include "platform/ContigMemBuffer.h"

namespace {

// A sample spans up to three PES packets: enough for every way of cutting a unit, including
// bytes left over from an unfinished unit in front of a full packet.
constexpr size_t kMaxSampleBytes = 144 * 1024;
constexpr size_t kMaxInputSampleBytes = 2 * kMaxSampleBytes;
constexpr size_t kRingBytes = 4 * kMaxSampleBytes + 256 * 1024;

// avcC of baseline.mp4: Constrained Baseline, level 1.2, one SPS and one PPS.
const std::vector<unsigned char> kBaselineAvcC = {
    0x01, 0x42, 0xc0, 0x0c, 0xff, 0xe1, 0x00, 0x17, 0x67, 0x42, 0xc0, 0x0c, 0xda, 0x05, 0x06,
    0x7e, 0x7c, 0x04, 0x40, 0x00, 0x00, 0x03, 0x00, 0x40, 0x00, 0x00, 0x0c, 0x83, 0xc5, 0x0a,
    0xa8, 0x01, 0x00, 0x04, 0x68, 0xce, 0x0f, 0xc8};

std::shared_ptr<avfile::IAvCodecData> codecData(unsigned choice) {
    static std::shared_ptr<avfile::IAvCodecData> made[4];
    if (!made[choice]) {
        if (choice == 3) {
            made[choice] = std::make_shared<avfile::AacData>(std::vector<unsigned char>{0x12, 0x10});
        } else {
            std::vector<unsigned char> record = kBaselineAvcC;
            record[4] = static_cast<unsigned char>(0xFC | (choice == 0 ? 3 : choice == 1 ? 1 : 0));
            made[choice] = std::make_shared<avfile::H264AvcData>(record);
        }
    }
    return made[choice];
}

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}
    bool has(size_t bytes) const { return mSize - mPos >= bytes; }
    uint64_t number(size_t bytes) {
        uint64_t value = 0;
        for (size_t i = 0; i < bytes; ++i) value = (value << 8) | mData[mPos++];
        return value;
    }
    const uint8_t* take(size_t& bytes) {
        if (bytes > mSize - mPos) bytes = mSize - mPos;
        const uint8_t* at = mData + mPos;
        mPos += bytes;
        return at;
    }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

// Drains the ring and checks that it held whole video PES packets; returns the byte count.
size_t drainPackets(ContigMemBuffer& ring) {
    static std::vector<uint8_t> out(kRingBytes);
    const size_t got = ring.read(out.data(), out.size(), 0);
    size_t pos = 0;
    while (pos < got) {
        FUZZ_CHECK(got - pos >= 9);
        FUZZ_CHECK(out[pos] == 0 && out[pos + 1] == 0 && out[pos + 2] == 1 && out[pos + 3] == 0xE0);
        const size_t length = (size_t{out[pos + 4]} << 8) | out[pos + 5];
        FUZZ_CHECK(length >= 3 + out[pos + 8] && got - pos >= 6 + length);
        pos += 6 + length;
    }
    return got;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const auto ring = std::make_shared<ContigMemBuffer>(kRingBytes);
    if (size == 0) {
        return 0;
    }
    ring->clear();
    Reader in(data + 1, size - 1);
    avfile::H264Feeder feeder(
        std::make_shared<avfile::AvPesBuffer>(std::make_shared<avfile::AvPacketBuffer>(ring)));
    avfile::AvSample sample;
    sample.trackInfo.codecData = codecData(data[0] & 3);

    size_t fed = 0;
    while (in.has(1 + 3 + 5 + 5 + 2) && fed < kMaxInputSampleBytes) {
        const unsigned flags = static_cast<unsigned>(in.number(1));
        const size_t length = std::min<size_t>(in.number(3), kMaxSampleBytes);
        sample.pts = in.number(5);
        sample.dts = in.number(5);
        size_t literal = static_cast<size_t>(in.number(2));
        const uint8_t* bytes = in.take(literal);
        sample.data.assign(bytes, bytes + std::min(literal, length));
        if ((flags & 4) != 0 || literal == 0) {
            sample.data.resize(length, 0);
        }
        while (sample.data.size() < length) {
            sample.data.insert(sample.data.end(), bytes, bytes + std::min(literal, length - sample.data.size()));
        }
        fed += length;
        sample.firstSample = (flags & 1) != 0;
        sample.keyFrame = (flags & 2) != 0;
        try {
            feeder.feedSample(sample);
        } catch (const std::runtime_error&) {
        } catch (const std::out_of_range&) {
        }
        // Start codes: at most 3 bytes per prefix byte (zero-length units); headers 19 bytes per
        // packet; parameter sets and bytes left over from an unfinished earlier unit.
        FUZZ_CHECK(drainPackets(*ring) <= 4 * length + 2 * 65536);
    }
    return 0;
}
