// HttpDownload against a real nginx on a loopback port (exact bytes, observer calls, many at once,
// connection reuse) and against the fault server (abort and destruction during a transfer).
#include "manifest/network/HttpDownload.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

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
        uint32_t maxRedirects;
        DownloadState state;
        long status;
        size_t first;  // the bytes of blob() expected
        size_t count;
    } cases[] = {
        {"media/blob.bin", "", 5, COMPLETED, 200, 0, kSize},
        {"media/blob.bin", "0-0", 5, COMPLETED, 206, 0, 1},
        {"media/blob.bin", "100-199", 5, COMPLETED, 206, 100, 100},
        {"media/blob.bin", "1000-", 5, COMPLETED, 206, 1000, kSize - 1000},
        {"media/blob.bin", "3145744-3145744", 5, COMPLETED, 206, kSize - 1, 1},      // last byte
        {"media/blob.bin", "3000000-3999999", 5, COMPLETED, 206, 3000000, kSize - 3000000},
        {"media/blob.bin", "65535-196608", 5, COMPLETED, 206, 65535, 131074},  // across buffers
        {"media/empty.bin", "", 5, COMPLETED, 200, 0, 0},
        {"redirect/2/media/blob.bin", "", 5, COMPLETED, 200, 0, kSize},  // three hops
        {"redirect/1/media/blob.bin", "500-599", 5, COMPLETED, 206, 500, 100},
        {"redirect/2/media/blob.bin", "", 2, ERROR, 302, 0, 0},  // one hop too many
        {"media/blob.bin", "3145745-", 5, ERROR, 416, 0, 0},       // starts past the end
        {"media/missing.bin", "", 5, ERROR, 404, 0, 0},            // the error page is no body
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path) + " " + c.range);
        DownloadOptions options = quickOptions();
        options.maxRedirects = c.maxRedirects;
        const Run r = run(nginx().url(c.path), c.range, options);
        EXPECT_EQ(c.state, r.state) << r.error;
        EXPECT_EQ(c.status, r.status);
        EXPECT_EQ(c.state == COMPLETED, r.error.empty()) << r.error;
        EXPECT_EQ(slice(blob(), c.first, c.count), r.bytes);
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, c.state}), r.states);
        EXPECT_TRUE(growing(r.counts));
        EXPECT_EQ(c.count, r.counts.empty() ? 0 : r.counts.back());
    }
}

// Also reads the download back from its final callback, as the adaptation set does.
struct ReadingRecorder : DownloadRecorder {
    HttpDownload* download = nullptr;
    std::atomic<size_t> sizeAtCompletion{0};
    void OnDownloadStateChanged(DownloadState s) override {
        if (s == COMPLETED) {
            sizeAtCompletion = download->GetBytes().size();
        }
        DownloadRecorder::OnDownloadStateChanged(s);
    }
};

TEST_F(HttpDownloadNginx, ObserversHearProgressInOrderThenOneCompleted) {
    ReadingRecorder first;
    ReadingRecorder second;
    HttpDownload d(nginx().url("media/blob.bin"), "", quickOptions());
    first.download = second.download = &d;
    d.AttachDownloadObserver(&first);
    d.AttachDownloadObserver(&second);
    d.AttachDownloadObserver(&second);  // attached once only
    d.AttachDownloadObserver(nullptr);
    EXPECT_EQ(NOT_STARTED, d.GetState());
    ASSERT_TRUE(d.StartDownload());
    EXPECT_FALSE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(20000));
    for (const ReadingRecorder* rec : {&first, &second}) {
        const auto events = rec->events();
        ASSERT_GE(events.size(), 3u);
        EXPECT_TRUE(events.front().isState && events.back().isState);  // counts come in between
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), rec->states());
        EXPECT_TRUE(growing(rec->counts()));
        EXPECT_EQ(kBlobSize, rec->lastCount());  // the final count comes before COMPLETED
        EXPECT_EQ(kBlobSize, rec->sizeAtCompletion.load());
    }
}

TEST_F(HttpDownloadNginx, TwentyDownloadsAtOnce) {
    std::vector<std::unique_ptr<HttpDownload>> downloads;
    std::vector<DownloadRecorder> recorders(20);
    for (int i = 0; i < 20; ++i) {
        downloads.push_back(std::make_unique<HttpDownload>(
            nginx().url(i % 4 == 0 ? "media/blob.bin" : "seg/s" + std::to_string(i) + ".m4s"),
            i % 2 == 1 ? "10-5009" : "", quickOptions()));
        downloads.back()->AttachDownloadObserver(&recorders[i]);
    }
    for (auto& d : downloads) {
        ASSERT_TRUE(d->StartDownload());
    }
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(downloads[i]->WaitForCompletion(30000));
        ASSERT_EQ(COMPLETED, downloads[i]->GetState()) << downloads[i]->GetErrorText();
        const std::vector<uint8_t> whole = i % 4 == 0 ? blob() : segment(i);
        EXPECT_EQ(i % 2 == 1 ? slice(whole, 10, 5000) : whole, downloads[i]->GetBytes());
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), recorders[i].states());
    }
}

TEST_F(HttpDownloadNginx, SequentialDownloadsReuseOneConnection) {
    ASSERT_EQ(COMPLETED, run(nginx().url("seg/s0.m4s")).state);  // opens or warms the connection
    ASSERT_TRUE(nginx().waitForRequests(1));
    nginx().clearLog();
    const int n = 20;
    for (int i = 0; i < n; ++i) {
        const Run r = run(nginx().url("seg/s" + std::to_string(i) + ".m4s"), i % 3 ? "0-999" : "");
        ASSERT_EQ(COMPLETED, r.state) << r.error;
    }
    ASSERT_TRUE(nginx().waitForRequests(n));
    EXPECT_EQ(1u, nginx().connectionCount()) << "each download should reuse the kept connection";
    const auto requests = nginx().requests();
    EXPECT_GE(requests.back().connectionRequests, static_cast<uint64_t>(n));
    EXPECT_EQ("bytes=0-999", requests[1].range);  // the range reached the server as written
}

// --- abort and destruction, on the fault server, so that the transfer is surely running ---

using HttpDownloadAbort = NetworkTest;

// 2 MB at 200 kB/s: ten seconds unless stopped.
std::string slowUrl() { return NetworkTest::faults().url("slow.bin?size=2000000&rate=200000"); }

TEST_F(HttpDownloadAbort, AbortEndsAbortedPromptlyWhateverTheTransferWaitsFor) {
    const char* cases[] = {
        "slow.bin?size=2000000&rate=200000",  // body arriving
        "stalled.bin?size=100000&stall=10",   // server silent, far from the stall time-out
        "busy.bin?status=503",                // back-off before a retry
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
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(velar_test::waitFor(
            [&] { return rec.lastCount() > 0 || log.containsFragment("Retrying"); }));
        const auto start = std::chrono::steady_clock::now();
        d.AbortDownload();
        const DownloadState right = d.GetState();
        EXPECT_TRUE(right == REQUEST_ABORT || right == ABORTED) << right;
        ASSERT_TRUE(d.WaitForCompletion(2000));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
        d.AbortDownload();  // after the end: no effect
        EXPECT_EQ(ABORTED, d.GetState());
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    }
}

TEST_F(HttpDownloadAbort, AbortBeforeStartReportsAbortedFromTheThread) {
    DownloadRecorder rec;
    HttpDownload d(faults().url("never.bin?size=10"), "", quickOptions());
    d.AttachDownloadObserver(&rec);
    d.AbortDownload();
    EXPECT_EQ(REQUEST_ABORT, d.GetState());
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    EXPECT_EQ(0u, faults().requestCount("/never.bin")) << "no request was made";
}

TEST_F(HttpDownloadAbort, DestroyingMidTransferAbortsAndJoins) {
    DownloadRecorder kept;
    DownloadRecorder detached;
    {
        HttpDownload never(slowUrl(), "", quickOptions());
        never.AttachDownloadObserver(&kept);
    }
    EXPECT_TRUE(kept.events().empty()) << "a download never started says nothing";
    const size_t before = faults().requestCount("/slow.bin");
    auto d = std::make_unique<HttpDownload>(slowUrl(), "", quickOptions());
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
    EXPECT_EQ(before + 1, faults().requestCount("/slow.bin"));
}

TEST_F(HttpDownloadAbort, DestroyedFromItsOwnCallbackDoesNotDeadlock) {
    // Forbidden by the observer contract, yet it must not hang or crash: the thread is detached.
    struct Destroyer : IDownloadObserver {
        std::unique_ptr<HttpDownload> download;
        std::atomic<bool> destroyed{false};
        void OnDownloadRateChanged(uint64_t) override {
            if (download) {
                download.reset();
                destroyed = true;
            }
        }
        void OnDownloadStateChanged(DownloadState) override {}
    };
    // Left alive on purpose: the detached thread may still be returning from its callback.
    static Destroyer* destroyer = new Destroyer;
    destroyer->download = std::make_unique<HttpDownload>(slowUrl(), "", quickOptions());
    destroyer->download->AttachDownloadObserver(destroyer);
    ASSERT_TRUE(destroyer->download->StartDownload());
    EXPECT_TRUE(velar_test::waitFor([&] { return destroyer->destroyed.load(); }));
}

}  // namespace
