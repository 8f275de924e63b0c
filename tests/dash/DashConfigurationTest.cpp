// The settings file: structure and case rules, what is logged, defaults, derived minimum.
#include "dash/DashConfiguration.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "LogCapture.h"

namespace dash {
namespace {

struct Values {
    int maxBufferedSegment;
    int maxBuffer;
    int livePlaybackBuffer;
    int maxResolution;
    int maxResolutionLive;
    const char* drmType;
};

const Values kDefaults{10, 50, 30, 1080, 720, "Playready"};

struct ConfigCase {
    const char* name;
    const char* xml;  // null: init(nullptr)
    Values values;
    std::vector<std::string> logs;
};

const ConfigCase kCases[] = {
    {"NullDocument", nullptr, kDefaults, {"NO VEXA dash configuration found!!! "}},
    {"OtherRoot", "<Settings><Dash/></Settings>", kDefaults, {"NO VEXA dash configuration found!!! "}},
    {"RootCaseMatters", "<vexasetting><Dash/></vexasetting>", kDefaults, {"NO VEXA dash configuration found!!! "}},
    {"EmptyRoot", "<VexaSetting><!-- nothing -->text</VexaSetting>", kDefaults, {"No VexaSetting!!!"}},
    {"CommentBeforeDashSkippedNoDrm",
     "<VexaSetting><!-- tuning --><Dash><maxBuffer>7</maxBuffer></Dash></VexaSetting>",
     {10, 7, 30, 1080, 720, "Playready"}, {}},
    // The "Drm" check is made against the element after the first one, whatever that is.
    {"DrmFirstThenDash",
     "<VexaSetting><Drm><DrmType>Widevine</DrmType></Drm><Dash><maxBuffer>7</maxBuffer></Dash></VexaSetting>",
     kDefaults, {"No DASH configuration!!!", "No DRM configuration!!!"}},
    {"DrmFirstThenDrm",
     "<VexaSetting><Drm/><DRM><DrmType>Widevine</DrmType></DRM></VexaSetting>",
     {10, 50, 30, 1080, 720, "Widevine"}, {"No DASH configuration!!!"}},
    {"LowerCaseDashRefusedOtherNamesAnyCase",
     "<VexaSetting><dash><maxBuffer>7</maxBuffer></dash><drm><DRMTYPE>Widevine</DRMTYPE></drm></VexaSetting>",
     {10, 50, 30, 1080, 720, "Widevine"}, {"No DASH configuration!!!"}},
    {"SettingNamesAnyCase",
     "<VexaSetting><Dash><MAXBUFFER>7</MAXBUFFER><livestreaming>40</livestreaming><maxresolution>2160</maxresolution>"
     "<MAXRESOLUTIONLIVE>1080</MAXRESOLUTIONLIVE><MaxBufferedSegment>12</MaxBufferedSegment></Dash></VexaSetting>",
     {12, 7, 40, 2160, 1080, "Playready"}, {}},
    {"UnknownParameters",
     "<VexaSetting><Dash><maxBuffers>7</maxBuffers><!-- c --><maxBuffer>8</maxBuffer></Dash>"
     "<Drm><Type>x</Type><DrmType>Widevine</DrmType></Drm></VexaSetting>",
     {10, 8, 30, 1080, 720, "Widevine"}, {"Unknown parameter!!!", "Unknown parameterType in DrmType"}},
    {"OtherElementInsteadOfDrm", "<VexaSetting><Dash/><Extra/><Drm><DrmType>Widevine</DrmType></Drm></VexaSetting>",
     kDefaults, {"No DRM configuration!!!"}},
    {"RepeatedLastWins",
     "<VexaSetting><Dash><maxBuffer>7</maxBuffer><MaxResolution>480</MaxResolution><maxBuffer>8</maxBuffer></Dash>"
     "<Drm><DrmType>Widevine</DrmType><DrmType>Clearkey</DrmType></Drm></VexaSetting>",
     {10, 8, 30, 480, 720, "Clearkey"}, {}},
    {"EmptyElementsGiveZero",
     "<VexaSetting><Dash><maxBuffer></maxBuffer><MaxResolution/><Livestreaming>   </Livestreaming>"
     "</Dash></VexaSetting>",
     {10, 0, 0, 0, 720, "Playready"}, {}},
    {"DrmTypeWithoutTextKeepsValue",
     "<VexaSetting><Dash/><Drm><DrmType>Widevine</DrmType><DrmType/></Drm></VexaSetting>",
     {10, 50, 30, 1080, 720, "Widevine"}, {"DRM Type NULL Value!!!"}},
    {"NonNumericTextAsAtoi",
     "<VexaSetting><Dash><maxBuffer>abc</maxBuffer><Livestreaming>42abc</Livestreaming>"
     "<MaxResolution>-5</MaxResolution><MaxResolutionLive>99999999999</MaxResolutionLive></Dash></VexaSetting>",
     {10, 0, 42, -5, INT_MAX, "Playready"}, {}},
    // The warning carries the value right after its last word, and nothing is clamped.
    {"FewBufferedSegmentsOnlyWarned",
     "<VexaSetting><Dash><maxBufferedSegment>1</maxBufferedSegment></Dash></VexaSetting>",
     {1, 50, 30, 1080, 720, "Playready"}, {"Number of buffered segments must be at least 3, setting to 31"}},
    {"NegativeBufferedSegmentsWarnedAfterOtherLogs",
     "<VexaSetting><Dash><maxBufferedSegment>-2</maxBufferedSegment><x/></Dash></VexaSetting>",
     {-2, 50, 30, 1080, 720, "Playready"},
     {"Unknown parameter!!!", "Number of buffered segments must be at least 3, setting to 3-2"}},
    {"ThreeBufferedSegmentsAccepted",
     "<VexaSetting><Dash><maxBufferedSegment>3</maxBufferedSegment></Dash></VexaSetting>",
     {3, 50, 30, 1080, 720, "Playready"}, {}},
};

std::vector<std::string> configurationLogs(const velar_test::LogCapture& log) {
    std::vector<std::string> out;
    for (const velar_test::LogLine& line : log.lines()) {
        if (line.source == "dash/DashConfiguration") {
            EXPECT_EQ(line.level, 0);
            out.push_back(line.message);
        }
    }
    return out;
}

void expectValues(const DashConfiguration& c, const Values& v, const std::string& name) {
    EXPECT_EQ(c.getMaxBufferedSegment(), v.maxBufferedSegment) << name;
    EXPECT_EQ(c.getMaxBufferSize(), v.maxBuffer) << name;
    EXPECT_EQ(c.getLivePlaybackBuffer(), v.livePlaybackBuffer) << name;
    EXPECT_EQ(c.getMaxResolution(), v.maxResolution) << name;
    EXPECT_EQ(c.getMaxResolutionLive(), v.maxResolutionLive) << name;
    EXPECT_EQ(c.getDrmType(), v.drmType) << name;
    EXPECT_EQ(c.getMinResolution(), 180) << name;
    EXPECT_EQ(c.getMinResolutionLive(), 180) << name;
}

TEST(DashConfigurationTest, ReadsSettingsDocuments) {
    for (const ConfigCase& c : kCases) {
        TiXmlDocument document;
        if (c.xml != nullptr) {
            document.Parse(c.xml);
            ASSERT_FALSE(document.Error()) << c.name << ": " << document.ErrorDesc();
        }
        DashConfiguration configuration;
        velar_test::LogCapture log;
        configuration.init(c.xml != nullptr ? &document : nullptr);
        expectValues(configuration, c.values, c.name);
        EXPECT_EQ(configurationLogs(log), c.logs) << c.name;
    }
}

TEST(DashConfigurationTest, MinimumIsAQuarterRoundedUp) {
    const std::pair<int, int> cases[] = {{10, 3}, {3, 1}, {12, 3}, {13, 4}, {1, 1}, {0, 0}, {4, 1}, {5, 2}, {-5, -1}};
    for (const auto& c : cases) {
        DashConfiguration configuration;
        configuration.setMaxBufferedSegment(c.first);
        EXPECT_EQ(configuration.getMinBufferedSegment(), c.second) << c.first;
    }
}

TEST(DashConfigurationTest, ShippedFileHoldsTheDefaults) {
    TiXmlDocument document;
    ASSERT_TRUE(document.LoadFile(VELAR_SOURCE_DIR "/dash/dash_settings.xml")) << document.ErrorDesc();
    DashConfiguration configuration;
    configuration.setMaxBuffer(1);  // proves the file is read, not just the defaults kept
    velar_test::LogCapture log;
    configuration.init(&document);
    expectValues(configuration, kDefaults, "shipped");
    EXPECT_TRUE(configurationLogs(log).empty());
}

TEST(DashConfigurationTest, SettingsPathFollowsTheEnvironment) {
    const char* before = std::getenv("VELAR_DASH_SETTINGS");
    const std::string saved = before != nullptr ? before : "";
    unsetenv("VELAR_DASH_SETTINGS");
    EXPECT_EQ(DashConfiguration::settingsPath(), "/opt/velar/dash_settings.xml");
    setenv("VELAR_DASH_SETTINGS", "", 1);
    EXPECT_EQ(DashConfiguration::settingsPath(), "/opt/velar/dash_settings.xml");
    setenv("VELAR_DASH_SETTINGS", "/tmp/other.xml", 1);
    EXPECT_EQ(DashConfiguration::settingsPath(), "/tmp/other.xml");
    if (before != nullptr) {
        setenv("VELAR_DASH_SETTINGS", saved.c_str(), 1);
    } else {
        unsetenv("VELAR_DASH_SETTINGS");
    }
}

}  // namespace
}  // namespace dash
