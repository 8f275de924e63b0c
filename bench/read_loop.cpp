// The lower bound of the local-MP4 benchmark: a bare libavformat read loop over a file, opened the
// way the library opens a local MP4 (no forced format, the context flags 0x40020: AVFMT_FLAG_NOPARSE
// and the old keep-side-data bit, stream info read), every packet read and released, nothing else
// done with it.
//
//   read_loop FILE
//
// Prints the packet count and payload bytes on standard output; exit 1 when the file cannot be
// read. bench_local_mp4.sh measures its CPU time and peak memory beside velar-play's.
extern "C" {
#include <libavformat/avformat.h>
}

#include <cinttypes>
#include <cstdio>

#include "avfile/FfmpegFormatContext.h"
#include "avfile/FfmpegPacket.h"

namespace {
// The old AVFMT_FLAG_KEEP_SIDE_DATA bit, which libavformat 59 no longer names (side data is always
// kept); set as the library sets it.
const int kFlagKeepSideData = 0x40000;
}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: read_loop FILE\n");
        return 2;
    }
    av_log_set_level(AV_LOG_ERROR);

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
