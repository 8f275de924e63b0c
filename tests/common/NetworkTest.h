#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "DownloadRecorder.h"
#include "FaultServer.h"
#include "NginxServer.h"
#include "ScratchDir.h"
#include "manifest/network/HttpDownload.h"

namespace velar_test {

// Base of the network tests: the loopback servers (started on first use, stopped when the test
// process ends), time-outs short enough for loopback, and one download run to its end.
// The nginx site: blob.bin (blob(), an odd size so that no buffer boundary lines up) and empty.bin.
class NetworkTest : public ::testing::Test {
public:
    static constexpr size_t kBlobSize = 3 * 1024 * 1024 + 17;

    // What one download showed: its final state and the calls its observer received.
    struct Run {
        dash::network::DownloadState state = dash::network::NOT_STARTED;
        long status = 0;
        std::vector<uint8_t> bytes;
        std::string error;
        std::vector<dash::network::DownloadState> states;
        std::vector<uint64_t> counts;
        std::chrono::milliseconds elapsed{0};
    };

    // 1 s connect, 300 ms stall, two retries after 20 and 40 ms.
    static dash::network::DownloadOptions quickOptions() {
        dash::network::DownloadOptions o;
        o.connectTimeoutMs = 1000;
        o.stallTimeoutMs = 300;
        o.maxRetries = 2;
        o.retryBackoffMs = 20;
        return o;
    }

    // Runs `url` (with `range`) to its final state; a download still running after 30 s fails.
    static Run run(const std::string& url, const std::string& range = std::string(),
                   const dash::network::DownloadOptions& options = quickOptions()) {
        DownloadRecorder recorder;
        dash::network::HttpDownload d(url, range, options);
        d.AttachDownloadObserver(&recorder);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(d.StartDownload());
        EXPECT_TRUE(d.WaitForCompletion(30000)) << url;
        const auto elapsed = std::chrono::steady_clock::now() - start;
        return Run{d.GetState(), d.GetHttpStatus(), d.GetBytes(), d.GetErrorText(), recorder.states(),
                   recorder.counts(), std::chrono::duration_cast<std::chrono::milliseconds>(elapsed)};
    }

    static FaultServer& faults() {
        static FaultServer server;
        return server;
    }
    // Skips the test when nginx is not installed: call it from SetUp().
    static void requireNginx() {
        if (!NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
    }
    static NginxServer& nginx() {
        static ScratchDir root("net-www");
        static NginxServer server((root.write("blob.bin", blob()), root.write("empty.bin", ""), root.path()));
        return server;
    }
    static const std::vector<uint8_t>& blob() {
        static const std::vector<uint8_t> bytes = patternBytes(kBlobSize, 7);
        return bytes;
    }
    // True when every count is larger than the one before (a retry resumes, it never recounts).
    static bool growing(const std::vector<uint64_t>& counts) {
        return std::adjacent_find(counts.begin(), counts.end(), std::greater_equal<uint64_t>()) == counts.end();
    }
    // `count` bytes of `bytes` from `first`.
    static std::vector<uint8_t> slice(const std::vector<uint8_t>& bytes, size_t first, size_t count) {
        return std::vector<uint8_t>(bytes.begin() + long(first), bytes.begin() + long(first + count));
    }
};

}  // namespace velar_test
