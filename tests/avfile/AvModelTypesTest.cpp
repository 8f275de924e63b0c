// Text forms of the media model types: the texts end up in log lines that readers match on.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "avfile/AvSample.h"
#include "avfile/AvStatus.h"
#include "avfile/AvStreamerState.h"
#include "avfile/AvTrackType.h"

using namespace avfile;

namespace {

template <typename T>
std::string streamed(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

TEST(AvModelTypesTest, EnumTextsIncludingValuesOutsideTheTables) {
    const struct {
        std::string text;
        const char* expected;
    } table[] = {
        {toString(static_cast<AvTrackType>(2)), "Subtitle"},
        {streamed(static_cast<AvTrackType>(4)), "Unknown"},
        {toString(static_cast<AvStatus>(2)), "NotEnoughData"},
        {streamed(static_cast<AvStatus>(-2)), "Unknown"},
        {toString(static_cast<AvStreamerState>(7)), "KeyframeSent"},
        {streamed(static_cast<AvStreamerState>(8)), "Unknown"},
    };
    for (const auto& row : table) EXPECT_EQ(row.expected, row.text);
}

// The label names the track type, never the codec; a negative container stamp prints as
// delivered (two's complement).
TEST(AvModelTypesTest, SampleText) {
    AvSample sample;
    sample.track = 1;
    sample.data.assign(3, 0xAB);
    sample.dts = UINT64_MAX - 7199;
    sample.pts = 7200;
    sample.firstSample = true;
    sample.trackInfo.type = AvTrackType::Audio;
    sample.trackInfo.codec = "avc1";
    EXPECT_EQ("track:1 datalen:3 dts:18446744073709544416 pts:7200 firstSample:1 trackCodec:Audio",
              streamed(sample));
}

}  // namespace
