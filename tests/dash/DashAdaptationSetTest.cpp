// DashAdaptationSet: the choice of representation, then the segment queue on a real nginx on loopback.
#include <dirent.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "FaultServer.h"
#include "LogCapture.h"
#include "MpdText.h"
#include "NginxServer.h"
#include "WaitFor.h"
#include "dash/DashAdaptationSet.h"
#include "dash/DashException.h"
#include "dash/DashFactory.h"
#include "manifest/mpd/MPDParser.h"

namespace {

using namespace dash;
using velar_test::parseMpd;

// A set on a real factory whose cached settings are the shipped defaults: video of 180 to 1080 lines on
// demand and 180 to 720 live, 10 buffered segments (so the installed settings file is never read).
std::shared_ptr<DashAdaptationSet> makeSet(std::shared_ptr<mpd::IMPD> m, std::string mime = "video/mp4") {
    auto factory = std::make_shared<DashFactory>();
    EXPECT_NE(nullptr, factory->getDashConfiguration(VELAR_SOURCE_DIR "/dash/dash_settings.xml"));
    return std::make_shared<DashAdaptationSet>(m, std::vector<mpd::IBaseUrl*>{m->GetMPDPathBaseUrl()}, mime, factory);
}

struct Rep { std::string id; uint32_t bandwidth, height; std::string mime = ""; };  // mime: its own @mimeType
struct Group { std::string mime, lang; std::vector<Rep> reps; };                   // "": attribute left out

std::string attr(const char* name, const std::string& value) {
    return value.empty() ? "" : " " + std::string(name) + "=\"" + value + "\"";
}

// A one-Period MPD of number-based templates, on demand (8 s) or live.
std::string mpdText(const std::vector<Group>& groups, bool live = false) {
    std::string x = "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" minBufferTime=\"PT2S\" type=";
    x += live ? "\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:00Z\" minimumUpdatePeriod=\"PT2S\"><Period>"
              : "\"static\" mediaPresentationDuration=\"PT8S\"><Period>";
    for (const Group& g : groups) {
        x += "<AdaptationSet" + attr("mimeType", g.mime) + attr("lang", g.lang) + "><SegmentTemplate timescale=\"1\" "
             "duration=\"2\" initialization=\"$RepresentationID$/i.mp4\" media=\"$RepresentationID$/$Number$.m4s\"/>";
        for (const Rep& r : g.reps) {
            x += "<Representation" + attr("id", r.id) + attr("bandwidth", std::to_string(r.bandwidth)) +
                 attr("height", std::to_string(r.height)) + attr("mimeType", r.mime) + "/>";
        }
        x += "</AdaptationSet>";
    }
    return x + "</Period></MPD>";
}

// What `f` throws as a DashException, "" when it returns.
template <typename F> std::string thrown(F f) {
    try { f(); } catch (const DashException& e) { return e.what(); }
    return "";
}

// The representations a set keeps, in order.
std::string ids(const DashAdaptationSet& set) {
    std::string out;
    for (const auto& r : set.getRepresentations()) out += (out.empty() ? "" : " ") + r->getData()->id;
    return out;
}

const Group kVideo{"video/mp4", "", {{"v400", 400000, 360}, {"v1200", 1200000, 720}, {"v800", 800000, 480}}};
const Group kFra{"audio/mp4", "fra", {{"f64", 64000, 0}}};
const Group kEng{"audio/mp4", "eng", {{"e128", 128000, 0}, {"e64", 64000, 0}}};

TEST(DashAdaptationSet, KeepsSuitableRepresentationsInOrderAndChoosesTheFirst) {
    const Group heights{"video/mp4", "", {{"1080", 4, 1080}, {"720", 3, 720}, {"180", 2, 180}, {"144", 1, 144}}};
    const Group deu{"audio/mp4", "deu", {{"d32", 32000, 0}}}, no{"audio/mp4", "", {{"e64", 64000, 0}}};
    const std::string noRep = "Dash Download Error: FAIL_INVALID_REP No representation";
    // The representations kept, in order, and the current one; or what is thrown.
    const struct { std::string mime, mpd, expected; } cases[] = {
        {"video/mp4", mpdText({heights}), "180 720 1080 / 180"},  // 180 to 1080 lines on demand,
        {"video/mp4", mpdText({heights}, true), "180 720 / 180"},   // 180 to 720 live
        {"video/mp4", mpdText({kVideo}), "v400 v800 v1200 / v400"},
        {"audio/mp4", mpdText({kFra, kEng}), "e64 e128 f64 / e64"},  // audio by language, then bandwidth;
        {"audio/mp4", mpdText({deu, no}), "d32 e64 / e64"},          // the first English one is chosen
        // A set without @mimeType: the Representation's own counts.
        {"video/mp4", mpdText({{"", "", {{"own", 500000, 360, "video/mp4"}, {"a", 64000, 360, "audio/mp4"}}}}),
         "own / own"},
        // Only the first Period counts: the second one's representation is not taken.
        {"video/mp4", [] { std::string x = mpdText({kVideo}); return x.insert(x.size() - 6,
            "<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"p2\" bandwidth=\"1\" "
            "height=\"360\"><SegmentList duration=\"1\"><SegmentURL media=\"s\"/></SegmentList>"
            "</Representation></AdaptationSet></Period>"); }(), "v400 v800 v1200 / v400"},
        // Nothing usable: video too tall or too short, an unsupported type, no Period.
        {"video/mp4", mpdText({{"video/mp4", "", {{"big", 9000000, 2160}, {"tiny", 100000, 144}}}}), noRep},
        {"text/vtt", mpdText({{"text/vtt", "", {{"t", 1000, 0}}}}), noRep},
        {"video/mp4", "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" mediaPresentationDuration=\"PT8S\"/>",
         "Dash Download Error: FAIL_INVALID_MPD Unknown reason"},
    };
    for (const auto& c : cases) {
        std::string kept;
        const std::string what = thrown([&] {
            auto set = makeSet(parseMpd(c.mpd), c.mime);
            kept = ids(*set) + " / " + set->getCurrentRepresentation()->id;
        });
        EXPECT_EQ(c.expected, what + kept) << c.mpd;
    }
}

TEST(DashAdaptationSet, AdjustmentKinds) {
    const std::string refused = "Dash Download Error: FAIL_UNKNOWN_ERROR Unhandled Adjustmentv800";
    const struct { int32_t kind, bandwidth; std::string current; } cases[] = {  // from v800: thrown + current
        {0, 5000000, "v400"}, {1, 900000, "v800"}, {3, 1200000, "v1200"}, {4, 0, "v1200"}, {2, 5000000, "v800"},
        {1, 399999, "v400"}, {3, -5, "v400"}, {5, 0, refused}, {-1, 0, refused},  // none affordable: the first
    };
    for (const auto& c : cases) {
        auto set = makeSet(parseMpd(mpdText({kVideo})));
        set->changeRepresentation(DashAbrAdjustment{1, 800000});
        const std::string what = thrown([&] { set->changeRepresentation(DashAbrAdjustment{c.kind, c.bandwidth}); });
        EXPECT_EQ(c.current, what + set->getCurrentRepresentation()->id) << c.kind;
    }
    auto audio = makeSet(parseMpd(mpdText({kFra, kEng})), "audio/mp4");
    audio->changeRepresentation(DashAbrAdjustment{3, 200000});  // outside video only English: "f64" comes last
    EXPECT_EQ("e128", audio->getCurrentRepresentation()->id);
}

TEST(DashAdaptationSet, RefreshedMpdUpdatesInPlaceAndAddsNewRepresentations) {
    auto set = makeSet(parseMpd(mpdText({{"video/mp4", "", {{"v400", 400000, 360}, {"v800", 800000, 480}}}})));
    set->changeRepresentation(DashAbrAdjustment{4, 0});
    const auto v800 = set->getRepresentation();
    auto next =
        parseMpd(mpdText({{"video/mp4", "", {{"v800", 700000, 480}, {"v900", 900000, 720}, {"v600", 600000, 360}}}}));
    set->initAdaptationSet(next, {next->GetMPDPathBaseUrl()});
    EXPECT_EQ("v400 v600 v800 v900", ids(*set));
    EXPECT_EQ(v800, set->getRepresentation());
    EXPECT_EQ(700000u, set->getCurrentRepresentation()->bandwidth);
    set->changeRepresentation(DashAbrAdjustment{0, 0});  // not listed any more: still works on its released MPD
    EXPECT_EQ("http://127.0.0.1/media/v400/i.mp4", set->getRepresentation()->getInitSegment()->GetUrl());
}

// One 360-line 500 kbit/s video Representation: init.mp4<initQuery>, 2 s segments s0..s4.m4s (no s4 on the site).
std::string listMpd(const std::string& initQuery = "") {
    std::string x = "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT10S\" "
                    "minBufferTime=\"PT2S\"><Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"v\" "
                    "bandwidth=\"500000\" height=\"360\"><SegmentList timescale=\"1000\" duration=\"2000\">"
                    "<Initialization sourceURL=\"init.mp4" + initQuery + "\"/>";
    for (int i = 0; i < 5; ++i) x += "<SegmentURL media=\"s" + std::to_string(i) + ".m4s\"/>";
    return x + "</SegmentList></Representation></AdaptationSet></Period></MPD>";
}

std::vector<uint8_t> bytes(int i) { return velar_test::patternBytes(3000 + 100 * i, i + 2); }  // -1: init segment

struct DashSegmentQueue : ::testing::Test {
    void SetUp() override {
        if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
        for (int i = -1; i < 4; ++i) mRoot.write(i < 0 ? "init.mp4" : "s" + std::to_string(i) + ".m4s", bytes(i));
        mServer = std::make_unique<velar_test::NginxServer>(mRoot.path());
        mMpd = parseMpd(listMpd(), mServer->url("manifest.mpd"));
    }
    // Waits for a started download as the downloader does and processes it; false when there was none.
    static bool finish(DashAdaptationSet& set, std::future<bool> done) {
        if (done.wait_for(std::chrono::seconds(10)) != std::future_status::ready || !done.get()) return false;
        set.processCompleteSegment();
        return true;
    }
    static bool cycle(DashAdaptationSet& set) { return finish(set, set.downloadNextSegment()); }
    static std::vector<uint64_t> drain(DashAdaptationSet& set) {
        std::vector<uint64_t> out;
        for (DashQueuedSegment s; set.getBufferedSegment(s);) out.push_back(s.posMs);
        return out;
    }
    velar_test::ScratchDir mRoot{"aset-site"};
    std::unique_ptr<velar_test::NginxServer> mServer;
    std::shared_ptr<dash::mpd::IMPD> mMpd;
};

TEST_F(DashSegmentQueue, InitSegmentFirstThenSegmentsQueuedInOrderUntilAnEmptyDownload) {
    auto set = makeSet(mMpd);
    int ready = 0;
    set->setSegmentReadyCallback([&](int) { ++ready; });
    ASSERT_TRUE(cycle(*set));
    const auto data = set->getCurrentRepresentation();
    EXPECT_EQ(bytes(-1), data->initBuffer);
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(cycle(*set));
    EXPECT_EQ(4, ready);
    // nginx answers 404 for the last one: nothing is queued.
    EXPECT_EQ("Dash Download Error: FAIL_BAD_CONNECTION Empty segment.", thrown([&] { cycle(*set); }));
    for (uint64_t i = 0; i < 4; ++i) {
        DashQueuedSegment s;
        ASSERT_TRUE(set->getBufferedSegment(s));
        EXPECT_EQ(bytes(i), s.data);
        EXPECT_EQ(data, s.representation);
        EXPECT_EQ((std::vector<uint64_t>{i * 2000, 2000, 360, 500000}),
                  (std::vector<uint64_t>{s.posMs, s.durationMs, s.resolution, s.bandwidth}));
    }
    EXPECT_EQ(std::vector<uint64_t>{}, drain(*set));  // empty: false without blocking
}

TEST_F(DashSegmentQueue, SeekAroundWithinAndIntoTheQueue) {
    const std::string cache = "Seeking on video/mp4 within cache to position ";
    const std::string to = "Seeking on video/mp4 to ";
    // A fresh set sought to `start` runs `cycles` downloads (the first is the init segment), maybe starts
    // one more (processed after the seek), is sought to `target`: the answer, the seek's one log line, and
    // what is queued after one more download (a download in flight that the seek gave up is not).
    const struct {
        uint64_t start; int cycles; bool inFlight; uint64_t target, answer; std::string log;
        std::vector<uint64_t> queued;
    } cases[] = {
        {2000, 3, false, 4000, 2000, cache + "4000, New front is 2000", {2000, 4000, 6000}},  // end of the front
        {2000, 3, false, 5999, 4000, cache + "5999, New front is 4000", {4000, 6000}},
        {2000, 3, false, 1000, 0, to + "position 1000, seeking backwards. Remove all segments", {0}},
        {0, 1, true, 1500, 1500, to + "segment at position 1500 that is downloading already", {0, 2000}},
        {0, 1, true, 5000, 4000, to + "position 5000, No queued segments", {4000}},
        {0, 0, true, 5000, 4000, to + "position 5000, No queued segments", {4000}},  // init segment in flight: kept
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.log);
        auto set = makeSet(mMpd);
        EXPECT_EQ(c.start, set->seek(c.start));
        for (int i = 0; i < c.cycles; ++i) ASSERT_TRUE(cycle(*set));
        std::future<bool> inFlight = c.inFlight ? set->downloadNextSegment() : std::future<bool>();
        velar_test::LogCapture log;
        EXPECT_EQ(c.answer, set->seek(c.target));
        EXPECT_EQ((std::vector<std::string>{c.log}), log.messages());
        ASSERT_TRUE(!c.inFlight || finish(*set, std::move(inFlight)));
        ASSERT_TRUE(cycle(*set));
        EXPECT_EQ(c.queued, drain(*set));
    }
}

TEST_F(DashSegmentQueue, DirectionChangeEmptiesTheQueueAndResumesAtTheLastSegmentHandedOut) {
    auto set = makeSet(mMpd);
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(cycle(*set));  // init, 0, 2000, 4000
    DashQueuedSegment s;
    ASSERT_TRUE(set->getBufferedSegment(s) && set->getBufferedSegment(s));  // 0 and 2000 handed out
    std::future<bool> inFlight = set->downloadNextSegment();                // the segment at 6000
    set->setTrickMode(-2000);  // the queue (4000) is emptied, the download in flight discarded
    ASSERT_TRUE(finish(*set, std::move(inFlight)));
    // Backwards from one past the segment re-sought (2000); the back of the queue comes first.
    ASSERT_TRUE(cycle(*set) && cycle(*set));
    EXPECT_EQ((std::vector<uint64_t>{4000, 2000}), drain(*set));
}

TEST(DashSegmentQueueFault, DestructionWithADownloadInFlightReturns) {
    velar_test::FaultServer server;
    auto set = makeSet(parseMpd(listMpd("?size=100000&amp;stall=1000"), server.url("manifest.mpd")));
    std::future<bool> stalled = set->downloadNextSegment();
    ASSERT_TRUE(velar_test::waitFor([&] { return !server.requestRanges("/init.mp4").empty(); }));
    std::future<void> destroyed = std::async(std::launch::async, [&] { set.reset(); });
    ASSERT_EQ(std::future_status::ready, destroyed.wait_for(std::chrono::seconds(5)));
    ASSERT_EQ(std::future_status::ready, stalled.wait_for(std::chrono::seconds(0)));
    EXPECT_FALSE(stalled.get());
}

// A media segment whose transfer breaks off (connection closed or reset after part of the body) fails as an empty
// one: the part that arrived is never queued as if it were the segment.
TEST(DashSegmentQueueFault, SegmentCutShortIsNotQueued) {
    velar_test::FaultServer server;
    for (const char* fault : {"truncate=5000", "reset=5000"}) {
        const std::string mpd = "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT4S\">"
                                "<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"v\" bandwidth=\"500000\" "
                                "height=\"360\"><SegmentList timescale=\"1000\" duration=\"2000\"><Initialization "
                                "sourceURL=\"init.mp4?size=1000\"/><SegmentURL media=\"s0.m4s?size=100000&amp;" +
                                std::string(fault) + "\"/><SegmentURL media=\"s1.m4s\"/></SegmentList></Representation>"
                                "</AdaptationSet></Period></MPD>";
        auto set = makeSet(parseMpd(mpd, server.url("manifest.mpd")));
        velar_test::LogCapture log;
        ASSERT_TRUE(DashSegmentQueue::cycle(*set)) << fault;  // the init segment
        EXPECT_EQ("Dash Download Error: FAIL_BAD_CONNECTION Empty segment.", thrown([&] { DashSegmentQueue::cycle(*set); }))
            << fault;
        EXPECT_EQ(0u, set->getNumberOfBufferedSegments()) << fault;
        EXPECT_TRUE(log.containsFragment("Segment download failed after ")) << fault;
    }
}

// Third-party MPDs (../shared/mpd-corpus, when present) through the engine: every set built from them
// answers position queries, seeks and walks of its representations without a crash or a sanitizer
// report. The only failures allowed are DashException and the standard errors the number parsing and
// the SegmentList cursor raise.
TEST(DashAdaptationSetCorpusTest, RealManifestsNeverTakeTheEngineDown) {
    const std::string dir = VELAR_SOURCE_DIR "/../shared/mpd-corpus";
    std::vector<std::string> files;
    if (DIR* listing = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            const std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".mpd") == 0) files.push_back(name);
        }
        closedir(listing);
    }
    if (files.empty()) GTEST_SKIP() << "no MPDs in " << dir;
    int sets = 0;
    for (const std::string& file : files) {
        std::ifstream in(dir + "/" + file, std::ios::binary);
        const std::string xml((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        auto m = mpd::MPDParser::Parse(xml.data(), xml.size(), "http://127.0.0.1/corpus/" + file, 1700000000);
        if (m == nullptr) continue;  // refused by the parser, whose own tests cover it
        for (const char* mime : {"video/mp4", "audio/mp4"}) {
            std::shared_ptr<DashAdaptationSet> set;
            try { set = makeSet(m, mime); } catch (const DashException&) { continue; } catch (const std::logic_error&) { continue; }
            ++sets;
            for (const auto& rep : set->getRepresentations()) {
                try {
                    rep->getInitSegment();
                    uint64_t position = 5000, duration = 0;
                    rep->findSegmentPosition(position, duration);
                    rep->seek(0);
                    for (int i = 0; i < 3 && rep->getNextSegment(true) != nullptr; ++i) {}
                } catch (const DashException&) {
                } catch (const std::logic_error&) {
                }
            }
        }
    }
    EXPECT_GE(sets, 20) << files.size() << " files";
}

}  // namespace
