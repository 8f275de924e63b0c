// HttpDownload against a real nginx on a loopback port (exact bytes, observer calls, many at once,
// connection reuse) and against the fault server (abort and destruction during a transfer).
#include "manifest/network/HttpDownload.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>

#include "LogCapture.h"
#include "NetworkTest.h"
#include "WaitFor.h"

namespace {

using namespace dash::network;
using velar_test::DownloadRecorder;
using velar_test::NetworkTest;

class HttpDownloadNginx : public NetworkTest {
protected:
    void SetUp() override { requireNginx(); }
};

TEST_F(HttpDownloadNginx, WholeRangedRedirectedAndFailedDownloads) {
    constexpr size_t kSize = kBlobSize;
    const struct {
        const char* path;
        const char* range;
        DownloadState state;
        long status;
        size_t first;  // the bytes of blob() expected
        size_t count;
    } cases[] = {
        {"blob.bin", "", COMPLETED, 200, 0, kSize},
        {"blob.bin", "0-0", COMPLETED, 206, 0, 1},
        {"blob.bin", "1000-", COMPLETED, 206, 1000, kSize - 1000},
        {"blob.bin", "3145744-3145744", COMPLETED, 206, kSize - 1, 1},            // last byte
        {"blob.bin", "3000000-3999999", COMPLETED, 206, 3000000, kSize - 3000000},  // cut at the end
        {"blob.bin", "65535-196608", COMPLETED, 206, 65535, 131074},              // across buffers
        {"empty.bin", "", COMPLETED, 200, 0, 0},
        {"redirect/1/blob.bin", "500-599", COMPLETED, 206, 500, 100},
        {"redirect/3/blob.bin", "", ERROR, 302, 0, 0},  // four hops, two allowed
        {"blob.bin", "3145745-", ERROR, 416, 0, 0},     // starts past the end
        {"missing.bin", "", ERROR, 404, 0, 0},          // the error page is no body
    };
    DownloadOptions options = quickOptions();
    options.maxRedirects = 2;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path) + " " + c.range);
        const Run r = run(nginx().url(c.path), c.range, options);
        EXPECT_EQ(c.state, r.state) << r.error;
        EXPECT_EQ(c.status, r.status);
        EXPECT_EQ(slice(blob(), c.first, c.count), r.bytes);
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, c.state}), r.states);
        EXPECT_TRUE(growing(r.counts));
        EXPECT_EQ(c.count, r.counts.empty() ? 0 : r.counts.back());
    }
}

// Each observer hears growing counts between IN_PROGRESS and one COMPLETED, and can read the bytes
// back from its final callback, as the adaptation set does.
TEST_F(HttpDownloadNginx, TwentyDownloadsAtOnceReportInOrder) {
    struct ReadingRecorder : DownloadRecorder {
        HttpDownload* download = nullptr;
        std::atomic<size_t> sizeAtCompletion{0};
        void OnDownloadStateChanged(DownloadState s) override {
            if (s == COMPLETED) sizeAtCompletion = download->GetBytes().size();
            DownloadRecorder::OnDownloadStateChanged(s);
        }
    } recorders[20];
    std::vector<std::unique_ptr<HttpDownload>> downloads;
    for (size_t i = 0; i < 20; ++i) {
        const std::string range = i % 4 == 0 ? "" : std::to_string(i * 100000) + "-" + std::to_string(i * 110000);
        downloads.push_back(std::make_unique<HttpDownload>(nginx().url("blob.bin"), range, quickOptions()));
        recorders[i].download = downloads.back().get();
        downloads.back()->AttachDownloadObserver(&recorders[i]);
        downloads.back()->AttachDownloadObserver(&recorders[i]);  // attached once only
        ASSERT_TRUE(downloads.back()->StartDownload());
    }
    for (size_t i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(downloads[i]->WaitForCompletion(30000));
        ASSERT_EQ(COMPLETED, downloads[i]->GetState()) << downloads[i]->GetErrorText();
        const std::vector<uint8_t> expected = i % 4 == 0 ? blob() : slice(blob(), i * 100000, i * 10000 + 1);
        EXPECT_EQ(expected, downloads[i]->GetBytes());
        const auto events = recorders[i].events();
        ASSERT_GE(events.size(), 3u);
        EXPECT_TRUE(events.front().isState && events.back().isState);  // counts come in between
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), recorders[i].states());
        EXPECT_TRUE(growing(recorders[i].counts()));
        EXPECT_EQ(expected.size(), recorders[i].lastCount());  // the final count comes before COMPLETED
        EXPECT_EQ(expected.size(), recorders[i].sizeAtCompletion.load());
    }
}

TEST_F(HttpDownloadNginx, SequentialDownloadsReuseOneConnection) {
    ASSERT_EQ(COMPLETED, run(nginx().url("empty.bin")).state);  // opens or warms the connection
    ASSERT_TRUE(nginx().waitForRequests(1));
    const size_t before = nginx().requests().size();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(COMPLETED, run(nginx().url("blob.bin"), i % 2 ? "0-999" : "5-5").state);
    }
    ASSERT_TRUE(nginx().waitForRequests(before + 20));
    const auto requests = nginx().requests();
    std::set<uint64_t> connections;
    for (size_t i = before - 1; i < requests.size(); ++i) connections.insert(requests[i].connection);
    EXPECT_EQ(1u, connections.size()) << "each download should reuse the kept connection";
    EXPECT_EQ("bytes=0-999", requests.back().range);  // the range reached the server as written
}

// --- abort and destruction, on the fault server, so that the transfer is surely running ---

using HttpDownloadAbort = NetworkTest;

// 2 MB at 200 kB/s: ten seconds unless stopped.
const char* const kSlow = "slow.bin?size=2000000&rate=200000";

TEST_F(HttpDownloadAbort, AbortEndsAbortedPromptlyWhateverTheTransferWaitsFor) {
    const char* cases[] = {
        "never.bin?size=10",                 // not started yet: no request at all
        kSlow,                               // body arriving
        "stalled.bin?size=100000&stall=10",  // server silent, far from the stall time-out
        "busy.bin?status=503",               // back-off before a retry
    };
    DownloadOptions options = quickOptions();
    options.stallTimeoutMs = 10000;
    options.retryBackoffMs = 10000;
    for (const char* query : cases) {
        SCOPED_TRACE(query);
        velar_test::LogCapture log;
        DownloadRecorder rec;
        HttpDownload d(faults().url(query), "", options);
        d.AttachDownloadObserver(&rec);
        const bool early = query == cases[0];
        if (early) d.AbortDownload();
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(early || velar_test::waitFor([&] { return rec.lastCount() > 0 || log.containsFragment("Retrying"); }));
        const auto start = std::chrono::steady_clock::now();
        d.AbortDownload();
        ASSERT_TRUE(d.WaitForCompletion(2000));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
        d.AbortDownload();  // after the end: no effect
        EXPECT_EQ(ABORTED, d.GetState());
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    }
    EXPECT_EQ(0u, faults().requestRanges("/never.bin").size());
}

TEST_F(HttpDownloadAbort, DestroyingMidTransferAbortsAndJoins) {
    DownloadRecorder kept, detached;
    {
        HttpDownload never(faults().url(kSlow), "", quickOptions());
        never.AttachDownloadObserver(&kept);
    }
    EXPECT_TRUE(kept.events().empty()) << "a download never started says nothing";
    auto d = std::make_unique<HttpDownload>(faults().url(kSlow), "", quickOptions());
    d->AttachDownloadObserver(&kept);
    d->AttachDownloadObserver(&detached);
    ASSERT_TRUE(d->StartDownload());
    ASSERT_TRUE(velar_test::waitFor([&] { return detached.lastCount() > 0; }));
    d->DetachDownloadObserver(&detached);
    const size_t seen = detached.events().size();
    const auto start = std::chrono::steady_clock::now();
    d.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
    // Joined: everything the thread said arrived before the destructor returned.
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), kept.states());
    EXPECT_EQ(seen, detached.events().size());
}

}  // namespace
