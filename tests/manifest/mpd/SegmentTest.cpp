#include "manifest/mpd/Segment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "WaitFor.h"
#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/UrlResolver.h"

using namespace dash::mpd;
using dash::network::DownloadState;

namespace {

// Records what a transfer reports, from the transfer's thread.
class RecordingObserver : public dash::network::IDownloadObserver {
public:
    void OnDownloadRateChanged(uint64_t bytes) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mLastBytes = bytes;
    }
    void OnDownloadStateChanged(DownloadState state) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mStates.push_back(state);
    }
    std::vector<DownloadState> states() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mStates;
    }
    uint64_t lastBytes() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mLastBytes;
    }
    bool finished() const {
        for (DownloadState s : states()) {
            if (s == dash::network::COMPLETED || s == dash::network::ERROR || s == dash::network::ABORTED) return true;
        }
        return false;
    }

private:
    mutable std::mutex mMutex;
    std::vector<DownloadState> mStates;
    uint64_t mLastBytes = 0;
};

class SegmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        mPath = std::string(VELAR_TEST_WORK_DIR) + "/manifest-segment-media.bin";
        mContent.resize(100000);
        for (size_t i = 0; i < mContent.size(); ++i) mContent[i] = static_cast<char>((i * 7 + i / 251) & 0xff);
        std::ofstream(mPath, std::ios::binary).write(mContent.data(), static_cast<std::streamsize>(mContent.size()));
        mDocument = UrlResolver::FileUrlFromPath(std::string(VELAR_TEST_WORK_DIR) + "/stream.mpd");
        mBase.reset(new BaseUrl(&mDocument, "manifest-segment-media.bin"));
    }

    std::string mPath;
    std::string mContent;
    std::string mDocument;
    std::unique_ptr<BaseUrl> mBase;
};

TEST_F(SegmentTest, InitResolvesAgainstTheFirstBaseUrlsDocument) {
    Segment segment;
    ASSERT_TRUE(segment.Init({mBase.get()}, "", " 10-19 ", TransactionType::MediaSegment));
    EXPECT_EQ(UrlResolver::FileUrlFromPath(mPath), segment.GetUrl());
    EXPECT_EQ("10-19", segment.GetRange());
    EXPECT_EQ(dash::network::NOT_STARTED, segment.GetState());
    EXPECT_FALSE(segment.WaitForCompletion(1));
    EXPECT_TRUE(segment.GetBytes().empty());
    segment.AbortDownload();  // nothing running: no effect
}

TEST_F(SegmentTest, WithoutAnyUrlNothingStarts) {
    Segment segment;
    EXPECT_FALSE(segment.Init({}, "", "", TransactionType::MediaSegment));
    EXPECT_FALSE(segment.StartDownload());
}

TEST_F(SegmentTest, DownloadsARangeAndReportsToObserversAttachedBeforeTheStart) {
    Segment segment;
    ASSERT_TRUE(segment.Init({mBase.get()}, "", "1000-2999", TransactionType::MediaSegment));
    RecordingObserver first;
    RecordingObserver detached;
    segment.AttachDownloadObserver(&first);
    segment.AttachDownloadObserver(&first);  // once only
    segment.AttachDownloadObserver(&detached);
    segment.DetachDownloadObserver(&detached);
    ASSERT_TRUE(segment.StartDownload());
    EXPECT_FALSE(segment.StartDownload());  // one transfer per segment
    ASSERT_TRUE(segment.WaitForCompletion(10000));
    ASSERT_TRUE(velar_test::waitFor([&] { return first.finished(); }));
    EXPECT_EQ(dash::network::COMPLETED, segment.GetState());
    const std::vector<uint8_t> bytes = segment.GetBytes();
    ASSERT_EQ(2000u, bytes.size());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), mContent.begin() + 1000,
                           [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }));
    const std::vector<DownloadState> states = first.states();
    ASSERT_GE(states.size(), 2u);
    EXPECT_EQ(dash::network::IN_PROGRESS, states.front());
    EXPECT_EQ(dash::network::COMPLETED, states.back());
    EXPECT_EQ(1u, std::count(states.begin(), states.end(), dash::network::COMPLETED));
    EXPECT_EQ(2000u, first.lastBytes());
    EXPECT_TRUE(detached.states().empty());
}

TEST_F(SegmentTest, MissingFileEndsInErrorOnce) {
    BaseUrl missing(&mDocument, "no-such-file.bin");
    Segment segment;
    ASSERT_TRUE(segment.Init({&missing}, "", "", TransactionType::MediaSegment));
    RecordingObserver observer;
    segment.AttachDownloadObserver(&observer);
    ASSERT_TRUE(segment.StartDownload());
    ASSERT_TRUE(segment.WaitForCompletion(10000));
    ASSERT_TRUE(velar_test::waitFor([&] { return observer.finished(); }));
    EXPECT_EQ(dash::network::ERROR, segment.GetState());
    const std::vector<DownloadState> states = observer.states();
    EXPECT_EQ(dash::network::ERROR, states.back());
    EXPECT_EQ(1u, std::count(states.begin(), states.end(), dash::network::ERROR));
}

TEST_F(SegmentTest, DestroyedRightAfterTheStartIsSafe) {
    for (int i = 0; i < 20; ++i) {
        RecordingObserver observer;
        {
            Segment segment;
            ASSERT_TRUE(segment.Init({mBase.get()}, "", "", TransactionType::MediaSegment));
            segment.AttachDownloadObserver(&observer);
            ASSERT_TRUE(segment.StartDownload());
        }  // aborts and joins
        const std::vector<DownloadState> states = observer.states();
        const size_t finals = std::count(states.begin(), states.end(), dash::network::COMPLETED) +
                              std::count(states.begin(), states.end(), dash::network::ABORTED) +
                              std::count(states.begin(), states.end(), dash::network::ERROR);
        EXPECT_LE(finals, 1u);
    }
}

}  // namespace
