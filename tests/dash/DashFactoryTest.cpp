#include "dash/DashFactory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "LogCapture.h"
#include "MpdText.h"
#include "ScratchDir.h"
#include "dash/DashException.h"
#include "dash/DashSegmentBase.h"
#include "dash/DashSegmentList.h"
#include "dash/DashSegmentTemplate.h"
#include "dash/DashSegmentTimeline.h"

namespace dash {
namespace {

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

TEST(DashFactoryTest, SettingsAreLoadedOnceAndAFailedLoadCachesNothing) {
    velar_test::ScratchDir dir("factory-settings");
    const std::string good = dir.path() + "/settings.xml";
    const std::string other = dir.path() + "/other.xml";
    const std::string malformed = dir.path() + "/malformed.xml";
    writeFile(good, "<VexaSetting><Dash><maxBufferedSegment>7</maxBufferedSegment></Dash></VexaSetting>");
    writeFile(other, "<VexaSetting><Dash><maxBufferedSegment>4</maxBufferedSegment></Dash></VexaSetting>");
    writeFile(malformed, "<VexaSetting><Dash>");

    auto factory = std::make_shared<DashFactory>();
    velar_test::LogCapture log;
    for (const std::string& bad : {dir.path() + "/missing.xml", malformed, dir.path()}) {
        try {
            factory->getDashConfiguration(bad);
            FAIL() << bad << " was accepted";
        } catch (const DashException& e) {
            EXPECT_EQ(e.getDownloadStatus(), FAIL_UNKNOWN_ERROR);
            EXPECT_EQ(std::string(e.what()), "Dash Download Error: FAIL_UNKNOWN_ERROR Invalid dash config file: " + bad);
        }
        EXPECT_TRUE(log.contains("Failed to load file : " + bad));
    }

    auto loaded = factory->getDashConfiguration(good);
    EXPECT_EQ(loaded->getMaxBufferedSegment(), 7);
    // Cached whatever path later calls pass.
    EXPECT_EQ(factory->getDashConfiguration(other), loaded);
    EXPECT_EQ(factory->getDashConfiguration(dir.path() + "/missing.xml"), loaded);
}

TEST(DashFactoryTest, ObserversAreNewPerCallAndTheNotifierIsShared) {
    auto factory = std::make_shared<DashFactory>();
    EXPECT_NE(factory->getDashDownloadObserver(nullptr), factory->getDashDownloadObserver(nullptr));
    EXPECT_EQ(factory->getDashEventNotifier(), factory->getDashEventNotifier());
}

enum class Scheme { Timeline, Template, List, Base, None };

struct SchemeCase {
    const char* name;
    const char* setLevel;   // inside AdaptationSet, before the Representation
    const char* repLevel;   // inside the Representation
    Scheme expected;
};

class SchemeChoiceTest : public ::testing::TestWithParam<SchemeCase> {};

TEST_P(SchemeChoiceTest, PicksTheAddressingScheme) {
    const SchemeCase& c = GetParam();
    auto mpd = velar_test::parseMpd(std::string(R"(<MPD type="static" mediaPresentationDuration="PT8S"><Period>
        <AdaptationSet mimeType="video/mp4">)") + c.setLevel +
                                    R"(<Representation id="v" bandwidth="1000" height="360">)" + c.repLevel +
                                    "</Representation></AdaptationSet></Period></MPD>");
    const mpd::IAdaptationSet& set = *mpd->GetPeriods().at(0)->GetAdaptationSets().at(0);
    auto factory = std::make_shared<DashFactory>();
    auto location = std::make_shared<DashSegmentLocation>();
    if (c.expected == Scheme::None) {
        try {
            factory->createDashRepresentation(mpd, set, *set.GetRepresentation().at(0), {}, location);
            FAIL() << c.name;
        } catch (const DashException& e) {
            EXPECT_EQ(e.getDownloadStatus(), FAIL_INVALID_MPD);
            EXPECT_STREQ(e.what(), "Dash Download Error: FAIL_INVALID_MPD Can't find a supported representation in MPD");
        }
        return;
    }
    auto rep = factory->createDashRepresentation(mpd, set, *set.GetRepresentation().at(0), {}, location);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->getData()->id, "v");  // initialised
    switch (c.expected) {
    case Scheme::Timeline: EXPECT_NE(std::dynamic_pointer_cast<DashSegmentTimeline>(rep), nullptr); break;
    case Scheme::Template: EXPECT_NE(std::dynamic_pointer_cast<DashSegmentTemplate>(rep), nullptr); break;
    case Scheme::List: EXPECT_NE(std::dynamic_pointer_cast<DashSegmentList>(rep), nullptr); break;
    case Scheme::Base: EXPECT_NE(std::dynamic_pointer_cast<DashSegmentBase>(rep), nullptr); break;
    case Scheme::None: break;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Elements, SchemeChoiceTest,
    ::testing::Values(
        SchemeCase{"InheritedTimeline",
                   R"(<SegmentTemplate media="$Time$.m4s" initialization="i.mp4"><SegmentTimeline><S t="0" d="2" r="3"/></SegmentTimeline></SegmentTemplate>)",
                   "", Scheme::Timeline},
        SchemeCase{"InheritedTemplate", R"(<SegmentTemplate media="$Number$.m4s" duration="2"/>)", "", Scheme::Template},
        // The template wins over the Representation's own list.
        SchemeCase{"TemplateBeforeList", R"(<SegmentTemplate media="$Number$.m4s" duration="2"/>)",
                   R"(<SegmentList duration="2"><SegmentURL media="a.m4s"/></SegmentList>)", Scheme::Template},
        SchemeCase{"OwnList", "", R"(<SegmentList duration="2"><SegmentURL media="a.m4s"/></SegmentList>)", Scheme::List},
        SchemeCase{"OwnBase", "", R"(<SegmentBase indexRange="10-20"><Initialization range="0-9"/></SegmentBase>)",
                   Scheme::Base},
        // A list or base of the set is not looked at.
        SchemeCase{"SetLevelListOnly", R"(<SegmentList duration="2"><SegmentURL media="a.m4s"/></SegmentList>)", "",
                   Scheme::None},
        SchemeCase{"SetLevelBaseOnly", R"(<SegmentBase indexRange="10-20"/>)", "", Scheme::None},
        SchemeCase{"Nothing", "", "", Scheme::None}),
    [](const ::testing::TestParamInfo<SchemeCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace dash
