// Start-up and seek latency of the library as a host sees them (run by bench_local_mp4.sh and
// bench_dash.sh):
//
//   seek_bench INPUT MIME_TYPE SEEKS
//
// Opens INPUT through the service (linked in), creates a streamer over a 2 MiB ring, positions it
// at 0 and reads the ring on this thread, as a host's decoder feed would. Measured with the steady
// clock, in milliseconds:
//   first_byte_ms  from just before openPath to the first byte after the first pack header;
//   seek_ms        for each of SEEKS seeks, from the call of setPosition to the first byte after
//                  the pack header that the streamer writes once it has positioned the file.
// Seek targets are spread over the presentation in a fixed order that jumps forwards and
// backwards (slot k of SEEKS equal slots, k = 7 i mod SEEKS, at the slot's middle). Between two
// seeks 512 KiB are read, then the streamer is left to fill the ring.
//
// Decision: every seek is made with a full ring (less free space than one PES packet, nothing
// written for 50 ms; at most kWaitMs of waiting, or the end of the stream), the state of a ring
// during playback, where the decoder reads at the stream's pace and the streamer waits for space. With room left in the
// ring a seek can meet the streamer between two samples instead, which is quicker, so the figure
// would depend on the moment.
//
// Decision: the bytes before the pack header are skipped, not counted; a packet the streamer had
// staged before the seek may still reach the emptied ring ahead of the pack header, and that is
// not the new position's data.
//
// Prints one JSON line: {"first_byte_ms":12.3,"seek_ms":[4.5,...]}. Exit status 1 with a line on
// standard error when the input cannot be played or a byte does not come within kWaitMs.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchHost.h"

namespace {

using Clock = std::chrono::steady_clock;

const size_t kRingBytes = 2 * 1024 * 1024;
const size_t kFlowBytes = 512 * 1024;
const size_t kFullBelowBytes = 65536 + 14;  // free space below one PES packet and a pack header
const uint32_t kStillMs = 50;
const uint32_t kWaitMs = 30000;
const uint8_t kPackHeader[] = {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04,
                               0x00, 0x04, 0x01, 0xFF, 0xFF, 0xFF, 0x00};

[[noreturn]] void fail(const std::string& message) { velar_bench::fail("seek_bench", message); }

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Reads the ring until a pack header has been followed by at least one byte.
void readPastPackHeader(ContigMemBuffer& ring, const char* what) {
    std::vector<uint8_t> seen;
    std::vector<uint8_t> chunk(65536);
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kWaitMs);
    while (true) {
        if (Clock::now() > deadline) {
            fail(std::string("no data after the pack header: ") + what);
        }
        const size_t got = ring.read(chunk.data(), chunk.size(), 20);
        seen.insert(seen.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
        auto at = std::search(seen.begin(), seen.end(), std::begin(kPackHeader), std::end(kPackHeader));
        if (at != seen.end() && seen.end() - at > static_cast<std::ptrdiff_t>(sizeof kPackHeader)) {
            return;
        }
    }
}

// Reads `bytes` bytes, or less when the stream ends first.
void readBytes(ContigMemBuffer& ring, const avfile::IAvStreamer& streamer, size_t bytes) {
    std::vector<uint8_t> chunk(65536);
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kWaitMs);
    size_t total = 0;
    while (total < bytes && Clock::now() < deadline &&
           !(streamer.getState() == avfile::AvStreamerState::EndOfFile && ring.size() == 0)) {
        total += ring.read(chunk.data(), chunk.size(), 20);
    }
}

// Waits until the streamer has filled the ring and waits for space: less free space than one PES
// packet and nothing written for kStillMs (or the stream has ended, or kWaitMs passed).
void waitForFullRing(const ContigMemBuffer& ring, const avfile::IAvStreamer& streamer) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kWaitMs);
    uint64_t written = ring.totalWritten();
    Clock::time_point still = Clock::now();
    while (Clock::now() < deadline && streamer.getState() != avfile::AvStreamerState::EndOfFile) {
        usleep(1000);
        if (ring.totalWritten() != written) {
            written = ring.totalWritten();
            still = Clock::now();
        } else if (ring.freeSpace() < kFullBelowBytes &&
                   Clock::now() - still >= std::chrono::milliseconds(kStillMs)) {
            return;
        }
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: seek_bench INPUT MIME_TYPE SEEKS\n");
        return 2;
    }
    const std::string input = argv[1];
    const std::string mime = argv[2];
    const int seeks = std::atoi(argv[3]);
    if (seeks < 1 || seeks > 1000) {
        fail("SEEKS must be a number from 1 to 1000");
    }

    const Clock::time_point start = Clock::now();
    velar_bench::BenchHost host("seek_bench", input, mime, kRingBytes);
    const std::shared_ptr<avfile::IAvFile>& file = host.file;
    const std::shared_ptr<ContigMemBuffer>& ring = host.ring;
    const std::shared_ptr<avfile::IAvStreamer>& streamer = host.streamer;
    if (!streamer->setPosition(0, avfile::AvSampleFilter::AllSamples)) {
        fail("cannot start a streamer for " + input);
    }
    readPastPackHeader(*ring, "start");
    const double firstByteMs = msSince(start);
    readBytes(*ring, *streamer, kFlowBytes);

    // Targets stay 2 s clear of the end, where a seek would only meet the end of the stream.
    const uint64_t durationMs = file->getDuration();
    const uint64_t spanMs = durationMs > 2000 ? durationMs - 2000 : 0;
    std::string seekList;
    for (int i = 0; i < seeks; ++i) {
        const uint64_t slot = static_cast<uint64_t>((i * 7) % seeks);
        const uint64_t target = spanMs * (2 * slot + 1) / (2 * static_cast<uint64_t>(seeks));
        waitForFullRing(*ring, *streamer);
        const Clock::time_point seekStart = Clock::now();
        if (!streamer->setPosition(target, avfile::AvSampleFilter::AllSamples)) {
            fail("setPosition(" + std::to_string(target) + ") failed");
        }
        readPastPackHeader(*ring, "seek");
        char text[32];
        std::snprintf(text, sizeof text, "%s%.3f", i ? "," : "", msSince(seekStart));
        seekList += text;
        readBytes(*ring, *streamer, kFlowBytes);
    }
    std::printf("{\"first_byte_ms\":%.3f,\"seek_ms\":[%s]}\n", firstByteMs, seekList.c_str());
    std::fflush(stdout);
    // As velar-play: no teardown (joining the threads measures nothing).
    _exit(0);
}
