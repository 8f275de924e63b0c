// Statuses, the DASH exception and its helpers, the event notifier; the settings file and its path.
#include "dash/DashConfiguration.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <cstdlib>
#include <sstream>

#include "LogCapture.h"
#include "dash/DashEventNotifier.h"
#include "dash/DashException.h"
#include "dash/DashUtil.h"

namespace dash {
namespace {

TEST(DashStatusTest, TextsAndCompletion) {
    const char* const texts[] = {"NO_SEGMENT", "BUFFERING", "READY", "CANCELLED", "COMPLETED", "FEATURE_NOT_SUPPORTED",
                                 "FAIL_INVALID_URL", "FAIL_INVALID_MPD", "FAIL_INVALID_ADAPTATION", "FAIL_INVALID_REP",
                                 "FAIL_BAD_CONNECTION"};
    // 11, 12 and -1 fall into the catch-all; -1 is compared unsigned, so it counts as completed.
    for (int32_t value = -1; value <= 12; ++value) {
        const auto status = static_cast<DashDownloadStatus>(value);
        const std::string text = value >= 0 && value <= 10 ? texts[value] : "FAIL_UNKNOWN_ERROR";
        std::ostringstream out;
        out << status;
        EXPECT_EQ(toString(status) + "|" + out.str(), text + "|" + text) << value;
        EXPECT_EQ(DashUtil::isCompletedStatus(status), value < 0 || value >= CANCELLED) << value;
    }
}

TEST(DashStatusTest, ExceptionsAndThrowingHelpers) {
    // What is thrown, as "status|message"; an empty text keeps its separating space.
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { throw DashException(); }, "11|Unknown error occurred"},
        {[] { throw DashException(FAIL_INVALID_MPD); }, "7|Dash Download Error: FAIL_INVALID_MPD"},
        {[] { throw DashException(FAIL_INVALID_REP, "Bad"); }, "9|Dash Download Error: FAIL_INVALID_REP Bad"},
        {[] { throw DashException(FAIL_BAD_CONNECTION, ""); }, "10|Dash Download Error: FAIL_BAD_CONNECTION "},
        {[] { throw DashException(DashDownloadStatus(42), "x"); }, "42|Dash Download Error: FAIL_UNKNOWN_ERROR x"},
        {[] { DashUtil::throwIfTrue(false, FAIL_INVALID_MPD, "never"); }, "nothing"},
        {[] { DashUtil::throwIfTrue(true, FAIL_INVALID_URL, "no"); }, "6|Dash Download Error: FAIL_INVALID_URL no"},
        {[] { DashUtil::throwException(CANCELLED, ""); }, "3|Dash Download Error: CANCELLED "},
    };
    for (const auto& c : cases) {
        std::string thrown = "nothing";
        try { c.first(); } catch (const std::runtime_error& e) {  // caught as the standard base class
            thrown = std::to_string(dynamic_cast<const DashException&>(e).getDownloadStatus()) + "|" + e.what();
        }
        EXPECT_EQ(thrown, c.second);
    }
}

TEST(DashStatusTest, NotifierCallsInRegistrationOrderAndPropagatesEmptyListeners) {
    DashEventNotifier notifier;
    std::vector<std::string> calls;
    EXPECT_NO_THROW(notifier.notify(DOWNLOAD_STARTED));  // nobody listens yet
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 1"); });
    notifier.registerListener(DOWNLOAD_COMPLETED, [&] { calls.push_back("completed"); });
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 2"); });
    notifier.notify(DOWNLOAD_ERROR);
    notifier.notify(DOWNLOAD_COMPLETED);
    // An empty function stops the call at its place: listeners before it ran, those after did not.
    notifier.registerListener(DOWNLOAD_ERROR, std::function<void()>());
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 4"); });
    EXPECT_THROW(notifier.notify(DOWNLOAD_ERROR), std::bad_function_call);
    EXPECT_EQ(calls, (std::vector<std::string>{"error 1", "error 2", "completed", "error 1", "error 2"}));
}

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
