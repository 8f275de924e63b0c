// DashAdaptationSet, representation choice: which Representations of the MPD a set keeps, their
// order, the first choice, the adjustment kinds and a refreshed MPD. Real factory, real
// representations, MPDs parsed by the manifest library; the settings are AdaptationSetRig's
// (video 180 to 720 lines on demand, 180 to 480 live).
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "AdaptationSetRig.h"
#include "LogCapture.h"
#include "MpdText.h"
#include "dash/DashAdaptationSet.h"
#include "dash/DashException.h"

namespace {

using dash::DashAbrAdjustment;
using dash::DashAdaptationSet;
using dash::DashException;

struct Rep {
    std::string id;
    uint32_t bandwidth;
    uint32_t height;
    std::string mime = {};  // the Representation's own @mimeType, empty for none
};

struct Group {
    std::string mime;  // AdaptationSet@mimeType, empty for none
    std::string lang;  // AdaptationSet@lang, empty for none
    std::vector<Rep> reps;
};

// A one-Period MPD of number-based templates, on demand (8 s) or live.
std::string mpdText(const std::vector<Group>& groups, bool live = false) {
    std::ostringstream x;
    x << "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" minBufferTime=\"PT2S\" "
      << (live ? "type=\"dynamic\" availabilityStartTime=\"2023-11-14T22:13:00Z\" minimumUpdatePeriod=\"PT2S\""
               : "type=\"static\" mediaPresentationDuration=\"PT8S\"")
      << "><Period id=\"p\" start=\"PT0S\">";
    for (const Group& g : groups) {
        x << "<AdaptationSet" << (g.mime.empty() ? "" : " mimeType=\"" + g.mime + "\"")
          << (g.lang.empty() ? "" : " lang=\"" + g.lang + "\"") << ">"
          << "<SegmentTemplate timescale=\"1\" duration=\"2\" startNumber=\"1\" "
             "initialization=\"$RepresentationID$/init.mp4\" media=\"$RepresentationID$/$Number$.m4s\"/>";
        for (const Rep& r : g.reps) {
            x << "<Representation id=\"" << r.id << "\" bandwidth=\"" << r.bandwidth << "\" height=\"" << r.height
              << "\" width=\"" << r.height * 16 / 9 << "\"" << (r.mime.empty() ? "" : " mimeType=\"" + r.mime + "\"")
              << "/>";
        }
        x << "</AdaptationSet>";
    }
    x << "</Period></MPD>";
    return x.str();
}

std::shared_ptr<DashAdaptationSet> makeSet(std::shared_ptr<dash::mpd::IMPD> mpd, const std::string& mime) {
    return std::make_shared<DashAdaptationSet>(mpd, std::vector<dash::mpd::IBaseUrl*>{mpd->GetMPDPathBaseUrl()},
                                               mime, velar_test::adaptationSetFactory());
}

std::vector<std::string> ids(const DashAdaptationSet& set) {
    std::vector<std::string> out;
    for (const auto& r : set.getRepresentations()) {
        out.push_back(r->getData()->id);
    }
    return out;
}

const Group kVideo{"video/mp4", "", {{"v400", 400000, 360}, {"v1200", 1200000, 720}, {"v800", 800000, 480}}};

TEST(DashAdaptationSet, KeepsSuitableRepresentationsInOrderAndChoosesTheFirst) {
    const std::vector<Rep> heights = {{"h1080", 5000000, 1080}, {"h720", 3000000, 720},
                                      {"h480", 1500000, 480},   {"h180", 300000, 180},
                                      {"h144", 200000, 144}};
    const struct {
        const char* name;
        std::string mime;
        bool live;
        std::vector<Group> groups;
        std::vector<std::string> order;
        std::string current;
    } cases[] = {
        {"on demand: 180 to 720 lines", "video/mp4", false, {{"video/mp4", "", heights}}, {"h180", "h480", "h720"}, "h180"},
        {"live: 180 to 480 lines", "video/mp4", true, {{"video/mp4", "", heights}}, {"h180", "h480"}, "h180"},
        {"by bandwidth", "video/mp4", false, {kVideo}, {"v400", "v800", "v1200"}, "v400"},
        {"audio by language, then bandwidth", "audio/mp4", false,
         {{"audio/mp4", "fra", {{"f64", 64000, 0}}}, {"audio/mp4", "eng", {{"e128", 128000, 0}, {"e64", 64000, 0}}}},
         {"e64", "e128", "f64"}, "e64"},
        {"audio: the set's language before the first", "audio/mp4", false,
         {{"audio/mp4", "deu", {{"d32", 32000, 0}}}, {"audio/mp4", "", {{"e64", 64000, 0}}}}, {"d32", "e64"}, "e64"},
        {"the Representation's own MIME type", "video/mp4", false,
         {{"", "", {{"own", 500000, 360, "video/mp4"}, {"aud", 64000, 360, "audio/mp4"}}},
          {"audio/mp4", "", {{"other", 100000, 360}}}},
         {"own"}, "own"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto set = makeSet(velar_test::parseMpd(mpdText(c.groups, c.live)), c.mime);
        EXPECT_EQ(c.order, ids(*set));
        EXPECT_EQ(c.current, set->getCurrentRepresentation()->id);
        EXPECT_EQ(c.mime, set->getMimeType());
    }
}

TEST(DashAdaptationSet, AdjustmentKinds) {
    const struct {
        int32_t action;
        int32_t bandwidth;
        std::string chosen;  // empty: refused
        std::string log;     // the "Adjust : " line, empty: none
    } cases[] = {
        {0, 5000000, "v400", "Adjust : 0 Estimated bandwidth: 5000000 Resolution : 360 Bandwidth : 400000"},
        {1, 900000, "v800", "Adjust : 1 Estimated bandwidth: 900000 Resolution : 480 Bandwidth : 800000"},
        {3, 1200000, "v1200", "Adjust : 3 Estimated bandwidth: 1200000 Resolution : 720 Bandwidth : 1200000"},
        {1, 399999, "v400", "Adjust : 1 Estimated bandwidth: 399999 Resolution : 360 Bandwidth : 400000"},
        {3, -5, "v400", "Adjust : 3 Estimated bandwidth: 0 Resolution : 360 Bandwidth : 400000"},
        {2, 5000000, "v800", ""},
        {4, 0, "v1200", "Adjust : 4 Estimated bandwidth: 0 Resolution : 720 Bandwidth : 1200000"},
        {5, 0, "", ""},
        {-1, 0, "", ""},
    };
    auto mpd = velar_test::parseMpd(mpdText({kVideo}));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.action);
        auto set = makeSet(mpd, "video/mp4");
        set->changeRepresentation(DashAbrAdjustment{1, 800000});
        velar_test::LogCapture log;
        if (c.chosen.empty()) {
            try {
                set->changeRepresentation(DashAbrAdjustment{c.action, c.bandwidth});
                ADD_FAILURE() << "accepted";
            } catch (const DashException& e) {
                EXPECT_EQ(dash::FAIL_UNKNOWN_ERROR, e.getDownloadStatus());
                EXPECT_STREQ("Dash Download Error: FAIL_UNKNOWN_ERROR Unhandled Adjustment", e.what());
            }
            EXPECT_EQ("v800", set->getCurrentRepresentation()->id);
        } else {
            set->changeRepresentation(DashAbrAdjustment{c.action, c.bandwidth});
            EXPECT_EQ(c.chosen, set->getCurrentRepresentation()->id);
        }
        if (!c.log.empty()) {
            EXPECT_EQ(1u, log.count(c.log));
        }
        EXPECT_EQ(!c.log.empty(), log.containsFragment("Adjust : "));
    }

    // Outside video the language counts too: the highest affordable English representation.
    auto audio = makeSet(velar_test::parseMpd(mpdText({{"audio/mp4", "eng", {{"e64", 64000, 0}, {"e128", 128000, 0}}},
                                                        {"audio/mp4", "fra", {{"f96", 96000, 0}}}})),
                         "audio/mp4");
    audio->changeRepresentation(DashAbrAdjustment{3, 100000});
    EXPECT_EQ("e64", audio->getCurrentRepresentation()->id);
    audio->changeRepresentation(DashAbrAdjustment{3, 1000000});
    EXPECT_EQ("e128", audio->getCurrentRepresentation()->id);
}

TEST(DashAdaptationSet, RefreshedMpdUpdatesInPlaceAndAddsNewRepresentations) {
    auto first = velar_test::parseMpd(mpdText({{"video/mp4", "", {{"v400", 400000, 360}, {"v800", 800000, 480}}}}));
    velar_test::LogCapture log;
    auto set = makeSet(first, "video/mp4");
    EXPECT_TRUE(log.contains("Available representation bandwidth: 400000 id:v400 800000 id:v800"));
    set->changeRepresentation(DashAbrAdjustment{4, 0});
    const auto v800 = set->getRepresentation();
    const auto v400 = set->getRepresentations().front();
    first.reset();  // the set keeps what its representations point into

    auto refreshed = velar_test::parseMpd(
        mpdText({{"video/mp4", "", {{"v800", 700000, 480}, {"v1200", 1200000, 720}, {"v600", 600000, 360}}}}));
    set->initAdaptationSet(refreshed, {refreshed->GetMPDPathBaseUrl()});
    EXPECT_EQ((std::vector<std::string>{"v400", "v600", "v800", "v1200"}), ids(*set));
    EXPECT_EQ(v800, set->getRepresentation());
    EXPECT_EQ(700000u, set->getCurrentRepresentation()->bandwidth);
    EXPECT_EQ(v400, set->getRepresentations().front());

    // A representation the refreshed MPD no longer lists still works on its own MPD.
    set->changeRepresentation(DashAbrAdjustment{0, 0});
    auto init = set->getRepresentation()->getInitSegment();
    ASSERT_NE(nullptr, init);
    EXPECT_EQ("http://127.0.0.1/media/v400/init.mp4", init->GetUrl());
}

TEST(DashAdaptationSet, RefusesAnMpdWithoutUsableRepresentations) {
    const std::string noPeriod =
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT8S\"/>";
    const struct {
        const char* name;
        std::string mime;
        std::string mpd;
        dash::DashDownloadStatus status;
        std::string text;
    } cases[] = {
        {"no Period", "video/mp4", noPeriod, dash::FAIL_INVALID_MPD, "Unknown reason"},
        {"audio only", "video/mp4", mpdText({{"audio/mp4", "", {{"a", 64000, 0}}}}), dash::FAIL_INVALID_REP,
         "No representation"},
        {"heights out of range", "video/mp4", mpdText({{"video/mp4", "", {{"big", 9000000, 1080}, {"tiny", 100000, 144}}}}),
         dash::FAIL_INVALID_REP, "No representation"},
        {"unsupported MIME type", "text/vtt", mpdText({{"text/vtt", "", {{"t", 1000, 0}}}}), dash::FAIL_INVALID_REP,
         "No representation"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        velar_test::LogCapture log;
        try {
            makeSet(velar_test::parseMpd(c.mpd), c.mime);
            ADD_FAILURE() << "accepted";
        } catch (const DashException& e) {
            EXPECT_EQ(c.status, e.getDownloadStatus());
            EXPECT_EQ("Dash Download Error: " + dash::toString(c.status) + " " + c.text, e.what());
        }
        EXPECT_EQ(c.mime == "text/vtt", log.contains("Not supported mimeType text/vtt"));
    }
}

}  // namespace
