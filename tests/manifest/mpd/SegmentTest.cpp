#include "manifest/mpd/Segment.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DownloadRecorder.h"
#include "ScratchDir.h"
#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/UrlResolver.h"

using namespace dash::mpd;
using dash::network::DownloadState;

namespace {

// Segments of a file:// presentation: exact bytes of a range, one final state, safe destruction.
TEST(SegmentTest, DownloadsThroughTheResolvedUrl) {
    velar_test::ScratchDir dir("segment");
    const std::vector<uint8_t> content = velar_test::patternBytes(100000);
    dir.write("media.bin", content);
    const std::string document = UrlResolver::FileUrlFromPath(dir.path() + "/stream.mpd");
    BaseUrl media(&document, "media.bin");
    BaseUrl missing(&document, "no-such-file.bin");
    Segment nowhere;
    EXPECT_FALSE(nowhere.Init({}, "", "", TransactionType::MediaSegment));
    EXPECT_FALSE(nowhere.StartDownload());

    Segment segment;
    ASSERT_TRUE(segment.Init({&media}, "", " 1000-2999 ", TransactionType::MediaSegment));
    EXPECT_EQ(UrlResolver::FileUrlFromPath(dir.path()) + "/media.bin 1000-2999", segment.GetUrl() + " " + segment.GetRange());
    velar_test::DownloadRecorder observer;
    segment.AttachDownloadObserver(&observer);
    ASSERT_TRUE(segment.StartDownload());
    EXPECT_FALSE(segment.StartDownload());  // one transfer per segment
    ASSERT_TRUE(segment.WaitForCompletion(10000));
    EXPECT_EQ(std::vector<uint8_t>(content.begin() + 1000, content.begin() + 3000), segment.GetBytes());
    EXPECT_EQ((std::vector<DownloadState>{dash::network::IN_PROGRESS, dash::network::COMPLETED}), observer.states());

    Segment failing;
    ASSERT_TRUE(failing.Init({&missing}, "", "", TransactionType::MediaSegment));
    ASSERT_TRUE(failing.StartDownload());
    ASSERT_TRUE(failing.WaitForCompletion(10000));
    EXPECT_EQ(dash::network::ERROR, failing.GetState());

    for (int i = 0; i < 20; ++i) {
        velar_test::DownloadRecorder late;
        {
            Segment gone;
            ASSERT_TRUE(gone.Init({&media}, "", "", TransactionType::MediaSegment));
            gone.AttachDownloadObserver(&late);
            ASSERT_TRUE(gone.StartDownload());
        }  // aborts and joins
        EXPECT_LE(late.states().size(), 2u);
    }
}

}  // namespace
