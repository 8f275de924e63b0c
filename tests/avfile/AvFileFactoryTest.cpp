// AvFileFactory: which MIME type makes which file, what happens to failures, and the DASH branch
// of this build (no DASH-backed file yet: a clear log line and an empty result).

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "RecordingCodecDataFactory.h"
#include "TestMedia.h"
#include "avfile/AvFileFactory.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "dash/DashDownloadCommandFactory.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::readFileBytes;
using velar_test::testMedia;

namespace {

class StubCommand : public dash::IDashDownloadCommand {};

// Records the addresses it is asked for; answers `command` (empty by default).
class RecordingDashFactory : public dash::IDashDownloadCommandFactory {
public:
    std::shared_ptr<dash::IDashDownloadCommand> getDownloadCommand(
        const std::string& url) override {
        urls.push_back(url);
        return command;
    }
    std::vector<std::string> urls;
    std::shared_ptr<dash::IDashDownloadCommand> command;
};

struct Fixture {
    std::shared_ptr<velar_test::RecordingCodecDataFactory> codec =
        std::make_shared<velar_test::RecordingCodecDataFactory>();
    std::shared_ptr<RecordingDashFactory> dash = std::make_shared<RecordingDashFactory>();
    AvFileFactory factory{codec, dash};
};

struct MimeCase {
    const char* mime;
    AvTrackType supported;
    bool opens;  // openPath and openMemory make an FFmpeg file
};

class MimeTest : public ::testing::TestWithParam<MimeCase> {};

TEST_P(MimeTest, OpensTheMp4TypesOnlyAndCalledByTheirWholeCaseSensitiveName) {
    const MimeCase c = GetParam();
    Fixture f;
    const std::string path = testMedia("high_bframes.mp4");
    LogCapture log;
    const auto onDisk = f.factory.openPath(path, c.mime);
    const auto inMemory = f.factory.openMemory(readFileBytes(path), c.mime);
    EXPECT_EQ(c.supported, f.factory.supportedMimeType(c.mime));
    EXPECT_TRUE(f.dash->urls.empty());
    if (!c.opens) {
        EXPECT_EQ(nullptr, onDisk);
        EXPECT_EQ(nullptr, inMemory);
        EXPECT_EQ(2u, log.count(std::string("Mimetype ") + c.mime + " is unknown"));
        EXPECT_TRUE(f.codec->calls().empty());
        return;
    }
    ASSERT_NE(nullptr, onDisk);
    ASSERT_NE(nullptr, inMemory);
    EXPECT_NE(nullptr, dynamic_cast<AvFileFfmpeg*>(onDisk.get()));
    EXPECT_EQ(nullptr, dynamic_cast<AvFileFfmpegMemory*>(onDisk.get()));
    EXPECT_NE(nullptr, dynamic_cast<AvFileFfmpegMemory*>(inMemory.get()));
    EXPECT_EQ(2u, onDisk->getTracks().size());  // ready: opened in the constructor
    EXPECT_EQ(4u, f.codec->calls().size());     // the codec-data factory is handed on
}

INSTANTIATE_TEST_SUITE_P(
    MimeTypes, MimeTest,
    ::testing::Values(MimeCase{"video/mp4", AvTrackType::Video, true},
                      MimeCase{"audio/mp4", AvTrackType::Audio, true},
                      MimeCase{"media/mp4", AvTrackType::Video, true},
                      MimeCase{"Video/mp4", AvTrackType::Unknown, false},
                      MimeCase{"AUDIO/MP4", AvTrackType::Unknown, false},
                      MimeCase{"media/MP4", AvTrackType::Unknown, false},
                      MimeCase{"video/mp4 ", AvTrackType::Unknown, false},
                      MimeCase{"video/mp4;codecs=avc1", AvTrackType::Unknown, false},
                      MimeCase{"", AvTrackType::Unknown, false},
                      MimeCase{"video/webm", AvTrackType::Unknown, false},
                      MimeCase{"APPLICATION/DASH+XML", AvTrackType::Unknown, false}),
    [](const ::testing::TestParamInfo<MimeCase>& info) {
        std::string name = std::string("mime_") + (*info.param.mime ? info.param.mime : "empty");
        for (char& c : name) {
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        }
        return name;
    });

TEST(AvFileFactoryTest, DashIsNoMemoryTypeNoTrackKindAndFailsCleanlyInThisBuild) {
    const std::string url = "http://127.0.0.1:1/presentation.mpd";
    const std::string failed = "end, Failed to open " + url + " with mimetype application/dash+xml";
    Fixture f;
    f.dash->command = std::make_shared<StubCommand>();
    LogCapture log;
    EXPECT_EQ(nullptr, f.factory.openMemory({0}, "application/dash+xml"));
    EXPECT_TRUE(log.contains("Mimetype application/dash+xml is unknown"));
    EXPECT_EQ(AvTrackType::Unknown, f.factory.supportedMimeType("application/dash+xml"));
    // openPath asks for the command, but there is no DASH-backed file to make yet.
    EXPECT_EQ(nullptr, f.factory.openPath(url, "application/dash+xml"));
    EXPECT_EQ(std::vector<std::string>{url}, f.dash->urls);
    EXPECT_TRUE(log.contains(failed));
    EXPECT_EQ(1, f.dash->command.use_count());  // not kept

    // The DASH client of this build makes no command: its own line, then the factory's.
    AvFileFactory factory(f.codec, std::make_shared<dash::DashDownloadCommandFactory>());
    log.clear();
    EXPECT_EQ(nullptr, factory.openPath(url, "application/dash+xml"));
    EXPECT_EQ((std::vector<std::string>{
                  "DASH presentations are not supported by this build: " + url, failed}),
              log.messages());
    EXPECT_EQ("avfile/AvFileFactory", log.lines().back().source);
}

TEST(AvFileFactoryTest, ConstructorFailuresAreLoggedAndPassedOnUnchanged) {
    Fixture f;
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/missing.mp4";
    const std::string text = testMedia("text.mp4");
    const auto textBytes = readFileBytes(text);
    const struct {
        std::function<void()> open;
        std::pair<int, std::string> failure;  // code (-1: not a file-layer exception), text
        std::string logLine;
    } table[] = {
        {[&] { f.factory.openPath(missing, "video/mp4"); }, {6, "Failed to open file " + missing},
         "end, Failed to open " + missing + " with mimetype video/mp4"},
        {[&] { f.factory.openPath(text, "audio/mp4"); }, {3, "Ffmpeg failed to open file " + text},
         "end, Failed to open " + text + " with mimetype audio/mp4"},
        {[&] { f.factory.openMemory({}, "media/mp4"); }, {-1, "Data is zero sized"},
         "end, Failed to open mimetype media/mp4"},
        {[&] { f.factory.openMemory(textBytes, "video/mp4"); },
         {3, "Ffmpeg failed to open file AvFileFfmpegMemory"},
         "end, Failed to open mimetype video/mp4"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.logLine);
        LogCapture log;
        EXPECT_EQ(row.failure, velar_test::failureOf(row.open));
        EXPECT_TRUE(log.contains(row.logLine));
    }
}

TEST(AvFileFactoryTest, CopiesShareBothFactories) {
    Fixture f;
    const AvFileFactory copy = f.factory;
    ASSERT_NE(nullptr, copy.openPath(testMedia("video_only.mp4"), "video/mp4"));
    EXPECT_EQ(1u, f.codec->calls().size());
    copy.openPath("http://127.0.0.1:1/a.mpd", "application/dash+xml");
    EXPECT_EQ(std::vector<std::string>{"http://127.0.0.1:1/a.mpd"}, f.dash->urls);
}

}  // namespace
