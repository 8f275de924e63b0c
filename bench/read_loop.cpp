// The lower bound of the local-MP4 benchmark: a bare libavformat read loop over a file, opened the
// way the library opens a local MP4 (no forced format, the context flags 0x40020: AVFMT_FLAG_NOPARSE
// and the old keep-side-data bit, stream info read), every packet read and released, nothing else
// done with it.
//
//   read_loop FILE            every packet; prints the packet count and payload bytes
//   read_loop FILE SEEKS      the seek peer of seek_bench: prints one JSON line,
//                             {"first_packet_ms":1.2,"seek_ms":[0.3,...]}: milliseconds (steady
//                             clock) from just before opening to the first packet read, and for
//                             each seek from av_seek_frame (backwards to the key frame at or before
//                             the target) to the first packet read after it; the targets are
//                             seek_bench's, then 512 KiB of packets are read before the next seek.
//
// Exit 1 when the file cannot be read. bench_local_mp4.sh measures its CPU time and peak memory
// beside velar-play's.
extern "C" {
#include <libavformat/avformat.h>
}

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "avfile/FfmpegFormatContext.h"
#include "avfile/FfmpegPacket.h"

namespace {
// The old AVFMT_FLAG_KEEP_SIDE_DATA bit, which libavformat 59 no longer names (side data is always
// kept); set as the library sets it.
const int kFlagKeepSideData = 0x40000;
const uint64_t kFlowBytes = 512 * 1024;

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Seeks as seek_bench does (same targets, same bytes read between seeks); prints the JSON line.
int seekLoop(AVFormatContext* context, avfile::FfmpegPacket& packet, int seeks, double firstPacketMs) {
    const uint64_t durationMs = context->duration > 0 ? static_cast<uint64_t>(context->duration / 1000) : 0;
    const uint64_t spanMs = durationMs > 2000 ? durationMs - 2000 : 0;
    std::string list;
    for (int i = 0; i < seeks; ++i) {
        const uint64_t slot = static_cast<uint64_t>((i * 7) % seeks);
        const uint64_t targetMs = spanMs * (2 * slot + 1) / (2 * static_cast<uint64_t>(seeks));
        const Clock::time_point start = Clock::now();
        if (av_seek_frame(context, -1, static_cast<int64_t>(targetMs) * 1000, AVSEEK_FLAG_BACKWARD) < 0 ||
            av_read_frame(context, packet.get()) < 0) {
            std::fprintf(stderr, "read_loop: seek to %" PRIu64 " ms failed\n", targetMs);
            return 1;
        }
        char text[32];
        std::snprintf(text, sizeof text, "%s%.3f", i ? "," : "", msSince(start));
        list += text;
        uint64_t bytes = static_cast<uint64_t>(packet->size);
        packet.unref();
        while (bytes < kFlowBytes && av_read_frame(context, packet.get()) >= 0) {
            bytes += static_cast<uint64_t>(packet->size);
            packet.unref();
        }
    }
    std::printf("{\"first_packet_ms\":%.3f,\"seek_ms\":[%s]}\n", firstPacketMs, list.c_str());
    return 0;
}
}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: read_loop FILE [SEEKS]\n");
        return 2;
    }
    const int seeks = argc == 3 ? std::atoi(argv[2]) : 0;
    if (argc == 3 && (seeks < 1 || seeks > 1000)) {
        std::fprintf(stderr, "read_loop: SEEKS must be a number from 1 to 1000\n");
        return 2;
    }
    av_log_set_level(AV_LOG_ERROR);
    const Clock::time_point start = Clock::now();

    avfile::FfmpegFormatContext context;
    if (context.openInput(argv[1]) != 0) {
        std::fprintf(stderr, "read_loop: cannot open %s\n", argv[1]);
        return 1;
    }
    context->flags |= AVFMT_FLAG_NOPARSE | kFlagKeepSideData;
    if (avformat_find_stream_info(context.get(), nullptr) < 0) {
        std::fprintf(stderr, "read_loop: no stream info in %s\n", argv[1]);
        return 1;
    }

    avfile::FfmpegPacket packet;
    if (seeks > 0) {
        if (av_read_frame(context.get(), packet.get()) < 0) {
            std::fprintf(stderr, "read_loop: no packet in %s\n", argv[1]);
            return 1;
        }
        const double firstPacketMs = msSince(start);
        packet.unref();
        return seekLoop(context.get(), packet, seeks, firstPacketMs);
    }
    uint64_t packets = 0;
    uint64_t bytes = 0;
    while (av_read_frame(context.get(), packet.get()) >= 0) {
        ++packets;
        bytes += static_cast<uint64_t>(packet->size);
        packet.unref();
    }
    std::printf("%" PRIu64 " packets, %" PRIu64 " bytes\n", packets, bytes);
    return 0;
}
