// Text forms, fixed values and exception codes of the media model types: the texts end up in log
// lines that readers match on, and the numbers cross the host boundary.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include "TestMedia.h"
#include "avfile/AvBaseException.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/AvSample.h"
#include "avfile/AvSampleFilter.h"
#include "avfile/AvStatus.h"
#include "avfile/AvStreamerState.h"
#include "avfile/AvTrack.h"
#include "avfile/AvTrackType.h"

using namespace avfile;

namespace {

template <typename T>
std::string streamed(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

static_assert(sizeof(AvTrackType) == 4 && sizeof(AvStatus) == 4 && sizeof(AvSampleFilter) == 4,
              "the enums cross the host boundary as 32-bit values");
static_assert(static_cast<int>(AvSampleFilter::KeyFramesOnly) == 1, "fixed value");

TEST(AvModelTypesTest, EnumTextsIncludingValuesOutsideTheTables) {
    const struct {
        std::string text;
        std::string streamedText;
        const char* expected;
    } table[] = {
        {toString(static_cast<AvTrackType>(2)), streamed(AvTrackType::Subtitle), "Subtitle"},
        {toString(static_cast<AvTrackType>(3)), streamed(AvTrackType::Unknown), "Unknown"},
        {toString(static_cast<AvTrackType>(-1)), streamed(static_cast<AvTrackType>(4)), "Unknown"},
        {toString(static_cast<AvStatus>(1)), streamed(AvStatus::EndOfFile), "EndOfFile"},
        {toString(static_cast<AvStatus>(2)), streamed(AvStatus::NotEnoughData), "NotEnoughData"},
        {toString(static_cast<AvStatus>(3)), streamed(static_cast<AvStatus>(-2)), "Unknown"},
        {toString(static_cast<AvStreamerState>(7)), streamed(AvStreamerState::KeyframeSent),
         "KeyframeSent"},
        {toString(static_cast<AvStreamerState>(8)), streamed(static_cast<AvStreamerState>(100)),
         "Unknown"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.expected, row.text);
        EXPECT_EQ(row.expected, row.streamedText);
    }
}

TEST(AvModelTypesTest, SampleTextPairsTheTrackCodecLabelWithTheTrackType) {
    const struct {
        size_t size;
        uint64_t dts;
        bool first;
        AvTrackType type;
        const char* expected;
    } table[] = {
        {3, 90000, true, AvTrackType::Audio,
         "track:1 datalen:3 dts:90000 pts:7200 firstSample:1 trackCodec:Audio"},
        // An empty payload; a negative container stamp as delivered (two's complement).
        {0, UINT64_MAX - 7199, false, AvTrackType::Video,
         "track:1 datalen:0 dts:18446744073709544416 pts:7200 firstSample:0 trackCodec:Video"},
        {1, 1, false, static_cast<AvTrackType>(9),
         "track:1 datalen:1 dts:1 pts:7200 firstSample:0 trackCodec:Unknown"},
    };
    for (const auto& row : table) {
        AvSample sample;
        sample.track = 1;
        sample.data.assign(row.size, 0xAB);
        sample.dts = row.dts;
        sample.pts = 7200;
        sample.firstSample = row.first;
        sample.keyFrame = true;  // not part of the text
        sample.trackInfo.type = row.type;
        sample.trackInfo.codec = "avc1";  // never printed: the label names the type
        EXPECT_EQ(row.expected, sample.toString());
        EXPECT_EQ(row.expected, streamed(sample));
    }
}

TEST(AvModelTypesTest, TrackTextAndCopies) {
    AvTrack track;
    track.id = 2;
    track.type = AvTrackType::Audio;
    track.durationMs = 4000;
    track.codecData = std::make_shared<IAvCodecData>();
    track.stringList = {"en", "de"};  // DASH members are not part of the text
    EXPECT_EQ("track:2 type:Audio codec: durationMs:4000", streamed(track));

    AvTrack copy = track;
    EXPECT_EQ(track.codecData, copy.codecData);  // shared, not cloned
    copy.stringList[0] = "fr";
    EXPECT_EQ((std::vector<std::string>{"en", "de"}), track.stringList);
}

static_assert(std::is_base_of<std::runtime_error, AvBaseException>::value, "one family");

TEST(AvModelTypesTest, ExceptionCodesSurviveCatchingAsTheBase) {
    using velar_test::failureOf;
    EXPECT_EQ(std::make_pair(0, std::string("a")), failureOf([] { throw AvBaseException("a"); }));
    EXPECT_EQ(std::make_pair(3, std::string("b")),
              failureOf([] { throw AvParseErrorException("b"); }));
    EXPECT_EQ(std::make_pair(6, std::string("c")),
              failureOf([] { throw AvFileNotFoundException("c"); }));
}

}  // namespace
