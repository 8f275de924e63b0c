// AvFileFactory: which MIME type makes which file, what happens to failures, and the DASH branch
// of this build (no DASH-backed file yet: a clear log line and an empty result).

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "TestMedia.h"
#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFileFactory.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/H264AvcData.h"
#include "dash/DashDownloadCommandFactory.h"

using namespace avfile;
using velar_test::LogCapture;
using velar_test::testMedia;

namespace {

class MarkerCodecData : public IAvCodecData {};

class CountingCodecDataFactory : public IAvCodecDataFactory {
public:
    std::shared_ptr<IAvCodecData> getCodecData(
        const std::string& /*codec*/,
        const std::vector<unsigned char>& /*extraData*/) const override {
        ++calls;
        return std::make_shared<MarkerCodecData>();
    }
    mutable std::atomic<int> calls{0};
};

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
    std::shared_ptr<CountingCodecDataFactory> codec = std::make_shared<CountingCodecDataFactory>();
    std::shared_ptr<RecordingDashFactory> dash = std::make_shared<RecordingDashFactory>();
    AvFileFactory factory{codec, dash};
};

const char* const kUnknownTypes[] = {
    "Video/mp4", "VIDEO/MP4", "video/MP4", "Audio/mp4", "media/MP4",  // letter case differs
    "video/mp4 ", " video/mp4", "video/mp4;codecs=avc1",              // not the whole string
    "", "video/webm", "audio/mpeg", "application/octet-stream", "APPLICATION/DASH+XML",
};

TEST(AvFileFactoryTest, OpenPathMakesAnFfmpegFileForTheThreeMp4Types) {
    Fixture f;
    const std::string path = testMedia("high_bframes.mp4");
    for (const char* mime : {"video/mp4", "audio/mp4", "media/mp4"}) {
        SCOPED_TRACE(mime);
        const int before = f.codec->calls;
        auto file = f.factory.openPath(path, mime);
        ASSERT_NE(nullptr, file);
        EXPECT_NE(nullptr, dynamic_cast<AvFileFfmpeg*>(file.get()));
        EXPECT_EQ(nullptr, dynamic_cast<AvFileFfmpegMemory*>(file.get()));
        EXPECT_EQ(2u, file->getTracks().size());  // ready: opened in its constructor
        EXPECT_EQ(before + 2, f.codec->calls.load());  // the codec-data factory is handed on
    }
    EXPECT_TRUE(f.dash->urls.empty());
}

TEST(AvFileFactoryTest, UnknownTypesGiveNothingAndSaySo) {
    Fixture f;
    const std::string path = testMedia("high_bframes.mp4");
    const auto bytes = velar_test::readFileBytes(path);
    for (const char* mime : kUnknownTypes) {
        SCOPED_TRACE(std::string("'") + mime + "'");
        LogCapture log;
        EXPECT_EQ(nullptr, f.factory.openPath(path, mime));
        EXPECT_EQ(nullptr, f.factory.openMemory(bytes, mime));
        EXPECT_EQ(2u, log.count(std::string("Mimetype ") + mime + " is unknown"));
        EXPECT_EQ(AvTrackType::Unknown, f.factory.supportedMimeType(mime));
    }
    EXPECT_EQ(0, f.codec->calls.load());
    EXPECT_TRUE(f.dash->urls.empty());
}

TEST(AvFileFactoryTest, OpenMemoryMakesAMemoryFileForTheMp4TypesButNotForDash) {
    Fixture f;
    const auto bytes = velar_test::readFileBytes(testMedia("audio_only.mp4"));
    for (const char* mime : {"video/mp4", "audio/mp4", "media/mp4"}) {
        SCOPED_TRACE(mime);
        auto file = f.factory.openMemory(bytes, mime);
        ASSERT_NE(nullptr, file);
        EXPECT_NE(nullptr, dynamic_cast<AvFileFfmpegMemory*>(file.get()));
        EXPECT_EQ(1u, file->getTracks().size());
        EXPECT_FALSE(file->isActive());
    }
    LogCapture log;
    EXPECT_EQ(nullptr, f.factory.openMemory(bytes, "application/dash+xml"));
    EXPECT_TRUE(log.contains("Mimetype application/dash+xml is unknown"));
    EXPECT_TRUE(f.dash->urls.empty());
}

TEST(AvFileFactoryTest, SupportedMimeTypeTable) {
    Fixture f;
    const struct {
        const char* mime;
        AvTrackType type;
    } table[] = {
        {"video/mp4", AvTrackType::Video},
        {"media/mp4", AvTrackType::Video},
        {"audio/mp4", AvTrackType::Audio},
        {"application/dash+xml", AvTrackType::Unknown},  // a manifest is no track kind
        {"audio/MP4", AvTrackType::Unknown},
        {"text/vtt", AvTrackType::Unknown},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.type, f.factory.supportedMimeType(row.mime)) << row.mime;
    }
}

TEST(AvFileFactoryTest, DashAsksForTheDownloadCommandThenFailsCleanlyInThisBuild) {
    const std::string url = "http://127.0.0.1:1/presentation.mpd";
    const std::string failed = "end, Failed to open " + url + " with mimetype application/dash+xml";
    {
        // The DASH client of this build makes no command: its own line, then the factory's.
        AvFileFactory factory(std::make_shared<CountingCodecDataFactory>(),
                              std::make_shared<dash::DashDownloadCommandFactory>());
        LogCapture log;
        EXPECT_EQ(nullptr, factory.openPath(url, "application/dash+xml"));
        const auto messages = log.messages();
        ASSERT_EQ(2u, messages.size());
        EXPECT_EQ("DASH presentations are not supported by this build: " + url, messages[0]);
        EXPECT_EQ(failed, messages[1]);
        EXPECT_EQ("avfile/AvFileFactory", log.lines()[1].source);
    }
    {
        // Even with a command there is no DASH-backed file to make yet.
        Fixture f;
        f.dash->command = std::make_shared<StubCommand>();
        LogCapture log;
        EXPECT_EQ(nullptr, f.factory.openPath(url, "application/dash+xml"));
        EXPECT_EQ(std::vector<std::string>{url}, f.dash->urls);
        EXPECT_TRUE(log.contains(failed));
        EXPECT_EQ(1, f.dash->command.use_count());  // not kept
    }
    {
        // Without a DASH factory at all: the same answer, no crash.
        AvFileFactory factory(std::make_shared<CountingCodecDataFactory>(), nullptr);
        LogCapture log;
        EXPECT_EQ(nullptr, factory.openPath(url, "application/dash+xml"));
        EXPECT_TRUE(log.contains(failed));
    }
}

TEST(AvFileFactoryTest, ConstructorFailuresAreLoggedAndPassedOnUnchanged) {
    Fixture f;
    const std::string missing = std::string(VELAR_TEST_WORK_DIR) + "/missing.mp4";
    const std::string text = testMedia("text.mp4");
    {
        LogCapture log;
        EXPECT_THROW(f.factory.openPath(missing, "video/mp4"), AvFileNotFoundException);
        EXPECT_TRUE(log.contains("end, Failed to open " + missing + " with mimetype video/mp4"));
    }
    {
        LogCapture log;
        try {
            f.factory.openPath(text, "audio/mp4");
            ADD_FAILURE() << "opened";
        } catch (const AvParseErrorException& e) {
            EXPECT_EQ("Ffmpeg failed to open file " + text, std::string(e.what()));
        }
        EXPECT_TRUE(log.contains("end, Failed to open " + text + " with mimetype audio/mp4"));
    }
    {
        LogCapture log;
        try {
            f.factory.openMemory(std::vector<unsigned char>(), "media/mp4");
            ADD_FAILURE() << "opened";
        } catch (const AvBaseException&) {
            ADD_FAILURE() << "an empty block is not a file-layer exception";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ("Data is zero sized", e.what());
        }
        EXPECT_TRUE(log.contains("end, Failed to open mimetype media/mp4"));
    }
    {
        LogCapture log;
        EXPECT_THROW(f.factory.openMemory(velar_test::readFileBytes(text), "video/mp4"),
                     AvParseErrorException);
        EXPECT_TRUE(log.contains("end, Failed to open mimetype video/mp4"));
    }
}

TEST(AvFileFactoryTest, CopiesShareBothFactories) {
    Fixture f;
    f.dash->command = std::make_shared<StubCommand>();
    const AvFileFactory copy = f.factory;
    ASSERT_NE(nullptr, copy.openPath(testMedia("video_only.mp4"), "video/mp4"));
    EXPECT_EQ(1, f.codec->calls.load());
    copy.openPath("http://127.0.0.1:1/a.mpd", "application/dash+xml");
    f.factory.openPath("http://127.0.0.1:1/b.mpd", "application/dash+xml");
    EXPECT_EQ((std::vector<std::string>{"http://127.0.0.1:1/a.mpd", "http://127.0.0.1:1/b.mpd"}),
              f.dash->urls);
}

TEST(AvFileFactoryTest, RealCodecDataRepairsTheLevelAndRefusesHigh10) {
    AvFileFactory factory(std::make_shared<AvCodecDataFactory>(),
                          std::make_shared<dash::DashDownloadCommandFactory>());
    {
        auto file = factory.openPath(testMedia("level52.mp4"), "video/mp4");
        ASSERT_NE(nullptr, file);
        auto avc = std::dynamic_pointer_cast<H264AvcData>(file->getTracks()[0].codecData);
        ASSERT_NE(nullptr, avc);
        ASSERT_GE(avc->mSps.size(), 4u);
        EXPECT_EQ(100, avc->mSps[1]);  // profile_idc High
        EXPECT_EQ(41, avc->mSps[3]);   // level_idc 52 rewritten to 41
        EXPECT_NE(nullptr, file->getTracks()[1].codecData);
    }
    {
        LogCapture log;
        auto file = factory.openPath(testMedia("high10.mp4"), "video/mp4");
        ASSERT_NE(nullptr, file);  // the file opens; its video track has no codec data
        EXPECT_EQ(nullptr, file->getTracks()[0].codecData);
        EXPECT_NE(nullptr, file->getTracks()[1].codecData);
        EXPECT_TRUE(log.contains("end, Failed to parse avc1"));
    }
    {
        auto file = factory.openPath(testMedia("mpeg4part2.mp4"), "video/mp4");
        ASSERT_NE(nullptr, file);
        EXPECT_EQ("", file->getTracks()[0].codec);
        EXPECT_EQ(nullptr, file->getTracks()[0].codecData);
    }
}

TEST(AvFileFactoryTest, AnyThreadMayOpenFiles) {
    Fixture f;
    const std::string path = testMedia("high_bframes.mp4");
    const auto bytes = velar_test::readFileBytes(path);
    std::atomic<int> samples[4] = {};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            auto file = (t % 2 == 0) ? f.factory.openPath(path, "video/mp4")
                                     : f.factory.openMemory(bytes, "video/mp4");
            if (!file) {
                return;
            }
            AvSample sample;
            while (file->getNextSample(sample) == AvStatus::OK) {
                ++samples[t];
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int t = 1; t < 4; ++t) {
        EXPECT_EQ(samples[0].load(), samples[t].load());
    }
    EXPECT_GT(samples[0].load(), 200);
    EXPECT_EQ(8, f.codec->calls.load());
}

}  // namespace
