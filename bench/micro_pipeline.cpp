// Microbenchmarks of the streaming pipeline's per-byte work, each in bytes per second of sample
// payload beside memcpy of the same number of bytes in the same binary (run by bench_micro.sh,
// which reports the ratios):
//
//   BM_Memcpy/N          memcpy of N bytes to successive places of a ring-sized (4 MiB) buffer,
//                        the same memory traffic as the ring's (the yardstick)
//   BM_PesPacketiser/N   AvPesBuffer + AvPacketBuffer: one access unit of N bytes with PTS and DTS
//                        cut into PES packets, staged and committed to a ContigMemBuffer ring
//   BM_H264Feeder/N      H264Feeder on a sample of N bytes (an SEI and three slices behind 4-byte
//                        length prefixes), rewritten to start codes, down through the same buffers
//   BM_AacFeeder/N       AacFeeder on a raw AAC frame of N bytes: ADTS header, PES packet, ring
//
// Sizes: 1500 (a small P frame), 12500 (the average frame of 3 Mbit/s at 30 fps), 100000 (a key
// frame; crosses the 65513-byte PES limit) for video; 371 (an AAC frame of 128 kbit/s at 44.1 kHz)
// for audio.
//
// Decision: the ring is drained with clear() whenever it is more than half full, so the figures
// are the library's work alone; the host's read of the ring (one more copy, the host's cost) is not
// counted. Everything runs on the one benchmark thread, so the ring never blocks.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AacFeeder.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvPesBuffer.h"
#include "avfile/AvSample.h"
#include "avfile/H264AvcData.h"
#include "avfile/H264Feeder.h"
#include "mpeg4_parsing/PesHeader.h"
#include "platform/ContigMemBuffer.h"

namespace {

const size_t kRingBytes = 4 * 1024 * 1024;

// avcC of a High profile, level 3.1 stream: 4-byte length prefixes, one SPS, one PPS.
const std::vector<unsigned char> kAvcC = {
    0x01, 0x64, 0x00, 0x1F, 0xFF, 0xE1, 0x00, 0x1A, 0x67, 0x64, 0x00, 0x1F, 0xAC, 0xD9, 0x40,
    0x50, 0x05, 0xBB, 0x01, 0x10, 0x00, 0x00, 0x03, 0x00, 0x10, 0x00, 0x00, 0x03, 0x03, 0xC0,
    0xF1, 0x83, 0x19, 0x60, 0x01, 0x00, 0x06, 0x68, 0xEB, 0xE3, 0xCB, 0x22, 0xC0};

// The ring and the two buffers of one pipeline, as the feeder factory wires them.
struct Pipeline {
    std::shared_ptr<ContigMemBuffer> ring = std::make_shared<ContigMemBuffer>(kRingBytes);
    std::shared_ptr<avfile::AvPacketBuffer> packets = std::make_shared<avfile::AvPacketBuffer>(ring);
    std::shared_ptr<avfile::AvPesBuffer> pes = std::make_shared<avfile::AvPesBuffer>(packets);

    void drainIfHalfFull() {
        if (ring->size() > kRingBytes / 2) {
            ring->clear();
        }
    }
};

std::vector<uint8_t> filler(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 131 + 7);
    }
    return bytes;
}

void appendNal(std::vector<uint8_t>& sample, size_t nalBytes, uint8_t header) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        sample.push_back(static_cast<uint8_t>(nalBytes >> shift));
    }
    sample.push_back(header);
    std::vector<uint8_t> body = filler(nalBytes - 1);
    sample.insert(sample.end(), body.begin(), body.end());
}

// An access unit of `size` bytes in MP4 form: a 20-byte SEI, then three slices sharing the rest.
std::vector<uint8_t> h264Sample(size_t size) {
    const size_t sei = 20;
    const size_t slices = size - (4 + sei);
    std::vector<uint8_t> sample;
    appendNal(sample, sei, 0x06);
    for (int i = 0; i < 3; ++i) {
        const size_t part = slices / 3 + (i == 2 ? slices % 3 : 0);
        appendNal(sample, part - 4, 0x41);
    }
    return sample;
}

void BM_Memcpy(benchmark::State& state) {
    const size_t size = static_cast<size_t>(state.range(0));
    std::vector<uint8_t> source = filler(size);
    std::vector<uint8_t> dest(kRingBytes);
    size_t at = 0;
    for (auto _ : state) {
        if (at + size > dest.size()) {
            at = 0;
        }
        std::memcpy(dest.data() + at, source.data(), size);
        at += size;
        benchmark::DoNotOptimize(dest.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_PesPacketiser(benchmark::State& state) {
    const size_t size = static_cast<size_t>(state.range(0));
    std::vector<uint8_t> unit = filler(size);
    Pipeline pipeline;
    ISO::PesHeader header;
    uint64_t pts = 0;
    for (auto _ : state) {
        pts += 3000;
        header.setPts(pts);
        header.setDts(pts);
        header.setPtsDtsFlags(true, true);
        header.setDataAlignmentIndicator(true);
        pipeline.pes->setPesHeader(header);
        pipeline.pes->writeData(unit.data(), unit.size(), true);
        pipeline.drainIfHalfFull();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

// Feeds `sample` (payload `payload`, codec data `codecData`) through a Feeder over the pipeline once
// per iteration, its time stamps advanced by `ticks` (90 kHz) each time.
template <class Feeder>
void feedLoop(benchmark::State& state, std::vector<uint8_t> payload,
              std::shared_ptr<avfile::IAvCodecData> codecData, uint64_t ticks) {
    const size_t size = payload.size();
    Pipeline pipeline;
    Feeder feeder(pipeline.pes);
    avfile::AvSample sample;
    sample.data = std::move(payload);
    sample.trackInfo.codecData = std::move(codecData);
    for (auto _ : state) {
        sample.pts += ticks;
        sample.dts += ticks;
        feeder.feedSample(sample);
        pipeline.drainIfHalfFull();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_H264Feeder(benchmark::State& state) {
    feedLoop<avfile::H264Feeder>(state, h264Sample(static_cast<size_t>(state.range(0))),
                                 std::make_shared<avfile::H264AvcData>(kAvcC), 3000);
}

void BM_AacFeeder(benchmark::State& state) {
    feedLoop<avfile::AacFeeder>(state, filler(static_cast<size_t>(state.range(0))),
                                std::make_shared<avfile::AacData>(std::vector<unsigned char>{0x12, 0x10}), 2090);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Arg(371)->Arg(1500)->Arg(12500)->Arg(100000);
BENCHMARK(BM_PesPacketiser)->Arg(1500)->Arg(12500)->Arg(100000);
BENCHMARK(BM_H264Feeder)->Arg(1500)->Arg(12500)->Arg(100000);
BENCHMARK(BM_AacFeeder)->Arg(371);

BENCHMARK_MAIN();
