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

// Base of the network tests. It owns the loopback servers they talk to (started on first use,
// stopped when the test process ends), gives time-outs short enough for loopback, and runs one
// download to its end keeping everything it showed.
//
// The nginx site: media/blob.bin (blob(), an odd size so that no buffer boundary lines up),
// media/small.txt ("velar"), media/empty.bin and seg/s0.m4s ... seg/s19.m4s (segment(i)).
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
        Run r;
        r.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
        r.state = d.GetState();
        r.status = d.GetHttpStatus();
        r.bytes = d.GetBytes();
        r.error = d.GetErrorText();
        r.states = recorder.states();
        r.counts = recorder.counts();
        return r;
    }

    static FaultServer& faults() {
        static FaultServer server;
        return server;
    }

    // Skips the test when nginx is not installed: call it from SetUp().
    static void requireNginx() {
        if (!NginxServer::available()) {
            GTEST_SKIP() << "nginx is not installed";
        }
    }
    // The nginx site above.
    static NginxServer& nginx() {
        static Site site;
        return site.server;
    }
    static const std::vector<uint8_t>& blob() {
        static const std::vector<uint8_t> bytes = patternBytes(kBlobSize, 7);
        return bytes;
    }
    static std::vector<uint8_t> segment(int i) { return patternBytes(20000 + i, 100 + i); }

    // True when every count is larger than the one before (a retry resumes, it never recounts).
    static bool growing(const std::vector<uint64_t>& counts) {
        return std::adjacent_find(counts.begin(), counts.end(), std::greater_equal<uint64_t>()) ==
               counts.end();
    }
    // `count` bytes of `bytes` from `first`.
    static std::vector<uint8_t> slice(const std::vector<uint8_t>& bytes, size_t first, size_t count) {
        return std::vector<uint8_t>(bytes.begin() + static_cast<long>(first),
                                    bytes.begin() + static_cast<long>(first + count));
    }

private:
    struct Site {
        ScratchDir root{"net-www"};
        NginxServer server{fill(root)};
        static std::string fill(const ScratchDir& dir) {
            dir.write("media/blob.bin", blob());
            dir.write("media/small.txt", std::string("velar"));
            dir.write("media/empty.bin", std::vector<uint8_t>());
            for (int i = 0; i < 20; ++i) {
                dir.write("seg/s" + std::to_string(i) + ".m4s", segment(i));
            }
            return dir.path();
        }
    };
};

}  // namespace velar_test
