// Retries, back-off, resume and time-outs of transfers, against the fault-injecting server.
#include "manifest/network/HttpTransfer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "DownloadRecorder.h"
#include "FaultServer.h"
#include "LogCapture.h"
#include "manifest/network/HttpDownload.h"

namespace {

using dash::network::COMPLETED;
using dash::network::DownloadOptions;
using dash::network::DownloadState;
using dash::network::ERROR;
using dash::network::HttpDownload;
using dash::network::IN_PROGRESS;
using velar_test::DownloadRecorder;
using velar_test::FaultServer;

DownloadOptions quickOptions() {
    DownloadOptions o;
    o.connectTimeoutMs = 1000;
    o.stallTimeoutMs = 300;
    o.maxRetries = 2;
    o.retryBackoffMs = 20;
    return o;
}

class HttpTransferFaults : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sServer = new FaultServer(); }
    static void TearDownTestSuite() {
        delete sServer;
        sServer = nullptr;
    }

    struct Outcome {
        DownloadState state;
        long status;
        std::vector<uint8_t> bytes;
        std::string error;
        std::vector<DownloadState> states;
        std::vector<uint64_t> counts;
        std::chrono::milliseconds elapsed;
    };

    static Outcome fetch(const std::string& pathAndQuery, const std::string& range,
                         const DownloadOptions& options = quickOptions()) {
        DownloadRecorder rec;
        HttpDownload d(sServer->url(pathAndQuery), range, options);
        d.AttachDownloadObserver(&rec);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(d.StartDownload());
        EXPECT_TRUE(d.WaitForCompletion(30000));
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
        return Outcome{d.GetState(), d.GetHttpStatus(), d.GetBytes(), d.GetErrorText(),
                       rec.states(), rec.counts(), elapsed};
    }

    static FaultServer* sServer;
};

FaultServer* HttpTransferFaults::sServer = nullptr;

struct StatusCase {
    const char* name;   // unique path per case: the server counts requests per path
    const char* query;
    DownloadState state;
    long status;
    size_t requests;    // requests the server saw: 1 + retries
};

TEST_F(HttpTransferFaults, StatusCodesRetriedOnlyWhenTransient) {
    const StatusCase cases[] = {
        {"s503", "status=503", ERROR, 503, 3},                 // 5xx: retried twice, then ERROR
        {"s500once", "status=500&times=1", COMPLETED, 200, 2}, // recovers on the first retry
        {"s502twice", "status=502&times=2", COMPLETED, 200, 3},// recovers on the last retry
        {"s429", "status=429&times=1", COMPLETED, 200, 2},     // too many requests: transient
        {"s408", "status=408", ERROR, 408, 3},                 // request time-out: transient
        {"s404", "status=404", ERROR, 404, 1},                 // client errors: not retried
        {"s403", "status=403", ERROR, 403, 1},
        {"s400", "status=400", ERROR, 400, 1},
        {"s410", "status=410&times=1", ERROR, 410, 1},
        {"s204", "status=204", COMPLETED, 204, 1},             // 2xx without a body
    };
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome out = fetch(std::string(c.name) + "?size=1000&" + c.query, "");
        EXPECT_EQ(c.state, out.state) << out.error;
        EXPECT_EQ(c.status, out.status);
        EXPECT_EQ(c.requests, sServer->requestCount(std::string("/") + c.name));
        EXPECT_EQ(1u, out.states.size() - 1);  // IN_PROGRESS, then one final state
        if (c.state == COMPLETED && c.status == 200) {
            EXPECT_EQ(FaultServer::generatedBytes(0, 1000), out.bytes);
        } else {
            EXPECT_TRUE(out.bytes.empty());  // error pages never reach the caller
        }
    }
}

TEST_F(HttpTransferFaults, ResetMidBodyResumesWhereItStopped) {
    const Outcome out = fetch("reset1?size=200000&reset=70000&times=1", "");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(FaultServer::generatedBytes(0, 200000), out.bytes);
    // The retry asked only for the missing bytes.
    EXPECT_EQ((std::vector<std::string>{"", "bytes=70000-"}), sServer->requestRanges("/reset1"));
    for (size_t i = 1; i < out.counts.size(); ++i) {
        EXPECT_LT(out.counts[i - 1], out.counts[i]) << "a retry must not count bytes twice";
    }
    EXPECT_EQ(200000u, out.counts.back());
    EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, COMPLETED}), out.states);
}

TEST_F(HttpTransferFaults, ResumeOfARangeKeepsItsEnd) {
    const Outcome out = fetch("reset2?size=200000&reset=5000&times=1", "1000-99999");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(FaultServer::generatedBytes(1000, 99000), out.bytes);
    EXPECT_EQ((std::vector<std::string>{"bytes=1000-99999", "bytes=6000-99999"}),
              sServer->requestRanges("/reset2"));
}

TEST_F(HttpTransferFaults, ServerIgnoringRangeStillYieldsTheRightBytes) {
    // The server answers 200 with the whole body: the range is cut out here, also on resume.
    const Outcome ranged = fetch("norange1?size=100000&norange=1", "4321-8765");
    ASSERT_EQ(COMPLETED, ranged.state) << ranged.error;
    EXPECT_EQ(200, ranged.status);
    EXPECT_EQ(FaultServer::generatedBytes(4321, 8765 - 4321 + 1), ranged.bytes);

    const Outcome resumed = fetch("norange2?size=100000&norange=1&truncate=30000&times=1", "");
    ASSERT_EQ(COMPLETED, resumed.state) << resumed.error;
    EXPECT_EQ(FaultServer::generatedBytes(0, 100000), resumed.bytes);
    EXPECT_EQ((std::vector<std::string>{"", "bytes=30000-"}), sServer->requestRanges("/norange2"));
}

TEST_F(HttpTransferFaults, PersistentFaultsEndInErrorWithinTheTimeOuts) {
    // Worst case per case: 3 attempts of (connect + stall time-out) plus back-offs of 20 and 40 ms.
    const struct {
        const char* name;
        const char* query;
        const char* error;
    } cases[] = {
        {"resetAlways", "size=100000&reset=1000", "Failure when receiving data from the peer"},
        {"truncAlways", "size=100000&truncate=1000", "Transferred a partial file"},
        {"stallAlways", "size=100000&stall=1000", "no data received for 300 ms"},
        {"stallHeaders", "size=100000&delay=2000", "no response within 800 ms"},
    };
    DownloadOptions options = quickOptions();
    options.connectTimeoutMs = 500;  // before the first byte, connect and stall time-outs add up
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        velar_test::LogCapture log;
        const Outcome out = fetch(std::string(c.name) + "?" + c.query, "", options);
        EXPECT_EQ(ERROR, out.state);
        EXPECT_EQ(0u, out.error.rfind(c.error, 0)) << out.error;
        EXPECT_EQ(3u, sServer->requestCount(std::string("/") + c.name));
        EXPECT_EQ((std::vector<DownloadState>{IN_PROGRESS, ERROR}), out.states);
        EXPECT_LT(out.elapsed, std::chrono::milliseconds(3 * 800 + 60 + 1500));
        // The texts of the attempts may differ (bytes missing change as each retry resumes).
        const std::string url = sServer->url(std::string(c.name) + "?" + c.query);
        EXPECT_TRUE(log.containsFragment("Retrying " + url + " in 20 ms (retry 1 of 2): " + c.error));
        EXPECT_TRUE(log.containsFragment("Retrying " + url + " in 40 ms (retry 2 of 2): " + c.error));
        EXPECT_TRUE(log.contains("Download of " + sServer->url(std::string(c.name) + "?" + c.query) +
                                 " failed: " + out.error));
    }
}

TEST_F(HttpTransferFaults, TransientFaultsOnceThenSuccess) {
    const char* queries[] = {
        "truncOnce?size=150000&truncate=40000&times=1",
        "stallOnce?size=150000&stall=40000&times=1",
        "slowOnce?size=150000&delay=1500&times=1",
    };
    for (const char* q : queries) {
        SCOPED_TRACE(q);
        const Outcome out = fetch(q, "");
        ASSERT_EQ(COMPLETED, out.state) << out.error;
        EXPECT_EQ(FaultServer::generatedBytes(0, 150000), out.bytes);
    }
}

TEST_F(HttpTransferFaults, NoRetriesMeansOneAttempt) {
    DownloadOptions o = quickOptions();
    o.maxRetries = 0;
    const Outcome out = fetch("once503?size=10&status=503&times=1", "", o);
    EXPECT_EQ(ERROR, out.state);
    EXPECT_EQ(1u, sServer->requestCount("/once503"));
}

TEST_F(HttpTransferFaults, SlowButSteadyBodyIsNotAStall) {
    // 60 kB at 100 kB/s: 0.6 s in total, longer than the 300 ms stall time-out, but never silent.
    const Outcome out = fetch("throttled?size=60000&rate=100000", "");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(FaultServer::generatedBytes(0, 60000), out.bytes);
    EXPECT_GE(out.counts.size(), 5u) << "progress is reported while the body arrives";
    EXPECT_EQ(1u, sServer->requestCount("/throttled"));
}

TEST_F(HttpTransferFaults, SlowResponseWithinTheLimitsSucceeds) {
    const Outcome out = fetch("slowFirstByte?size=500&delay=200", "");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(1u, sServer->requestCount("/slowFirstByte"));
}

TEST_F(HttpTransferFaults, RedirectToAnotherPathOfTheServer) {
    const Outcome out =
        fetch("hop?redirect=" + sServer->url("target?size=3000"), "10-19");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(FaultServer::generatedBytes(10, 10), out.bytes);
    EXPECT_EQ((std::vector<std::string>{"bytes=10-19"}), sServer->requestRanges("/target"));
}

TEST_F(HttpTransferFaults, ControlFileChangesTheBehaviourOfAPath) {
    sServer->setControl("{\"/controlled.m4s\": {\"status\": 500, \"times\": 1, \"size\": 4000}}");
    const Outcome out = fetch("controlled.m4s", "");
    sServer->setControl("{}");
    ASSERT_EQ(COMPLETED, out.state) << out.error;
    EXPECT_EQ(FaultServer::generatedBytes(0, 4000), out.bytes);
    EXPECT_EQ(2u, sServer->requestCount("/controlled.m4s"));
}

TEST(HttpTransfer, AbortBeforeRunReturnsAbortedWithoutWork) {
    dash::network::HttpTransfer t("http://127.0.0.1:1/x", "", quickOptions());
    t.abort();
    dash::network::HttpTransfer::Sink sink;
    sink.data = [](const uint8_t*, size_t) { ADD_FAILURE() << "no data expected"; };
    const auto result = t.run(sink);
    EXPECT_EQ(dash::network::HttpTransfer::Outcome::Aborted, result.outcome);
    EXPECT_EQ(0u, result.bytes);
}

TEST(HttpTransfer, LocalPathsOfUrls) {
    const struct {
        const char* url;
        bool local;
        const char* path;
        const char* error;
    } cases[] = {
        {"/srv/a.mpd", true, "/srv/a.mpd", ""},
        {"relative/a.mpd", true, "relative/a.mpd", ""},
        {"file:///srv/a%20b.mpd", true, "/srv/a b.mpd", ""},
        {"file://localhost/srv/a.mpd?x=1#f", true, "/srv/a.mpd", ""},
        {"file://LOCALHOST/srv/%41", true, "/srv/A", ""},
        {"file:///srv/100%", true, "/srv/100%", ""},       // a lone % stays
        {"file://other/srv/a.mpd", true, "", "file URL with a remote host: file://other/srv/a.mpd"},
        {"file:///srv/a%00b", true, "", "file URL with a NUL byte: file:///srv/a%00b"},
        {"http://host/a.mpd", false, "", ""},
        {"https://host/a.mpd", false, "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        std::string path = "unchanged";
        std::string error;
        EXPECT_EQ(c.local, dash::network::HttpTransfer::localPath(c.url, path, error));
        if (c.local) {
            EXPECT_EQ(c.path, path);
        }
        EXPECT_EQ(c.error, error);
    }
}

}  // namespace
