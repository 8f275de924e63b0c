// Text forms, fixed values and exception codes of the media model types: these texts end up in
// log lines that readers match on, and the numbers cross the host boundary.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "avfile/AvBaseException.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/AvSample.h"
#include "avfile/AvSampleFilter.h"
#include "avfile/AvStatus.h"
#include "avfile/AvStreamerState.h"
#include "avfile/AvTrack.h"
#include "avfile/AvTrackType.h"
#include "avfile/IAvCodecData.h"

using namespace avfile;

namespace {

template <typename T>
std::string streamed(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

struct EnumText {
    int32_t value;
    const char* text;
};

class MarkerCodecData : public IAvCodecData {};

}  // namespace

TEST(AvModelTypesTest, TrackTypeTextsAndOutOfTableValues) {
    const EnumText table[] = {
        {0, "Video"}, {1, "Audio"}, {2, "Subtitle"}, {3, "Unknown"},
        {4, "Unknown"}, {-1, "Unknown"}, {0x7fffffff, "Unknown"},
    };
    for (const auto& row : table) {
        const auto type = static_cast<AvTrackType>(row.value);
        EXPECT_EQ(row.text, toString(type)) << row.value;
        EXPECT_EQ(row.text, streamed(type)) << row.value;
    }
    EXPECT_EQ(0, static_cast<int32_t>(AvTrackType::Video));
    EXPECT_EQ(1, static_cast<int32_t>(AvTrackType::Audio));
    EXPECT_EQ(2, static_cast<int32_t>(AvTrackType::Subtitle));
    EXPECT_EQ(3, static_cast<int32_t>(AvTrackType::Unknown));
    static_assert(sizeof(AvTrackType) == 4, "32-bit enum");
}

TEST(AvModelTypesTest, StatusTextsAndOutOfTableValues) {
    const EnumText table[] = {
        {0, "OK"}, {1, "EndOfFile"}, {2, "NotEnoughData"}, {3, "Unknown"}, {-2, "Unknown"},
    };
    for (const auto& row : table) {
        const auto status = static_cast<AvStatus>(row.value);
        EXPECT_EQ(row.text, toString(status)) << row.value;
        EXPECT_EQ(row.text, streamed(status)) << row.value;
    }
    EXPECT_EQ(0, static_cast<int32_t>(AvStatus::OK));
    EXPECT_EQ(1, static_cast<int32_t>(AvStatus::EndOfFile));
    EXPECT_EQ(2, static_cast<int32_t>(AvStatus::NotEnoughData));
    static_assert(sizeof(AvStatus) == 4, "32-bit enum");
}

TEST(AvModelTypesTest, StreamerStateTextsAndOutOfTableValues) {
    const EnumText table[] = {
        {0, "Initializing"}, {1, "Starting"}, {2, "Buffering"}, {3, "Playing"},
        {4, "EndOfFile"},    {5, "Error"},    {6, "Stopped"},   {7, "KeyframeSent"},
        {8, "Unknown"},      {100, "Unknown"},
    };
    for (const auto& row : table) {
        const auto state = static_cast<AvStreamerState>(row.value);
        EXPECT_EQ(row.text, toString(state)) << row.value;
        EXPECT_EQ(row.text, streamed(state)) << row.value;
    }
}

TEST(AvModelTypesTest, SampleFilterValuesAreFixed) {
    EXPECT_EQ(0, static_cast<int32_t>(AvSampleFilter::AllSamples));
    EXPECT_EQ(1, static_cast<int32_t>(AvSampleFilter::KeyFramesOnly));
    static_assert(sizeof(AvSampleFilter) == 4, "32-bit enum");
}

TEST(AvModelTypesTest, SampleTextPairsTrackCodecLabelWithTheTrackType) {
    struct Row {
        uint32_t track;
        size_t size;
        uint64_t dts;
        uint64_t pts;
        bool first;
        AvTrackType type;
        const char* codec;
        const char* expected;
    };
    const Row table[] = {
        // "trackCodec:" is followed by the track type, never by the codec name.
        {1, 3, 90000, 93600, true, AvTrackType::Audio, "aac",
         "track:1 datalen:3 dts:90000 pts:93600 firstSample:1 trackCodec:Audio"},
        {0, 4210, 0, 7200, false, AvTrackType::Video, "avc1",
         "track:0 datalen:4210 dts:0 pts:7200 firstSample:0 trackCodec:Video"},
        // Empty payload; a negative container stamp as delivered (two's complement, decimal).
        {0, 0, UINT64_MAX - 7199, 0, false, AvTrackType::Video, "avc1",
         "track:0 datalen:0 dts:18446744073709544416 pts:0 firstSample:0 trackCodec:Video"},
        {7, 1, 1, 2, true, static_cast<AvTrackType>(9), "",
         "track:7 datalen:1 dts:1 pts:2 firstSample:1 trackCodec:Unknown"},
    };
    for (const auto& row : table) {
        AvSample sample;
        sample.track = row.track;
        sample.data.assign(row.size, 0xAB);
        sample.dts = row.dts;
        sample.pts = row.pts;
        sample.firstSample = row.first;
        sample.keyFrame = true;  // not part of the text
        sample.trackInfo.type = row.type;
        sample.trackInfo.codec = row.codec;
        EXPECT_EQ(row.expected, sample.toString());
        EXPECT_EQ(row.expected, streamed(sample));
    }
}

TEST(AvModelTypesTest, TrackText) {
    AvTrack track;
    track.id = 2;
    track.type = AvTrackType::Video;
    track.codec = "avc1";
    track.durationMs = 4000;
    track.intList = {1, 2};  // DASH members are not part of the text
    EXPECT_EQ("track:2 type:Video codec:avc1 durationMs:4000", track.toString());
    EXPECT_EQ(track.toString(), streamed(track));

    AvTrack unnamed;
    unnamed.id = 1;
    unnamed.type = AvTrackType::Audio;
    EXPECT_EQ("track:1 type:Audio codec: durationMs:0", unnamed.toString());
}

TEST(AvModelTypesTest, TrackCopySharesCodecDataAndCopiesEverythingElse) {
    auto codecData = std::make_shared<MarkerCodecData>();
    AvTrack track;
    track.id = 3;
    track.type = AvTrackType::Audio;
    track.codec = "aac";
    track.durationMs = 1234;
    track.codecData = codecData;
    track.intList = {3000000, 1500000};
    track.stringList = {"en", "de"};
    track.stringList2 = {"x"};
    track.intValue = 1500000;
    track.stringValue = "en";
    track.stringValue2 = "y";

    AvTrack copy = track;
    EXPECT_EQ(codecData.get(), copy.codecData.get());  // shared, not cloned
    EXPECT_EQ(3, codecData.use_count());
    EXPECT_EQ(track.id, copy.id);
    EXPECT_EQ(track.type, copy.type);
    EXPECT_EQ(track.codec, copy.codec);
    EXPECT_EQ(track.durationMs, copy.durationMs);
    EXPECT_EQ(track.intList, copy.intList);
    EXPECT_EQ(track.stringList, copy.stringList);
    EXPECT_EQ(track.stringList2, copy.stringList2);
    EXPECT_EQ(track.intValue, copy.intValue);
    EXPECT_EQ(track.stringValue, copy.stringValue);
    EXPECT_EQ(track.stringValue2, copy.stringValue2);

    // The lists are copies: changing one leaves the other alone.
    copy.intList.push_back(1);
    copy.stringList[0] = "fr";
    EXPECT_EQ(2u, track.intList.size());
    EXPECT_EQ("en", track.stringList[0]);
}

TEST(AvModelTypesTest, ExceptionCodesSurviveCatchingAsTheBase) {
    struct Row {
        std::function<void()> raise;
        int code;
        const char* text;
    };
    const Row table[] = {
        {[] { throw AvBaseException("base"); }, 0, "base"},
        {[] { throw AvParseErrorException("Ffmpeg failed to open file x"); }, 3,
         "Ffmpeg failed to open file x"},
        {[] { throw AvFileNotFoundException("Failed to open file y"); }, 6,
         "Failed to open file y"},
    };
    for (const auto& row : table) {
        try {
            row.raise();
            ADD_FAILURE() << "no exception";
        } catch (const AvBaseException& e) {
            EXPECT_EQ(row.code, e.getErrorCode());
            EXPECT_STREQ(row.text, e.what());
        }
        // The whole family is also a std::runtime_error.
        EXPECT_THROW(row.raise(), std::runtime_error);
    }
}
