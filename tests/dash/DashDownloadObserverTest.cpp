// The download observer on a scripted clock and on real transfers from a loopback nginx.
#include "dash/DashDownloadObserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "NetworkTest.h"
#include "TestPorts.h"
#include "WaitFor.h"
#include "dash/IDashAdaptationSet.h"

namespace dash {
namespace {

namespace net = dash::network;
using std::chrono::milliseconds;

// An adaptation set that only counts the segments it is told about (from any thread); nothing else is called.
class CountingSet : public IDashAdaptationSet {
public:
    void handleCompleteSegment() const override { ++completed; }
    mutable std::atomic<size_t> completed{0};
    std::string mime;

    bool getBufferedSegment(DashQueuedSegment&) override { return false; }
    bool endOfSegments() const override { return false; }
    size_t getNumberOfBufferedSegments() const override { return 0; }
    std::future<bool> downloadNextSegment() override { return {}; }
    void processCompleteSegment() override {}
    uint64_t seek(uint64_t) override { return 0; }
    void setTrickMode(int) override {}
    bool findSegmentPosition(uint64_t&, uint64_t&) override { return false; }
    void setSegmentReadyCallback(std::function<void(int)>) override {}
    void initAdaptationSet(std::shared_ptr<mpd::IMPD>, const std::vector<mpd::IBaseUrl*>&) override {}
    void changeRepresentation(DashAbrAdjustment) override {}
    void setAbrStrategy(std::function<DashAbrAdjustment(const DashAbrData&)>) override {}
    std::shared_ptr<IDashRepresentation> getRepresentation() const override { return {}; }
    std::shared_ptr<DashRepresentationData> getCurrentRepresentation() const override { return {}; }
    std::vector<std::shared_ptr<IDashRepresentation>> getRepresentations() const override { return {}; }
    std::vector<DashContentProtection> getContentProtections() const override { return {}; }
    int32_t getLastDownloadRate() const override { return 0; }
    std::shared_ptr<DashRepresentationData> getPlayingRepresentation() const override { return nullptr; }
    const std::string& getMimeType() const override { return mime; }
};

// An observer on a clock the test moves, started 10 s after the clock's zero; segment() reports one
// transfer: its start, two byte counts, `took` later its end.
struct Scripted {
    CountingSet owner;
    std::chrono::steady_clock::time_point now = std::chrono::steady_clock::time_point() + std::chrono::seconds(10);
    DashDownloadObserver observer{&owner, [this] { return now; }};
    void segment(uint64_t bytes, std::chrono::microseconds took, net::DownloadState end = net::COMPLETED) {
        observer.OnDownloadStateChanged(net::IN_PROGRESS);
        observer.OnDownloadRateChanged(bytes / 2);
        observer.OnDownloadRateChanged(bytes);
        now += took;
        observer.OnDownloadStateChanged(end);
    }
};

TEST(DashDownloadObserverTest, MeasuresFromTheClocksZeroThenKeepsTheLastFiveRates) {
    Scripted s;
    EXPECT_EQ(s.observer.getAverageHistoricDownloadRate(), 0);  // empty history
    s.segment(80000, milliseconds(500));  // timed from the clock's zero, not from its IN_PROGRESS
    EXPECT_EQ(s.observer.getLastDownloadTime(), 10500);
    EXPECT_EQ(s.observer.getLastDownloadRate(), 7 * 8000);  // 80000 / 10500 = 7
    // The rate is (bytes / ms) x 8000 in its low 32 bits: 5 bytes in 10 ms are 0, 8 000 000 000 wraps.
    const struct { uint64_t bytes; int ms; int32_t rate; } steps[] = {
        {1000, 1, 8000000}, {1999, 2, 7992000}, {5, 10, 0}, {1000000, 1, -589934592}, {3000, 3, 8000000}, {1, 1, 8000}};
    for (const auto& step : steps) {
        s.segment(step.bytes, milliseconds(step.ms));
        EXPECT_EQ(s.observer.getLastDownloadTime(), step.ms);
        EXPECT_EQ(s.observer.getLastDownloadRate(), step.rate) << step.bytes;
    }
    EXPECT_EQ(s.observer.getDownloadRateHistory(), (std::vector<int32_t>{7992000, 0, -589934592, 8000000, 8000}));
}

TEST(DashDownloadObserverTest, ErrorsAndZeroMillisecondsMeasureNothingButTellTheSet) {
    Scripted s;
    s.observer.OnDownloadStateChanged(net::ERROR);  // without IN_PROGRESS: still told; ends the head start
    for (uint64_t bytes : {8000, 16000, 32000}) s.segment(bytes, milliseconds(4));
    EXPECT_EQ(s.observer.getAverageHistoricDownloadRate(), 37333333);  // 112 000 000 / 3, truncated
    // Under a millisecond, a repeated end, an error: nothing measured, the set still told.
    s.segment(1000, std::chrono::microseconds(999));
    s.observer.OnDownloadStateChanged(net::COMPLETED);
    s.segment(1000000, milliseconds(3), net::ERROR);
    EXPECT_EQ(s.observer.getLastDownloadTime(), 0);
    EXPECT_EQ(s.observer.getLastDownloadRate(), 8000 * 8000);
    EXPECT_EQ(s.observer.getDownloadRateHistory(), (std::vector<int32_t>{16000000, 32000000, 64000000}));
    s.observer.OnDownloadStateChanged(net::ABORTED);  // other states are only recorded
    EXPECT_EQ(s.owner.completed, 7u);
}

// Real transfers from nginx on loopback. The fixture, attached after the observer under test, holds the transfer
// thread for 3 ms once the transfer has started: a slow link, so that a transfer lasts whole milliseconds.
class DashDownloadObserverNetTest : public velar_test::NetworkTest, public net::IDownloadObserver {
protected:
    void SetUp() override { requireNginx(); }
    void OnDownloadRateChanged(uint64_t) override {}
    void OnDownloadStateChanged(net::DownloadState state) override {
        if (state == net::IN_PROGRESS) std::this_thread::sleep_for(milliseconds(3));
    }
    // Downloads `url` (`range`) watched by `observer` until the set is told.
    void download(const std::string& url, const std::string& range = "") {
        const size_t before = owner.completed;
        net::HttpDownload transfer(url, range, quickOptions());
        transfer.AttachDownloadObserver(&observer);
        transfer.AttachDownloadObserver(this);
        ASSERT_TRUE(transfer.StartDownload());
        ASSERT_TRUE(velar_test::waitFor([&] { return owner.completed == before + 1; }, std::chrono::seconds(30)));
    }
    CountingSet owner;
    DashDownloadObserver observer{&owner};
};

TEST_F(DashDownloadObserverNetTest, FailedSegmentsReachTheSetThenARealSegmentIsMeasured) {
    const std::string refused = "http://127.0.0.1:" + std::to_string(velar_test::freeLoopbackPort()) + "/seg.bin";
    for (const std::string& url : {nginx().url("no-such-segment.m4s"), refused}) {  // they end the head start
        download(url);
        EXPECT_EQ(observer.getState(), net::ERROR) << url;
    }
    const uint64_t bytes = 262144;  // even in 1 ms the rate (2 097 152 000) fits in 31 bits
    download(nginx().url("blob.bin"), "0-" + std::to_string(bytes - 1));
    const int32_t time = observer.getLastDownloadTime();
    EXPECT_GE(time, 3);
    EXPECT_LT(time, 30000);  // timed from its own start
    EXPECT_EQ(observer.getLastDownloadRate(), int32_t(bytes / uint64_t(time) * 8000));
    EXPECT_EQ(observer.getDownloadRateHistory(), std::vector<int32_t>{observer.getLastDownloadRate()});  // only it
}

}  // namespace
}  // namespace dash
