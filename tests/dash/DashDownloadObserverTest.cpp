// The download observer: timing and rates on a scripted clock, then on real transfers from nginx.
#include "dash/DashDownloadObserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "NetworkTest.h"
#include "TestPorts.h"
#include "WaitFor.h"
#include "dash/IDashAdaptationSet.h"
#include "manifest/mpd/Segment.h"

namespace dash {
namespace {

using dash::network::DownloadState;
using std::chrono::milliseconds;
using TimePoint = std::chrono::steady_clock::time_point;

// An adaptation set that only counts the segments it is told about (from any thread).
class CountingSet : public IDashAdaptationSet {
public:
    void handleCompleteSegment() const override { ++mCompleted; }
    size_t completed() const { return mCompleted.load(); }

    bool getBufferedSegment(DashQueuedSegment&) override { return false; }
    bool endOfSegments() const override { return false; }
    size_t getNumberOfBufferedSegments() const override { return 0; }
    std::future<bool> downloadNextSegment() override { return {}; }
    void processCompleteSegment() override {}
    uint64_t seek(uint64_t positionMs) override { return positionMs; }
    bool findSegmentPosition(uint64_t&, uint64_t&) override { return false; }
    void setTrickMode(int) override {}
    void setSegmentReadyCallback(std::function<void(int)>) override {}
    void initAdaptationSet(std::shared_ptr<mpd::IMPD>, const std::vector<mpd::IBaseUrl*>&) override {}
    void changeRepresentation(DashAbrAdjustment) override {}
    std::shared_ptr<IDashRepresentation> getRepresentation() const override { return nullptr; }
    std::shared_ptr<DashRepresentationData> getCurrentRepresentation() const override { return nullptr; }
    const std::string& getMimeType() const override { return mMimeType; }
    void setAbrStrategy(std::function<DashAbrAdjustment(const DashAbrData&)>) override {}
    std::vector<std::shared_ptr<IDashRepresentation>> getRepresentations() const override { return {}; }

private:
    mutable std::atomic<size_t> mCompleted{0};
    std::string mMimeType = "video/mp4";
};

// An observer on a clock the test moves; it starts 10 s after the clock's zero.
struct Scripted {
    CountingSet owner;
    TimePoint now = TimePoint() + std::chrono::seconds(10);
    DashDownloadObserver observer{&owner, [this] { return now; }};

    // One segment as the transfer reports it: start, byte counts, `ms` later the end.
    void segment(uint64_t bytes, std::chrono::microseconds took, DownloadState end = dash::network::COMPLETED) {
        observer.OnDownloadStateChanged(dash::network::IN_PROGRESS);
        observer.OnDownloadRateChanged(bytes / 2);
        observer.OnDownloadRateChanged(bytes);
        now += took;
        observer.OnDownloadStateChanged(end);
    }
};

TEST(DashDownloadObserverTest, MeasuresFromTheClocksZeroThenKeepsTheLastFiveRates) {
    Scripted s;
    EXPECT_EQ(s.observer.getState(), dash::network::NOT_STARTED);
    EXPECT_EQ(s.observer.getAverageHistoricDownloadRate(), 0);

    // The first segment is timed from the clock's zero, not from its IN_PROGRESS.
    s.segment(80000, milliseconds(500));
    EXPECT_EQ(s.observer.getLastDownloadTime(), 10500);
    EXPECT_EQ(s.observer.getLastDownloadRate(), 7 * 8000);  // 80000 / 10500 = 7

    struct Step {
        uint64_t bytes;
        int ms;
        int32_t rate;  // (bytes / ms) x 8000, low 32 bits
    };
    const Step steps[] = {
        {1000, 1, 8000000},
        {1999, 2, 999 * 8000},
        {5, 10, 0},  // less than a byte per ms
        {1000000, 1, -589934592},  // 8 000 000 000 kept in 32 bits
        {3000, 3, 8000000},
        {1, 1, 8000},
    };
    for (const Step& step : steps) {
        s.segment(step.bytes, milliseconds(step.ms));
        EXPECT_EQ(s.observer.getLastDownloadTime(), step.ms);
        EXPECT_EQ(s.observer.getLastDownloadRate(), step.rate) << step.bytes;
    }
    EXPECT_EQ(s.observer.getDownloadRateHistory(), (std::vector<int32_t>{999 * 8000, 0, -589934592, 8000000, 8000}));
    EXPECT_EQ(s.observer.getState(), dash::network::COMPLETED);
    EXPECT_EQ(s.owner.completed(), 7u);
}

TEST(DashDownloadObserverTest, SameMillisecondAndRepeatedEndsMeasureNothingButTellTheSet) {
    Scripted s;
    s.segment(16000, milliseconds(0));  // head start: 10 s
    s.segment(1000, std::chrono::microseconds(999));
    EXPECT_EQ(s.observer.getLastDownloadTime(), 0);
    EXPECT_EQ(s.observer.getLastDownloadRate(), 8000);
    s.observer.OnDownloadStateChanged(dash::network::COMPLETED);  // without a new start
    EXPECT_EQ(s.observer.getLastDownloadTime(), 0);
    EXPECT_EQ(s.observer.getDownloadRateHistory(), std::vector<int32_t>{8000});
    EXPECT_EQ(s.owner.completed(), 3u);
}

TEST(DashDownloadObserverTest, ErrorsActAsCompletedWithoutMeasuring) {
    Scripted s;
    velar_test::LogCapture log;
    s.observer.OnDownloadStateChanged(dash::network::ERROR);  // no IN_PROGRESS before it
    EXPECT_EQ(s.owner.completed(), 1u);
    EXPECT_EQ(s.observer.getState(), dash::network::ERROR);
    EXPECT_EQ(log.count("Download error, acting as if it is completed"), 1u);

    // The error ended the head start: the next segment is timed from its own start.
    s.segment(8000, milliseconds(4));
    EXPECT_EQ(s.observer.getLastDownloadTime(), 4);
    EXPECT_EQ(s.observer.getLastDownloadRate(), 2000 * 8000);
    s.segment(1000000, milliseconds(3), dash::network::ERROR);
    EXPECT_EQ(s.observer.getLastDownloadTime(), 4);
    EXPECT_EQ(s.observer.getDownloadRateHistory(), std::vector<int32_t>{2000 * 8000});
    EXPECT_EQ(s.owner.completed(), 3u);

    // Aborts and other states are only recorded.
    s.observer.OnDownloadStateChanged(dash::network::ABORTED);
    EXPECT_EQ(s.observer.getState(), dash::network::ABORTED);
    EXPECT_EQ(s.owner.completed(), 3u);

    DashDownloadObserver alone(nullptr);  // nobody to tell
    alone.OnDownloadStateChanged(dash::network::COMPLETED);
    alone.OnDownloadStateChanged(dash::network::ERROR);
    EXPECT_EQ(alone.getState(), dash::network::ERROR);
}

TEST(DashDownloadObserverTest, AverageIsTruncated) {
    Scripted s;
    s.observer.OnDownloadStateChanged(dash::network::ERROR);  // drop the head start
    for (uint64_t bytes : {1, 2, 4}) {
        s.segment(bytes, milliseconds(1));
    }
    EXPECT_EQ(s.observer.getAverageHistoricDownloadRate(), 18666);  // 56000 / 3
}

// Stands in for a slow link: attached after the observer under test, it holds the transfer thread
// for 3 ms once the transfer has started, so that even a loopback transfer lasts whole milliseconds.
class SlowLink : public dash::network::IDownloadObserver {
public:
    void OnDownloadRateChanged(uint64_t) override {}
    void OnDownloadStateChanged(DownloadState state) override {
        if (state == dash::network::IN_PROGRESS) std::this_thread::sleep_for(milliseconds(3));
    }
};

// Real transfers: the observer attached to segments served by nginx on loopback.
class DashDownloadObserverNetTest : public velar_test::NetworkTest {
protected:
    void SetUp() override { requireNginx(); }

    // Downloads `url` (`range`) through a segment watched by `observer` until the set is told.
    void download(DashDownloadObserver& observer, const CountingSet& owner, const std::string& url,
                  const std::string& range = std::string(), dash::network::IDownloadObserver* pacer = nullptr) {
        const size_t before = owner.completed();
        mpd::Segment segment;
        ASSERT_TRUE(segment.Init(url, {}, "", range, mpd::TransactionType::MediaSegment));
        segment.SetDownloadOptions(quickOptions());
        segment.AttachDownloadObserver(&observer);
        if (pacer != nullptr) segment.AttachDownloadObserver(pacer);
        ASSERT_TRUE(segment.StartDownload());
        ASSERT_TRUE(velar_test::waitFor([&] { return owner.completed() == before + 1; }, std::chrono::seconds(30)))
            << url;
    }
};

TEST_F(DashDownloadObserverNetTest, MeasuresRealSegments) {
    // 262144 bytes: even in 1 ms the rate (2 097 152 000) fits in 31 bits.
    const uint64_t bytes = 262144;
    const std::string url = nginx().url("blob.bin");
    const std::string range = "0-" + std::to_string(bytes - 1);
    CountingSet owner;
    DashDownloadObserver observer(&owner);
    SlowLink slow;

    const int64_t uptimeMs =
        std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
    download(observer, owner, url, range);
    EXPECT_EQ(observer.getState(), dash::network::COMPLETED);
    EXPECT_EQ(observer.getDownloadRateHistory().size(), 1u);
    if (uptimeMs < INT32_MAX) {  // the head start's milliseconds still fit in 32 bits
        const int32_t time = observer.getLastDownloadTime();
        EXPECT_GE(time, uptimeMs);
        EXPECT_EQ(observer.getLastDownloadRate(), static_cast<int32_t>(bytes / uint64_t(time) * 8000));
    }

    // Later segments are timed from their own start.
    for (size_t measured = 2; measured <= 3; ++measured) {
        download(observer, owner, url, range, &slow);
        EXPECT_EQ(observer.getState(), dash::network::COMPLETED);
        const int32_t time = observer.getLastDownloadTime();
        EXPECT_GE(time, 3);
        EXPECT_LT(time, 30000);
        EXPECT_GT(observer.getLastDownloadRate(), 0);
        EXPECT_EQ(observer.getLastDownloadRate(), static_cast<int32_t>(bytes / uint64_t(time) * 8000));
        ASSERT_EQ(observer.getDownloadRateHistory().size(), measured);
        EXPECT_EQ(observer.getDownloadRateHistory().back(), observer.getLastDownloadRate());
    }
    EXPECT_EQ(owner.completed(), 3u);
}

TEST_F(DashDownloadObserverNetTest, FailedSegmentsStillReachTheSet) {
    CountingSet owner;
    DashDownloadObserver observer(&owner);
    velar_test::LogCapture log;
    const std::string refused = "http://127.0.0.1:" + std::to_string(velar_test::freeLoopbackPort()) + "/seg.bin";
    for (const std::string& url : {nginx().url("no-such-segment.m4s"), refused}) {
        download(observer, owner, url);
        EXPECT_EQ(observer.getState(), dash::network::ERROR) << url;
    }
    EXPECT_EQ(owner.completed(), 2u);
    EXPECT_EQ(log.count("Download error, acting as if it is completed"), 2u);
    EXPECT_TRUE(observer.getDownloadRateHistory().empty());
}

}  // namespace
}  // namespace dash
