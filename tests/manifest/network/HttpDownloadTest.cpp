// HttpDownload against a real nginx on a loopback port: exact bytes, observer order, concurrency,
// connection reuse, redirects, TLS, abort and destruction during a transfer.
#include "manifest/network/HttpDownload.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DownloadRecorder.h"
#include "FaultServer.h"
#include "LogCapture.h"
#include "NginxServer.h"
#include "ScratchDir.h"
#include "TestPorts.h"
#include "WaitFor.h"

namespace {

using dash::network::ABORTED;
using dash::network::COMPLETED;
using dash::network::DownloadOptions;
using dash::network::DownloadState;
using dash::network::ERROR;
using dash::network::HttpDownload;
using dash::network::IN_PROGRESS;
using dash::network::NOT_STARTED;
using dash::network::REQUEST_ABORT;
using velar_test::DownloadRecorder;

constexpr size_t kBlobSize = 3 * 1024 * 1024 + 17;  // odd size: no chunk boundary lines up

DownloadOptions quickOptions() {
    DownloadOptions o;
    o.connectTimeoutMs = 1000;
    o.stallTimeoutMs = 400;
    o.maxRetries = 2;
    o.retryBackoffMs = 20;
    return o;
}

std::vector<uint8_t> slice(const std::vector<uint8_t>& v, size_t first, size_t count) {
    return std::vector<uint8_t>(v.begin() + static_cast<long>(first),
                                v.begin() + static_cast<long>(first + count));
}

class HttpDownloadNginx : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!velar_test::NginxServer::available()) {
            return;
        }
        sRoot = new velar_test::ScratchDir("net-www");
        sBlob = new std::vector<uint8_t>(velar_test::patternBytes(kBlobSize, 7));
        sRoot->write("media/blob.bin", *sBlob);
        sRoot->write("media/small.txt", std::string("velar"));
        sRoot->write("media/empty.bin", std::vector<uint8_t>());
        for (int i = 0; i < 20; ++i) {
            sRoot->write("seg/s" + std::to_string(i) + ".m4s", velar_test::patternBytes(20000 + i, 100 + i));
        }
        sServer = new velar_test::NginxServer(sRoot->path());
    }
    static void TearDownTestSuite() {
        delete sServer;
        delete sRoot;
        delete sBlob;
        sServer = nullptr;
        sRoot = nullptr;
        sBlob = nullptr;
    }
    void SetUp() override {
        if (sServer == nullptr) {
            GTEST_SKIP() << "nginx is not installed";
        }
    }

    static velar_test::NginxServer* sServer;
    static velar_test::ScratchDir* sRoot;
    static std::vector<uint8_t>* sBlob;
};

velar_test::NginxServer* HttpDownloadNginx::sServer = nullptr;
velar_test::ScratchDir* HttpDownloadNginx::sRoot = nullptr;
std::vector<uint8_t>* HttpDownloadNginx::sBlob = nullptr;

struct RangeCase {
    const char* range;
    size_t first;
    size_t count;  // bytes expected
    long status;
};

TEST_F(HttpDownloadNginx, WholeAndRangedDownloadsReturnTheExactBytes) {
    const RangeCase cases[] = {
        {"", 0, kBlobSize, 200},
        {"0-0", 0, 1, 206},
        {"100-199", 100, 100, 206},
        {"1000-", 1000, kBlobSize - 1000, 206},
        {"3145744-3145744", kBlobSize - 1, 1, 206},            // the last byte
        {"3000000-3999999", 3000000, kBlobSize - 3000000, 206},  // past the end: up to the end
        {"65535-196608", 65535, 131074, 206},                  // across buffer sizes
    };
    for (const RangeCase& c : cases) {
        SCOPED_TRACE(c.range);
        HttpDownload d(sServer->url("media/blob.bin"), c.range, quickOptions());
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(d.WaitForCompletion(20000));
        ASSERT_EQ(COMPLETED, d.GetState()) << d.GetErrorText();
        EXPECT_EQ(c.status, d.GetHttpStatus());
        EXPECT_EQ(slice(*sBlob, c.first, c.count), d.GetBytes());
        EXPECT_EQ("", d.GetErrorText());
    }
}

TEST_F(HttpDownloadNginx, EmptyResourceCompletesWithNoBytes) {
    DownloadRecorder rec;
    HttpDownload d(sServer->url("media/empty.bin"), "", quickOptions());
    d.AttachDownloadObserver(&rec);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    EXPECT_EQ(COMPLETED, d.GetState());
    EXPECT_TRUE(d.GetBytes().empty());
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), rec.states());
    EXPECT_TRUE(rec.counts().empty());
}

TEST_F(HttpDownloadNginx, ObserversHearProgressInOrderThenOneCompleted) {
    DownloadRecorder first;
    DownloadRecorder second;
    HttpDownload d(sServer->url("media/blob.bin"), "", quickOptions());
    d.AttachDownloadObserver(&first);
    d.AttachDownloadObserver(&second);
    d.AttachDownloadObserver(&second);  // attached once only
    d.AttachDownloadObserver(nullptr);
    EXPECT_EQ(NOT_STARTED, d.GetState());
    ASSERT_TRUE(d.StartDownload());
    EXPECT_FALSE(d.StartDownload());  // once only
    ASSERT_TRUE(d.WaitForCompletion(20000));

    for (const DownloadRecorder* rec : {&first, &second}) {
        const auto events = rec->events();
        ASSERT_GE(events.size(), 3u);
        EXPECT_TRUE(events.front().isState);
        EXPECT_EQ(IN_PROGRESS, events.front().state);
        EXPECT_TRUE(events.back().isState);
        EXPECT_EQ(COMPLETED, events.back().state);
        EXPECT_EQ(1u, rec->finalStates());
        EXPECT_EQ(2u, rec->states().size());  // IN_PROGRESS and COMPLETED, nothing else
        const auto counts = rec->counts();
        ASSERT_FALSE(counts.empty());
        for (size_t i = 1; i < counts.size(); ++i) {
            EXPECT_LT(counts[i - 1], counts[i]) << "counts must grow, at " << i;
        }
        EXPECT_EQ(kBlobSize, counts.back());  // the final count comes before COMPLETED
    }
    EXPECT_EQ(first.events().size(), second.events().size());
}

TEST_F(HttpDownloadNginx, ObserverReadsTheBytesFromItsCompletedCallback) {
    // The adaptation set reads the segment's bytes when it hears COMPLETED.
    struct Reader : dash::network::IDownloadObserver {
        HttpDownload* download = nullptr;
        std::atomic<size_t> sizeAtCompletion{0};
        std::atomic<int> stateAtCompletion{-1};
        void OnDownloadRateChanged(uint64_t) override {}
        void OnDownloadStateChanged(DownloadState s) override {
            if (s == COMPLETED) {
                sizeAtCompletion = download->GetBytes().size();
                stateAtCompletion = download->GetState();
            }
        }
    } reader;
    HttpDownload d(sServer->url("media/small.txt"), "", quickOptions());
    reader.download = &d;
    d.AttachDownloadObserver(&reader);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    EXPECT_EQ(5u, reader.sizeAtCompletion.load());
    EXPECT_EQ(COMPLETED, reader.stateAtCompletion.load());
}

TEST_F(HttpDownloadNginx, TwentyDownloadsAtOnce) {
    std::vector<std::unique_ptr<HttpDownload>> downloads;
    std::vector<std::unique_ptr<DownloadRecorder>> recorders;
    for (int i = 0; i < 20; ++i) {
        const bool ranged = i % 2 == 1;
        downloads.push_back(std::make_unique<HttpDownload>(
            sServer->url(i % 4 == 0 ? "media/blob.bin" : "seg/s" + std::to_string(i) + ".m4s"),
            ranged ? "10-5009" : "", quickOptions()));
        recorders.push_back(std::make_unique<DownloadRecorder>());
        downloads.back()->AttachDownloadObserver(recorders.back().get());
    }
    for (auto& d : downloads) {
        ASSERT_TRUE(d->StartDownload());
    }
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(downloads[i]->WaitForCompletion(30000));
        ASSERT_EQ(COMPLETED, downloads[i]->GetState()) << downloads[i]->GetErrorText();
        const std::vector<uint8_t> whole =
            i % 4 == 0 ? *sBlob : velar_test::patternBytes(20000 + i, 100 + i);
        const std::vector<uint8_t> expected = i % 2 == 1 ? slice(whole, 10, 5000) : whole;
        EXPECT_EQ(expected, downloads[i]->GetBytes());
        EXPECT_EQ(1u, recorders[i]->finalStates());
    }
}

TEST_F(HttpDownloadNginx, SequentialDownloadsReuseOneConnection) {
    // Warm up: one download opens (or reuses) a connection.
    {
        HttpDownload d(sServer->url("seg/s0.m4s"), "", quickOptions());
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(d.WaitForCompletion(10000));
    }
    ASSERT_TRUE(sServer->waitForRequests(1));
    sServer->clearLog();
    const int n = 20;
    for (int i = 0; i < n; ++i) {
        HttpDownload d(sServer->url("seg/s" + std::to_string(i) + ".m4s"), i % 3 ? "0-999" : "",
                       quickOptions());
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(d.WaitForCompletion(10000));
        ASSERT_EQ(COMPLETED, d.GetState()) << d.GetErrorText();
    }
    ASSERT_TRUE(sServer->waitForRequests(n));
    EXPECT_EQ(1u, sServer->connectionCount()) << "each download should reuse the kept connection";
    const auto requests = sServer->requests();
    EXPECT_GE(requests.back().connectionRequests, static_cast<uint64_t>(n));
    EXPECT_EQ("bytes=0-999", requests[1].range);  // the range reached the server as written
}

TEST_F(HttpDownloadNginx, NotFoundIsAnErrorWithoutRetry) {
    velar_test::LogCapture log;
    sServer->clearLog();
    DownloadRecorder rec;
    HttpDownload d(sServer->url("media/missing.bin"), "", quickOptions());
    d.AttachDownloadObserver(&rec);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    EXPECT_EQ(ERROR, d.GetState());
    EXPECT_EQ(404, d.GetHttpStatus());
    EXPECT_EQ("HTTP status 404", d.GetErrorText());
    EXPECT_TRUE(d.GetBytes().empty());  // nginx's error page is not the resource
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ERROR}), rec.states());
    ASSERT_TRUE(sServer->waitForRequests(1));
    EXPECT_EQ(1u, sServer->requests().size());
    EXPECT_TRUE(log.contains("Download of " + sServer->url("media/missing.bin") +
                             " failed: HTTP status 404"));
    EXPECT_FALSE(log.containsFragment("Retrying"));
}

TEST_F(HttpDownloadNginx, FollowsRedirectsUpToTheLimit) {
    HttpDownload followed(sServer->url("redirect/2/media/small.txt"), "", quickOptions());
    ASSERT_TRUE(followed.StartDownload());
    ASSERT_TRUE(followed.WaitForCompletion(10000));
    ASSERT_EQ(COMPLETED, followed.GetState()) << followed.GetErrorText();
    EXPECT_EQ((std::vector<uint8_t>{'v', 'e', 'l', 'a', 'r'}), followed.GetBytes());
    EXPECT_EQ(200, followed.GetHttpStatus());

    DownloadOptions tight = quickOptions();
    tight.maxRedirects = 2;  // three hops needed
    HttpDownload refused(sServer->url("redirect/2/media/small.txt"), "", tight);
    ASSERT_TRUE(refused.StartDownload());
    ASSERT_TRUE(refused.WaitForCompletion(10000));
    EXPECT_EQ(ERROR, refused.GetState());
    EXPECT_TRUE(refused.GetBytes().empty());
}

TEST_F(HttpDownloadNginx, RangeRequestOfARedirectedResource) {
    HttpDownload d(sServer->url("redirect/1/media/blob.bin"), "500-599", quickOptions());
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    ASSERT_EQ(COMPLETED, d.GetState()) << d.GetErrorText();
    EXPECT_EQ(slice(*sBlob, 500, 100), d.GetBytes());
}

TEST_F(HttpDownloadNginx, RangeStartingPastTheEndIsAnError) {
    HttpDownload d(sServer->url("media/small.txt"), "10-20", quickOptions());
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    EXPECT_EQ(ERROR, d.GetState());
    EXPECT_EQ(416, d.GetHttpStatus());
}

TEST(HttpDownload, RefusedConnectionEndsInErrorAfterTheRetries) {
    velar_test::LogCapture log;
    DownloadOptions o = quickOptions();
    o.maxRetries = 2;
    o.retryBackoffMs = 30;
    const std::string url = "http://127.0.0.1:" + std::to_string(velar_test::refusedLoopbackPort()) + "/x";
    DownloadRecorder rec;
    HttpDownload d(url, "", o);
    d.AttachDownloadObserver(&rec);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(10000));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(ERROR, d.GetState());
    EXPECT_EQ(0, d.GetHttpStatus());
    EXPECT_NE(std::string::npos, d.GetErrorText().find("connect")) << d.GetErrorText();
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ERROR}), rec.states());
    // Two retries, after 30 and 60 ms of back-off.
    size_t retries = 0;
    for (const std::string& m : log.messages()) {
        retries += m.rfind("Retrying " + url + " in ", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(2u, retries);
    EXPECT_TRUE(log.containsFragment("Retrying " + url + " in 30 ms (retry 1 of 2)"));
    EXPECT_TRUE(log.containsFragment("Retrying " + url + " in 60 ms (retry 2 of 2)"));
    EXPECT_GE(elapsed, std::chrono::milliseconds(90));
    EXPECT_LT(elapsed, std::chrono::seconds(5));
}

TEST(HttpDownload, BadRequestsEndInErrorAtOnce) {
    const struct {
        const char* url;
        const char* range;
        const char* error;
    } cases[] = {
        {"http://127.0.0.1:1/x", "abc", "invalid byte range \"abc\""},
        {"ftp://127.0.0.1/x", "", "unsupported URL scheme in ftp://127.0.0.1/x"},
        {"file://otherhost/etc/hostname", "", "file URL with a remote host: file://otherhost/etc/hostname"},
        {"/nonexistent/velar/file", "", "cannot open /nonexistent/velar/file: No such file or directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        DownloadRecorder rec;
        HttpDownload d(c.url, c.range, quickOptions());
        d.AttachDownloadObserver(&rec);
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(d.WaitForCompletion(5000));
        EXPECT_EQ(ERROR, d.GetState());
        EXPECT_EQ(c.error, d.GetErrorText());
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ERROR}), rec.states());
    }
}

TEST(HttpDownload, LocalFilesByPathAndFileUrlWithRanges) {
    velar_test::ScratchDir dir("net-local");
    const std::vector<uint8_t> bytes = velar_test::patternBytes(300000, 3);
    const std::string path = dir.write("a dir/clip 1.mp4", bytes);
    const std::string escaped = dir.path() + "/a%20dir/clip%201.mp4";
    const struct {
        std::string url;
        const char* range;
        size_t first;
        size_t count;
    } cases[] = {
        {path, "", 0, bytes.size()},
        {"file://" + path, "1-", 1, bytes.size() - 1},
        {"file://" + escaped, "299999-299999", 299999, 1},
        {"file://localhost" + escaped, "1000-270000", 1000, 269001},
        {"FILE://" + escaped, "0-999999", 0, bytes.size()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url + " " + c.range);
        DownloadRecorder rec;
        HttpDownload d(c.url, c.range, quickOptions());
        d.AttachDownloadObserver(&rec);
        ASSERT_TRUE(d.StartDownload());
        ASSERT_TRUE(d.WaitForCompletion(5000));
        ASSERT_EQ(COMPLETED, d.GetState()) << d.GetErrorText();
        EXPECT_EQ(slice(bytes, c.first, c.count), d.GetBytes());
        EXPECT_EQ(c.count, rec.lastCount());
        EXPECT_EQ(1u, rec.finalStates());
    }
    HttpDownload beyond(path, "300000-", quickOptions());
    ASSERT_TRUE(beyond.StartDownload());
    ASSERT_TRUE(beyond.WaitForCompletion(5000));
    EXPECT_EQ(ERROR, beyond.GetState());
}

TEST(HttpDownload, BodyLargerThanTheLimitIsAnError) {
    velar_test::ScratchDir dir("net-limit");
    const std::string path = dir.write("big.bin", velar_test::patternBytes(5000));
    DownloadOptions o = quickOptions();
    o.maxBodyBytes = 4999;
    HttpDownload d(path, "", o);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(5000));
    EXPECT_EQ(ERROR, d.GetState());
    EXPECT_EQ("body larger than 4999 bytes", d.GetErrorText());
    o.maxBodyBytes = 5000;
    HttpDownload fits(path, "", o);
    ASSERT_TRUE(fits.StartDownload());
    ASSERT_TRUE(fits.WaitForCompletion(5000));
    EXPECT_EQ(COMPLETED, fits.GetState());
}

// --- abort and destruction, on a throttled fault server so that the transfer is surely running ---

class HttpDownloadAbort : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sServer = new velar_test::FaultServer(); }
    static void TearDownTestSuite() {
        delete sServer;
        sServer = nullptr;
    }
    // 2 MB at 200 kB/s: ten seconds unless stopped.
    static std::string slowUrl() { return sServer->url("slow.bin?size=2000000&rate=200000"); }
    static velar_test::FaultServer* sServer;
};

velar_test::FaultServer* HttpDownloadAbort::sServer = nullptr;

TEST_F(HttpDownloadAbort, AbortMidTransferEndsAbortedPromptly) {
    DownloadRecorder rec;
    HttpDownload d(slowUrl(), "", quickOptions());
    d.AttachDownloadObserver(&rec);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(velar_test::waitFor([&] { return rec.lastCount() > 0; }));
    const auto start = std::chrono::steady_clock::now();
    d.AbortDownload();
    const DownloadState right = d.GetState();
    EXPECT_TRUE(right == REQUEST_ABORT || right == ABORTED) << right;
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
    EXPECT_EQ(ABORTED, d.GetState());
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    EXPECT_LT(d.GetBytes().size(), 2000000u);
    d.AbortDownload();  // again: no effect
    EXPECT_EQ(ABORTED, d.GetState());
    EXPECT_EQ(1u, rec.finalStates());
}

TEST_F(HttpDownloadAbort, AbortWhileWaitingForTheServerEndsAbortedPromptly) {
    DownloadRecorder rec;
    DownloadOptions o = quickOptions();
    o.stallTimeoutMs = 10000;
    HttpDownload d(sServer->url("stalled.bin?size=100000&stall=10"), "", o);
    d.AttachDownloadObserver(&rec);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(velar_test::waitFor([&] { return rec.lastCount() == 10; }));
    const auto start = std::chrono::steady_clock::now();
    d.AbortDownload();
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(ABORTED, d.GetState());
    EXPECT_EQ(1u, rec.finalStates());
}

TEST_F(HttpDownloadAbort, AbortDuringTheBackOffEndsAbortedPromptly) {
    velar_test::LogCapture log;
    DownloadOptions o = quickOptions();
    o.retryBackoffMs = 10000;
    HttpDownload d(sServer->url("busy.bin?status=503"), "", o);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(velar_test::waitFor([&] { return log.containsFragment("Retrying"); }));
    const auto start = std::chrono::steady_clock::now();
    d.AbortDownload();
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(ABORTED, d.GetState());
    EXPECT_EQ(503, d.GetHttpStatus());
}

TEST_F(HttpDownloadAbort, AbortBeforeStartReportsAbortedFromTheThread) {
    DownloadRecorder rec;
    HttpDownload d(sServer->url("never.bin?size=10"), "", quickOptions());
    d.AttachDownloadObserver(&rec);
    d.AbortDownload();
    EXPECT_EQ(REQUEST_ABORT, d.GetState());
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_EQ(ABORTED, d.GetState());
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    EXPECT_EQ(0u, sServer->requestCount("/never.bin")) << "no request was made";
}

TEST_F(HttpDownloadAbort, DestroyingMidTransferAbortsAndJoins) {
    DownloadRecorder rec;
    const size_t before = sServer->requestCount("/slow.bin");
    {
        auto d = std::make_unique<HttpDownload>(slowUrl(), "", quickOptions());
        d->AttachDownloadObserver(&rec);
        ASSERT_TRUE(d->StartDownload());
        ASSERT_TRUE(velar_test::waitFor([&] { return rec.lastCount() > 0; }));
        const auto start = std::chrono::steady_clock::now();
        d.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
    }
    // The thread was joined: everything it said arrived before the destructor returned.
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ABORTED}), rec.states());
    EXPECT_EQ(before + 1, sServer->requestCount("/slow.bin"));
}

TEST_F(HttpDownloadAbort, DestroyingBeforeStartOrAfterTheEndIsQuiet) {
    DownloadRecorder rec;
    {
        HttpDownload never(slowUrl(), "", quickOptions());
        never.AttachDownloadObserver(&rec);
    }
    EXPECT_TRUE(rec.events().empty());
    {
        HttpDownload done(sServer->url("tiny.bin?size=10"), "", quickOptions());
        done.AttachDownloadObserver(&rec);
        ASSERT_TRUE(done.StartDownload());
        ASSERT_TRUE(done.WaitForCompletion(5000));
    }
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), rec.states());
}

TEST_F(HttpDownloadAbort, DetachedObserverIsNotCalledAgain) {
    DownloadRecorder kept;
    DownloadRecorder detached;
    HttpDownload d(slowUrl(), "", quickOptions());
    d.AttachDownloadObserver(&kept);
    d.AttachDownloadObserver(&detached);
    ASSERT_TRUE(d.StartDownload());
    ASSERT_TRUE(velar_test::waitFor([&] { return detached.lastCount() > 0; }));
    d.DetachDownloadObserver(&detached);
    const size_t seen = detached.events().size();
    d.AbortDownload();
    ASSERT_TRUE(d.WaitForCompletion(2000));
    EXPECT_EQ(seen, detached.events().size());
    EXPECT_EQ(1u, kept.finalStates());
}

TEST_F(HttpDownloadAbort, DestroyedFromItsOwnCallbackDoesNotDeadlock) {
    // Forbidden by the observer contract, yet it must not hang or crash: the thread is detached.
    struct Destroyer : dash::network::IDownloadObserver {
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
