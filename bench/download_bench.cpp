// Download benchmark driver (run by bench_download.sh): times HttpDownload in this process.
//
//   download_bench whole URL RUNS         one line per run: "<seconds> <bytes>" for the whole URL
//                                         with HttpDownload (bytes kept in its memory)
//   download_bench discard URL RUNS       the same through HttpTransfer with a sink that only
//                                         counts the bytes: the transport alone, the same work
//                                         as curl -o /dev/null
//   download_bench segments PREFIX COUNT  COUNT sequential downloads of PREFIX000.m4s ...;
//                                         prints "<seconds> <bytes>" for all of them
//
// Times are wall-clock seconds from StartDownload to the end of WaitForCompletion (steady clock):
// the transfer into the download's memory, not the copy GetBytes() makes afterwards.
// Exit status 1 when a download does not complete.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "manifest/network/HttpDownload.h"
#include "manifest/network/HttpTransfer.h"

namespace {

using Clock = std::chrono::steady_clock;

// Downloads `url` once; false when it did not complete. Adds the bytes received to `bytes` and
// the transfer time to `seconds`.
bool downloadOnce(const std::string& url, uint64_t& bytes, double& seconds) {
    dash::network::HttpDownload download(url, "");
    const auto start = Clock::now();
    if (!download.StartDownload() || !download.WaitForCompletion(120000) ||
        download.GetState() != dash::network::COMPLETED) {
        std::fprintf(stderr, "download of %s failed: %s\n", url.c_str(), download.GetErrorText().c_str());
        return false;
    }
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    bytes += download.GetBytes().size();
    return true;
}

bool discardOnce(const std::string& url, uint64_t& bytes, double& seconds) {
    dash::network::HttpTransfer transfer(url, "", dash::network::DownloadOptions::defaults());
    dash::network::HttpTransfer::Sink sink;
    sink.data = [&bytes](const uint8_t*, size_t size) { bytes += size; };
    const auto start = Clock::now();
    const auto result = transfer.run(sink);
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    if (result.outcome != dash::network::HttpTransfer::Outcome::Completed) {
        std::fprintf(stderr, "transfer of %s failed: %s\n", url.c_str(), result.error.c_str());
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const bool known = argc == 4 && (std::strcmp(argv[1], "whole") == 0 ||
                                     std::strcmp(argv[1], "discard") == 0 ||
                                     std::strcmp(argv[1], "segments") == 0);
    if (!known) {
        std::fprintf(stderr, "usage: %s whole|discard URL RUNS | segments PREFIX COUNT\n", argv[0]);
        return 2;
    }
    const std::string target = argv[2];
    const int count = std::atoi(argv[3]);
    if (std::strcmp(argv[1], "segments") != 0) {
        const bool discard = std::strcmp(argv[1], "discard") == 0;
        for (int i = 0; i < count; ++i) {
            uint64_t bytes = 0;
            double seconds = 0;
            const bool ok = discard ? discardOnce(target, bytes, seconds) : downloadOnce(target, bytes, seconds);
            if (!ok) {
                return 1;
            }
            std::printf("%.6f %llu\n", seconds, static_cast<unsigned long long>(bytes));
        }
        return 0;
    }
    uint64_t bytes = 0;
    double seconds = 0;
    for (int i = 0; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "%03d.m4s", i);
        if (!downloadOnce(target + name, bytes, seconds)) {
            return 1;
        }
    }
    std::printf("%.6f %llu\n", seconds, static_cast<unsigned long long>(bytes));
    return 0;
}
