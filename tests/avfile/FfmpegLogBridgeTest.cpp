// FFmpeg's own complaints about a broken file reach the host's log (never standard error).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "RecordingCodecDataFactory.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvParseErrorException.h"

namespace {

TEST(FfmpegLogBridgeTest, DemuxerErrorsGoToTheHostLogWithTheirComponent) {
    // The first half of a file whose moov box sits at its end: the demuxer finds no moov.
    std::vector<unsigned char> bytes =
        velar_test::readFileBytes(velar_test::testMedia("no_faststart.mp4"));
    bytes.resize(bytes.size() / 2);
    velar_test::ScratchDir dir("ffmpeglog");
    const std::string path = dir.write("no_moov.mp4", bytes);

    velar_test::LogCapture capture;
    testing::internal::CaptureStderr();
    EXPECT_THROW(avfile::AvFileFfmpeg(velar_test::RecordingCodecDataFactory::create(), path),
                 avfile::AvParseErrorException);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());

    bool found = false;
    for (const auto& line : capture.lines()) {
        if (line.source == "avfile/FfmpegLogBridge") {
            EXPECT_EQ(0, line.level) << line.message;
            EXPECT_NE(std::string::npos, line.message.find("moov atom not found")) << line.message;
            EXPECT_EQ(line.message.find('\n'), std::string::npos);
            found = true;
        }
    }
    EXPECT_TRUE(found);
}

}  // namespace
