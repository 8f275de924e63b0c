// AvFileFactory: which MIME type makes which file, what happens to failures, and the DASH branch
// of this build (no DASH-backed file yet: a clear log line and an empty result).

#include <gtest/gtest.h>

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

namespace {

struct Fixture {
    std::shared_ptr<velar_test::RecordingCodecDataFactory> codec =
        std::make_shared<velar_test::RecordingCodecDataFactory>();
    AvFileFactory factory{codec, std::make_shared<dash::DashDownloadCommandFactory>()};
};

// Only the whole, case-sensitive names of the MP4 types open a file.
TEST(AvFileFactoryTest, MimeTable) {
    const struct {
        const char* mime;
        AvTrackType supported;
    } table[] = {
        {"video/mp4", AvTrackType::Video},     {"audio/mp4", AvTrackType::Audio},
        {"media/mp4", AvTrackType::Video},     {"Video/mp4", AvTrackType::Unknown},
        {"video/mp4 ", AvTrackType::Unknown},  {"video/mp4;codecs=avc1", AvTrackType::Unknown},
        {"", AvTrackType::Unknown},            {"APPLICATION/DASH+XML", AvTrackType::Unknown},
    };
    const std::string path = velar_test::testMedia("video_only.mp4");
    const auto bytes = velar_test::readFileBytes(path);
    for (const auto& row : table) {
        SCOPED_TRACE(row.mime);
        Fixture f;
        LogCapture log;
        const auto onDisk = f.factory.openPath(path, row.mime);
        const auto inMemory = f.factory.openMemory(bytes, row.mime);
        EXPECT_EQ(row.supported, f.factory.supportedMimeType(row.mime));
        if (row.supported == AvTrackType::Unknown) {
            EXPECT_EQ(nullptr, onDisk);
            EXPECT_EQ(nullptr, inMemory);
            EXPECT_EQ(2u, log.count(std::string("Mimetype ") + row.mime + " is unknown"));
        } else {
            EXPECT_TRUE(dynamic_cast<AvFileFfmpeg*>(onDisk.get()) &&
                        !dynamic_cast<AvFileFfmpegMemory*>(onDisk.get()));
            EXPECT_TRUE(dynamic_cast<AvFileFfmpegMemory*>(inMemory.get()));
            EXPECT_EQ(2, f.codec->calls());  // the codec-data factory is handed on
        }
    }
}

// DASH is no memory type; this build's DASH client makes no command: its line, then the factory's.
TEST(AvFileFactoryTest, DashFailsCleanlyInThisBuild) {
    const std::string url = "http://127.0.0.1:1/presentation.mpd";
    Fixture f;
    LogCapture log;
    EXPECT_EQ(nullptr, f.factory.openMemory({0}, "application/dash+xml"));
    EXPECT_TRUE(log.contains("Mimetype application/dash+xml is unknown"));
    log.clear();
    EXPECT_EQ(nullptr, f.factory.openPath(url, "application/dash+xml"));
    EXPECT_EQ((std::vector<std::string>{
                  "DASH presentations are not supported by this build: " + url,
                  "end, Failed to open " + url + " with mimetype application/dash+xml"}),
              log.messages());
}

// Constructor failures pass through the factory unchanged, after its own line.
TEST(AvFileFactoryTest, ConstructorFailuresAreLoggedAndPassedOn) {
    Fixture f;
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/missing.mp4";
    LogCapture log;
    EXPECT_EQ(std::make_pair(6, "Failed to open file " + missing),
              velar_test::failureOf([&] { f.factory.openPath(missing, "video/mp4"); }));
    EXPECT_TRUE(log.contains("end, Failed to open " + missing + " with mimetype video/mp4"));
    EXPECT_EQ(std::make_pair(-1, std::string("Data is zero sized")),
              velar_test::failureOf([&] { f.factory.openMemory({}, "media/mp4"); }));
    EXPECT_TRUE(log.contains("end, Failed to open mimetype media/mp4"));
}

}  // namespace
