#include "manifest/mpd/Segment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "DownloadRecorder.h"
#include "WaitFor.h"
#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/UrlResolver.h"

using namespace dash::mpd;
using dash::network::DownloadState;

namespace {

size_t finals(const std::vector<DownloadState>& states) {
    return std::count_if(states.begin(), states.end(), [](DownloadState s) {
        return s == dash::network::COMPLETED || s == dash::network::ERROR || s == dash::network::ABORTED;
    });
}

// Segments of a file:// presentation: 100000 bytes that do not repeat with a short period.
class SegmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        mPath = std::string(VELAR_TEST_WORK_DIR) + "/manifest-segment-media.bin";
        for (size_t i = 0; i < 100000; ++i) mContent.push_back(static_cast<uint8_t>((i * 7 + i / 251) & 0xff));
        std::ofstream(mPath, std::ios::binary).write(reinterpret_cast<const char*>(mContent.data()), 100000);
        mDocument = UrlResolver::FileUrlFromPath(std::string(VELAR_TEST_WORK_DIR) + "/stream.mpd");
        mBase.reset(new BaseUrl(&mDocument, "manifest-segment-media.bin"));
    }
    std::string mPath;
    std::vector<uint8_t> mContent;
    std::string mDocument;
    std::unique_ptr<BaseUrl> mBase;
};

TEST_F(SegmentTest, InitResolvesAndNothingRunsBeforeTheStart) {
    Segment segment;
    ASSERT_TRUE(segment.Init({mBase.get()}, "", " 10-19 ", TransactionType::MediaSegment));
    EXPECT_EQ(UrlResolver::FileUrlFromPath(mPath) + " 10-19", segment.GetUrl() + " " + segment.GetRange());
    EXPECT_EQ(dash::network::NOT_STARTED, segment.GetState());
    EXPECT_FALSE(segment.WaitForCompletion(1));
    segment.AbortDownload();  // nothing running: no effect
    Segment nowhere;
    EXPECT_FALSE(nowhere.Init({}, "", "", TransactionType::MediaSegment));
    EXPECT_FALSE(nowhere.StartDownload());
}

TEST_F(SegmentTest, DownloadsARangeAndReportsInOrderToAttachedObservers) {
    Segment segment;
    ASSERT_TRUE(segment.Init({mBase.get()}, "", "1000-2999", TransactionType::MediaSegment));
    velar_test::DownloadRecorder first, detached;
    segment.AttachDownloadObserver(&first);
    segment.AttachDownloadObserver(&first);  // once only
    segment.AttachDownloadObserver(&detached);
    segment.DetachDownloadObserver(&detached);
    ASSERT_TRUE(segment.StartDownload());
    EXPECT_FALSE(segment.StartDownload());  // one transfer per segment
    ASSERT_TRUE(segment.WaitForCompletion(10000));
    ASSERT_TRUE(velar_test::waitFor([&] { return finals(first.states()) > 0; }));
    EXPECT_EQ(dash::network::COMPLETED, segment.GetState());
    EXPECT_EQ(std::vector<uint8_t>(mContent.begin() + 1000, mContent.begin() + 3000), segment.GetBytes());
    const std::vector<DownloadState> states = first.states();
    EXPECT_EQ(dash::network::IN_PROGRESS, states.front());
    EXPECT_EQ(dash::network::COMPLETED, states.back());
    EXPECT_EQ(1u, finals(states));
    EXPECT_EQ(2000u, first.lastCount());
    EXPECT_TRUE(detached.events().empty());
}

TEST_F(SegmentTest, MissingFileEndsInErrorOnce) {
    BaseUrl missing(&mDocument, "no-such-file.bin");
    Segment segment;
    ASSERT_TRUE(segment.Init({&missing}, "", "", TransactionType::MediaSegment));
    velar_test::DownloadRecorder observer;
    segment.AttachDownloadObserver(&observer);
    ASSERT_TRUE(segment.StartDownload());
    ASSERT_TRUE(segment.WaitForCompletion(10000));
    ASSERT_TRUE(velar_test::waitFor([&] { return finals(observer.states()) > 0; }));
    EXPECT_EQ(dash::network::ERROR, segment.GetState());
    EXPECT_EQ(dash::network::ERROR, observer.states().back());
    EXPECT_EQ(1u, finals(observer.states()));
}

TEST_F(SegmentTest, DestroyedRightAfterTheStartIsSafe) {
    for (int i = 0; i < 20; ++i) {
        velar_test::DownloadRecorder observer;
        {
            Segment segment;
            ASSERT_TRUE(segment.Init({mBase.get()}, "", "", TransactionType::MediaSegment));
            segment.AttachDownloadObserver(&observer);
            ASSERT_TRUE(segment.StartDownload());
        }  // aborts and joins
        EXPECT_LE(finals(observer.states()), 1u);
    }
}

}  // namespace
