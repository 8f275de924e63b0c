// DashAdaptationSet, segment queue: downloads one at a time from a real nginx on loopback (init
// segment first), the ordered queue, seeks around and into it, a change of play direction, empty
// downloads and destruction with a download in flight. Real factory, observer and representations.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AdaptationSetRig.h"
#include "FaultServer.h"
#include "LogCapture.h"
#include "MpdText.h"
#include "NginxServer.h"
#include "ScratchDir.h"
#include "WaitFor.h"
#include "dash/DashAdaptationSet.h"
#include "dash/DashException.h"

namespace {

using dash::DashAdaptationSet;
using dash::DashQueuedSegment;
using std::chrono::seconds;

// One video Representation (360 lines, 500 kbit/s) of four 2 s segments s0..s3.m4s after
// init.mp4, every URL relative to the MPD; `query` is appended to the init segment's URL.
std::string listMpd(const std::string& initQuery = std::string()) {
    std::string x =
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT8S\" "
        "minBufferTime=\"PT2S\"><Period><AdaptationSet mimeType=\"video/mp4\">"
        "<Representation id=\"v\" bandwidth=\"500000\" width=\"640\" height=\"360\">"
        "<SegmentList timescale=\"1000\" duration=\"2000\"><Initialization sourceURL=\"init.mp4" +
        initQuery + "\"/>";
    for (int i = 0; i < 4; ++i) {
        x += "<SegmentURL media=\"s" + std::to_string(i) + ".m4s\"/>";
    }
    return x + "</SegmentList></Representation></AdaptationSet></Period></MPD>";
}

class DashSegmentQueue : public ::testing::Test {
protected:
    void SetUp() override {
        if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
        mRoot.write("init.mp4", velar_test::patternBytes(700, 99));
        for (int i = 0; i < 4; ++i) {
            mSegments.push_back(velar_test::patternBytes(3000 + 100 * i, i + 1));
            mRoot.write("s" + std::to_string(i) + ".m4s", mSegments.back());
        }
        mServer = std::make_unique<velar_test::NginxServer>(mRoot.path());
        mMpd = velar_test::parseMpd(listMpd(), mServer->url("manifest.mpd"));
    }

    std::shared_ptr<DashAdaptationSet> makeSet() {
        return std::make_shared<DashAdaptationSet>(mMpd, std::vector<dash::mpd::IBaseUrl*>{mMpd->GetMPDPathBaseUrl()},
                                                   "video/mp4", velar_test::adaptationSetFactory());
    }

    // Waits for a started download as the downloader does and processes it. False when there was
    // nothing to download.
    static bool finish(DashAdaptationSet& set, std::future<bool> done) {
        if (done.wait_for(seconds(10)) != std::future_status::ready) {
            ADD_FAILURE() << "download did not finish";
            return false;
        }
        if (!done.get()) return false;
        set.processCompleteSegment();
        return true;
    }
    static bool cycle(DashAdaptationSet& set) { return finish(set, set.downloadNextSegment()); }

    // Takes every queued segment; their positions in the order handed out.
    static std::vector<uint64_t> drain(DashAdaptationSet& set) {
        std::vector<uint64_t> out;
        for (DashQueuedSegment s; set.getBufferedSegment(s);) out.push_back(s.posMs);
        return out;
    }

    velar_test::ScratchDir mRoot{"aset-site"};
    std::vector<std::vector<uint8_t>> mSegments;
    std::unique_ptr<velar_test::NginxServer> mServer;
    std::shared_ptr<dash::mpd::IMPD> mMpd;
};

TEST_F(DashSegmentQueue, InitSegmentFirstThenSegmentsQueuedInOrder) {
    auto set = makeSet();
    std::vector<int> ready;
    set->setSegmentReadyCallback([&](int size) { ready.push_back(size); });
    velar_test::LogCapture log;

    ASSERT_TRUE(cycle(*set));
    const auto data = set->getCurrentRepresentation();
    EXPECT_EQ(velar_test::patternBytes(700, 99), data->initBuffer);
    EXPECT_TRUE(log.contains("Init segment:" + mServer->url("init.mp4")));

    for (int i = 0; i < 4; ++i) ASSERT_TRUE(cycle(*set));
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4}), ready);
    EXPECT_TRUE(log.contains("Fetching url " + mServer->url("s2.m4s") + " segmentStartTime:4000"));
    EXPECT_TRUE(log.contains("Dash download completed video/mp4, 4 segments remain in buffer just pushed 6000"));
    EXPECT_TRUE(set->endOfSegments());
    std::future<bool> none = set->downloadNextSegment();
    ASSERT_EQ(std::future_status::ready, none.wait_for(seconds(0)));
    EXPECT_FALSE(none.get());

    for (uint64_t i = 0; i < 4; ++i) {
        DashQueuedSegment s;
        ASSERT_TRUE(set->getBufferedSegment(s));
        EXPECT_EQ(mSegments[i], s.data);
        EXPECT_EQ(data, s.representation);
        EXPECT_EQ((std::vector<uint64_t>{i * 2000, 2000, 360, 500000}),
                  (std::vector<uint64_t>{s.posMs, s.durationMs, s.resolution, s.bandwidth}));
    }
    DashQueuedSegment empty;
    EXPECT_FALSE(set->getBufferedSegment(empty));
    EXPECT_TRUE(log.contains("No queued segments"));
}

TEST_F(DashSegmentQueue, SeekAroundWithinAndIntoTheQueue) {
    const std::string cache = "Seeking on video/mp4 within cache to position ";
    const struct {
        uint64_t start;   // sought first, on the fresh set
        int cycles;       // downloads then (the first is the init segment)
        bool inFlight;    // one more download started, processed after the seek
        uint64_t target;
        uint64_t answer;
        std::string log;  // the seek's one line
        bool discarded;   // the download in flight was thrown away
        std::vector<uint64_t> queued;  // after one more download
    } cases[] = {
        {2000, 3, false, 4000, 2000, cache + "4000, New front is 2000", false, {2000, 4000, 6000}},
        {2000, 3, false, 5999, 4000, cache + "5999, New front is 4000", false, {4000, 6000}},
        {2000, 3, false, 1000, 0, "Seeking on video/mp4 to position 1000, seeking backwards. Remove all segments", false, {0}},
        {2000, 3, false, 6000, 6000, "Seeking on video/mp4 to position 6000, seeking forwards. Remove all segments", false, {6000}},
        {0, 1, true, 1500, 1500, "Seeking on video/mp4 to segment at position 1500 that is downloading already", false, {0, 2000}},
        {0, 1, true, 5000, 4000, "Seeking on video/mp4 to position 5000, No queued segments", true, {4000}},
        // The init segment is kept and does not cost the first segment after the seek.
        {0, 0, true, 5000, 4000, "Seeking on video/mp4 to position 5000, No queued segments", false, {4000}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        auto set = makeSet();
        EXPECT_EQ(c.start, set->seek(c.start));
        for (int i = 0; i < c.cycles; ++i) ASSERT_TRUE(cycle(*set));
        std::future<bool> inFlight;
        if (c.inFlight) inFlight = set->downloadNextSegment();
        velar_test::LogCapture log;
        EXPECT_EQ(c.answer, set->seek(c.target));
        EXPECT_EQ((std::vector<std::string>{c.log}), log.messages());
        if (c.inFlight) {
            ASSERT_TRUE(finish(*set, std::move(inFlight)));
        }
        ASSERT_TRUE(cycle(*set));
        EXPECT_EQ(c.discarded, log.contains("Discarding segment at posMs: 0"));
        EXPECT_EQ(c.queued, drain(*set));
    }
}

TEST_F(DashSegmentQueue, DirectionChangeEmptiesTheQueueAndResumesAtTheLastSegmentHandedOut) {
    auto set = makeSet();
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(cycle(*set));  // init, 0, 2000, 4000
    DashQueuedSegment s;
    ASSERT_TRUE(set->getBufferedSegment(s));
    ASSERT_TRUE(set->getBufferedSegment(s));
    ASSERT_EQ(2000u, s.posMs);
    std::future<bool> inFlight = set->downloadNextSegment();  // the segment at 6000

    velar_test::LogCapture log;
    set->setTrickMode(-2000);
    EXPECT_EQ(0u, set->getNumberOfBufferedSegments());
    EXPECT_TRUE(log.contains("Seeking on video/mp4 to position 2000, No queued segments"));
    ASSERT_TRUE(finish(*set, std::move(inFlight)));
    EXPECT_TRUE(log.contains("Discarding segment at posMs: 6000"));

    // Backwards from one past the re-sought segment; the back of the queue comes first.
    ASSERT_TRUE(cycle(*set));
    ASSERT_TRUE(cycle(*set));
    EXPECT_EQ((std::vector<uint64_t>{4000, 2000}), drain(*set));
    set->setTrickMode(0);  // forwards again, rate kept
    EXPECT_EQ(0u, set->getNumberOfBufferedSegments());
}

TEST_F(DashSegmentQueue, EmptyDownloadIsABadConnectionUnlessDiscarded) {
    ASSERT_EQ(0, std::remove((mRoot.path() + "/s1.m4s").c_str()));  // nginx answers 404
    auto set = makeSet();
    ASSERT_TRUE(cycle(*set));  // init
    ASSERT_TRUE(cycle(*set));  // 0
    velar_test::LogCapture log;
    try {
        cycle(*set);  // 2000: 404
        ADD_FAILURE() << "accepted";
    } catch (const dash::DashException& e) {
        EXPECT_EQ(dash::FAIL_BAD_CONNECTION, e.getDownloadStatus());
        EXPECT_STREQ("Dash Download Error: FAIL_BAD_CONNECTION Empty segment.", e.what());
    }
    EXPECT_TRUE(log.contains("Segment is empty! Segment can't be empty, possible connection issue."));
    EXPECT_EQ(1u, set->getNumberOfBufferedSegments());

    // The same failure on a download a seek gave up is no error.
    EXPECT_EQ(2000u, set->seek(2000));  // past the queue: it is emptied
    std::future<bool> missing = set->downloadNextSegment();
    EXPECT_EQ(6000u, set->seek(6000));
    ASSERT_TRUE(finish(*set, std::move(missing)));
    ASSERT_TRUE(cycle(*set));
    EXPECT_EQ((std::vector<uint64_t>{6000}), drain(*set));
}

TEST(DashSegmentQueueFault, DestructionWithADownloadInFlightReturns) {
    velar_test::FaultServer server;
    auto mpd = velar_test::parseMpd(listMpd("?size=100000&amp;stall=1000"), server.url("manifest.mpd"));
    auto set = std::make_shared<DashAdaptationSet>(mpd, std::vector<dash::mpd::IBaseUrl*>{mpd->GetMPDPathBaseUrl()},
                                                   "video/mp4", velar_test::adaptationSetFactory());
    std::future<bool> stalled = set->downloadNextSegment();
    ASSERT_TRUE(velar_test::waitFor([&] { return !server.requestRanges("/init.mp4").empty(); }));
    std::future<void> destroyed = std::async(std::launch::async, [&] { set.reset(); });
    ASSERT_EQ(std::future_status::ready, destroyed.wait_for(seconds(5)));
    ASSERT_EQ(std::future_status::ready, stalled.wait_for(seconds(0)));
    EXPECT_FALSE(stalled.get());
}

}  // namespace
