// The idle cost of a DASH presentation (run by bench_dash.sh): how much CPU the library's threads
// (downloader loop, segment downloads, streamer thread) use while nothing moves.
//
//   dash_idle MPD_URL [MEASURE_SECONDS]
//
// Opens the MPD through the service (linked in, as the tests do), creates a streamer over a 64 KiB
// ring, positions it and never reads the ring, so the streamer blocks on the full ring and the
// downloader fills its queues. Then three phases, each measured with getrusage(RUSAGE_SELF) (every
// thread of the process, user + system) over MEASURE_SECONDS (default 5) of wall time:
//   full      the queues have stopped growing (unchanged for kSettleMs) and nobody reads;
//   finished  the ring read until the position is within kTailMs of the end, so that every segment
//             has been downloaded and the rest waits queued, then nobody reads again;
//   ended     the ring read to EndOfFile: the session is over, the streamer polls.
// Prints one JSON line, CPU milliseconds per wall-clock second per phase and the buffered segment
// counts per adaptation set:
//   {"full":1.2,"finished":0.8,"ended":0.3,"buffered_full":[10,10],"buffered_finished":[5,5]}
// Exit status 1 (and a line on standard error) when the presentation cannot be opened or a phase
// is not reached within kPhaseTimeoutMs.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "avfile/IAvDashInfo.h"
#include "bench/BenchHost.h"

namespace {

using Clock = std::chrono::steady_clock;

const size_t kRingBytes = 65536;
const uint32_t kSettleMs = 2000;        // buffered counts unchanged this long: queues are full
const uint32_t kPollMs = 100;           // how often the counts are read while settling
const uint64_t kTailMs = 5000;          // "finished": read until this close to the end
const uint32_t kPhaseTimeoutMs = 90000; // longest wait for any phase

[[noreturn]] void fail(const std::string& message) { velar_bench::fail("dash_idle", message); }

double cpuSeconds() {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// CPU milliseconds per wall-clock second used by the process while the caller only waits.
double idleCpuMsPerSecond(double seconds) {
    double cpuBefore = cpuSeconds();
    Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    double wall = std::chrono::duration<double>(Clock::now() - start).count();
    return (cpuSeconds() - cpuBefore) * 1000.0 / wall;
}

std::vector<uint32_t> bufferedCounts(const avfile::IAvDashInfo& info) {
    std::vector<uint32_t> counts;
    for (const dash::DashRepCapability& entry : info.getDashCapability().entries) {
        counts.push_back(entry.bufferedSegments);
    }
    return counts;
}

// Waits until the buffered counts have been unchanged for kSettleMs (and the session is still
// running); returns them.
std::vector<uint32_t> waitUntilSettled(const avfile::IAvDashInfo& info, const char* phase) {
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kPhaseTimeoutMs);
    std::vector<uint32_t> last = bufferedCounts(info);
    Clock::time_point since = Clock::now();
    while (Clock::now() - since < std::chrono::milliseconds(kSettleMs)) {
        if (Clock::now() > deadline) {
            fail(std::string("the queues did not settle for phase ") + phase);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
        std::vector<uint32_t> now = bufferedCounts(info);
        if (now != last) {
            last = now;
            since = Clock::now();
        }
    }
    return last;
}

// Reads the ring until `done` answers true; fails after kPhaseTimeoutMs.
template <typename Done>
void readUntil(ContigMemBuffer& ring, Done done, const char* phase) {
    std::vector<uint8_t> chunk(kRingBytes);
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kPhaseTimeoutMs);
    while (!done()) {
        if (Clock::now() > deadline) {
            fail(std::string("phase ") + phase + " not reached");
        }
        ring.read(chunk.data(), chunk.size(), 50);
    }
}

std::string jsonList(const std::vector<uint32_t>& values) {
    std::string text = "[";
    for (size_t i = 0; i < values.size(); ++i) {
        text += (i ? "," : "") + std::to_string(values[i]);
    }
    return text + "]";
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: dash_idle MPD_URL [MEASURE_SECONDS]\n");
        return 2;
    }
    const std::string url = argv[1];
    const double seconds = argc > 2 ? std::atof(argv[2]) : 5.0;
    if (!(seconds > 0.0)) {
        fail("MEASURE_SECONDS must be a positive number");
    }

    velar_bench::BenchHost host("dash_idle", url, "application/dash+xml", kRingBytes);
    const std::shared_ptr<avfile::IAvFile>& file = host.file;
    const std::shared_ptr<ContigMemBuffer>& ring = host.ring;
    const std::shared_ptr<avfile::IAvStreamer>& streamer = host.streamer;
    const avfile::IAvDashInfo* info = dynamic_cast<const avfile::IAvDashInfo*>(file.get());
    if (info == nullptr) {
        fail("cannot open " + url + " as a DASH presentation");
    }
    const uint64_t durationMs = file->getDuration();
    if (!streamer->setPosition(0, avfile::AvSampleFilter::AllSamples)) {
        fail("cannot start a streamer for " + url);
    }

    std::vector<uint32_t> full = waitUntilSettled(*info, "full");
    double fullCpu = idleCpuMsPerSecond(seconds);

    uint64_t tailStart = durationMs > kTailMs ? durationMs - kTailMs : 0;
    readUntil(*ring, [&] { return streamer->getPosition() >= tailStart; }, "finished");
    std::vector<uint32_t> finished = waitUntilSettled(*info, "finished");
    double finishedCpu = idleCpuMsPerSecond(seconds);

    readUntil(*ring, [&] {
        return streamer->getState() == avfile::AvStreamerState::EndOfFile && ring->size() == 0;
    }, "ended");
    double endedCpu = idleCpuMsPerSecond(seconds);

    std::printf("{\"full\":%.3f,\"finished\":%.3f,\"ended\":%.3f,\"buffered_full\":%s,"
                "\"buffered_finished\":%s}\n",
                fullCpu, finishedCpu, endedCpu, jsonList(full).c_str(), jsonList(finished).c_str());
    std::fflush(stdout);
    // As velar-play: no teardown (the streamer thread polls once a second at the end of a stream,
    // and joining it measures nothing).
    _exit(0);
}
