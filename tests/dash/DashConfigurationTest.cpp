// The settings file: its document rules, logs, derived minimum and path.
#include "dash/DashConfiguration.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <cstdlib>
#include <sstream>

#include "LogCapture.h"

namespace dash {
namespace {

const std::string kDefaults = "10 50 30 1080 720 Playready";

std::string vexa(const std::string& body) { return "<VexaSetting>" + body + "</VexaSetting>"; }

// What init() read: maxBufferedSegment, maxBuffer, Livestreaming, MaxResolution, MaxResolutionLive and
// DrmType; then each line it logged (all at level 0).
std::string read(TiXmlNode* document, DashConfiguration& c) {
    velar_test::LogCapture log;
    c.init(document);
    std::ostringstream out;
    out << c.getMaxBufferedSegment() << " " << c.getMaxBufferSize() << " " << c.getLivePlaybackBuffer() << " "
        << c.getMaxResolution() << " " << c.getMaxResolutionLive() << " " << c.getDrmType();
    for (const auto& l : log.lines()) out << "|" << (l.source == "dash/DashConfiguration" && !l.level ? l.message : "");
    return out.str();
}

TEST(DashConfigurationTest, ReadsSettingsDocuments) {
    const std::string noDash = "|No DASH configuration!!!";
    const std::pair<std::string, std::string> cases[] = {  // the document ("": init(nullptr)), what is read
        {"", kDefaults + "|NO VEXA dash configuration found!!! "},
        {"<vexasetting><Dash/></vexasetting>", kDefaults + "|NO VEXA dash configuration found!!! "},
        {vexa("<!-- nothing -->text"), kDefaults + "|No VexaSetting!!!"},
        {vexa("<!-- c --><Dash><MAXBUFFER>7</MAXBUFFER><livestreaming>40</livestreaming><maxresolution>2160"
              "</maxresolution><MAXRESOLUTIONLIVE>1080</MAXRESOLUTIONLIVE></Dash>"),  // names in any case; no Drm
         "10 7 40 2160 1080 Playready"},
        // A first "Drm" is not read; the "Drm" check is made against the element after it.
        {vexa("<Drm><DrmType>W</DrmType></Drm><Dash><maxBuffer>7</maxBuffer></Dash>"),
         kDefaults + noDash + "|No DRM configuration!!!"},
        {vexa("<Drm/><DRM><DrmType>W</DrmType></DRM>"), "10 50 30 1080 720 W" + noDash},
        {vexa("<dash><maxBuffer>7</maxBuffer></dash><drm><DRMTYPE>W</DRMTYPE></drm>"), "10 50 30 1080 720 W" + noDash},
        {vexa("<Dash/><Extra/><Drm><DrmType>W</DrmType></Drm>"), kDefaults + "|No DRM configuration!!!"},
        // Unknown names are skipped; a repeated element: the last one wins.
        {vexa("<Dash><maxBuffers>7</maxBuffers><maxBuffer>8</maxBuffer><!-- c --><maxBuffer>9</maxBuffer></Dash>"
              "<Drm><Type>x</Type><DrmType>W</DrmType><DrmType>C</DrmType></Drm>"),
         "10 9 30 1080 720 C|Unknown parameter!!!|Unknown parameterType in DrmType"},
        {vexa("<Dash><maxBuffer/><MaxResolution></MaxResolution><Livestreaming> </Livestreaming></Dash>"),
         "10 0 0 0 720 Playready"},
        {vexa("<Dash/><Drm><DrmType>W</DrmType><DrmType/></Drm>"), "10 50 30 1080 720 W|DRM Type NULL Value!!!"},
        {vexa("<Dash><maxBuffer>abc</maxBuffer><Livestreaming>42abc</Livestreaming><MaxResolution>-5</MaxResolution>"
              "<MaxResolutionLive>99999999999</MaxResolutionLive></Dash>"),
         "10 0 42 -5 2147483647 Playready"},  // numbers as atoi reads them, saturated
        // The warning carries the value right after its last word; nothing is clamped. 3 is not warned about.
        {vexa("<Dash><maxBufferedSegment>1</maxBufferedSegment></Dash>"),
         "1 50 30 1080 720 Playready|Number of buffered segments must be at least 3, setting to 31"},
        {vexa("<Dash><maxBufferedSegment>3</maxBufferedSegment></Dash>"), "3 50 30 1080 720 Playready"},
    };
    for (const auto& c : cases) {
        TiXmlDocument document;
        document.Parse(c.first.c_str());
        ASSERT_TRUE(c.first.empty() || !document.Error()) << c.first << ": " << document.ErrorDesc();
        DashConfiguration configuration;
        EXPECT_EQ(read(c.first.empty() ? nullptr : &document, configuration), c.second) << c.first;
    }
}

TEST(DashConfigurationTest, ShippedFileHoldsTheDefaults) {
    TiXmlDocument document;
    ASSERT_TRUE(document.LoadFile(VELAR_SOURCE_DIR "/dash/dash_settings.xml")) << document.ErrorDesc();
    DashConfiguration configuration;
    configuration.setMaxBuffer(1);  // proves the file is read, not just the defaults kept
    EXPECT_EQ(read(&document, configuration), kDefaults);
}

TEST(DashConfigurationTest, MinimumIsAQuarterRoundedUp) {
    DashConfiguration configuration;
    const std::pair<int, int> cases[] = {{10, 3}, {3, 1}, {12, 3}, {13, 4}, {1, 1}, {0, 0}, {4, 1}, {5, 2}, {-5, -1}};
    for (const auto& c : cases) {
        configuration.setMaxBufferedSegment(c.first);
        EXPECT_EQ(configuration.getMinBufferedSegment(), c.second) << c.first;
    }
}

TEST(DashConfigurationTest, SettingsPathFollowsTheEnvironment) {
    const char* before = std::getenv("VELAR_DASH_SETTINGS");
    const std::string saved = before != nullptr ? before : "";
    const std::pair<const char*, const char*> cases[] = {
        {nullptr, "/opt/velar/dash_settings.xml"}, {"", "/opt/velar/dash_settings.xml"}, {"/tmp/o.xml", "/tmp/o.xml"}};
    for (const auto& c : cases) {
        c.first != nullptr ? setenv("VELAR_DASH_SETTINGS", c.first, 1) : unsetenv("VELAR_DASH_SETTINGS");
        EXPECT_EQ(DashConfiguration::settingsPath(), c.second);
    }
    before != nullptr ? setenv("VELAR_DASH_SETTINGS", saved.c_str(), 1) : unsetenv("VELAR_DASH_SETTINGS");
}

}  // namespace
}  // namespace dash
