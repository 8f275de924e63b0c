// Codec data: the avcC record of H.264 with its checks and repairs, the AudioSpecificConfig of AAC, and the factory
// that picks between them by codec name.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AvCodecDataFactory.h"
#include "avfile/H264AvcData.h"
#include "tests/common/LogCapture.h"

using namespace avfile;

namespace {

using Bytes = std::vector<unsigned char>;

// An avcC record whose header repeats the SPS's profile_idc, constraint flags and level_idc.
Bytes avcc(unsigned char profile, unsigned char flags, unsigned char level, unsigned char lengthSizeMinusOne = 3,
           unsigned char spsCount = 1, unsigned char ppsCount = 1) {
    Bytes out = {0x01, profile, flags, level,         // version, profile, compatibility, level
                 uint8_t(0xFC | lengthSizeMinusOne),  // reserved, lengthSizeMinusOne
                 uint8_t(0xE0 | spsCount)};           // reserved, SPS count
    for (int i = 0; i < spsCount; ++i) out.insert(out.end(), {0x00, 0x06, 0x67, profile, flags, level, 0xAC, 0xD9});
    out.push_back(ppsCount);
    for (int i = 0; i < ppsCount; ++i) out.insert(out.end(), {0x00, 0x03, 0x68, 0xEB, uint8_t(0xE0 + i)});
    return out;
}

// The same record with its first bytes replaced by `header`.
Bytes withHeader(Bytes record, const Bytes& header) {
    std::copy(header.begin(), header.end(), record.begin());
    return record;
}

TEST(H264AvcDataTest, KeepsPrefixWidthSpsAndEveryPps) {
    const H264AvcData data(avcc(100, 0, 31, 1, 1, 3));
    EXPECT_EQ(2u, data.mNalSize);
    EXPECT_EQ((Bytes{0x67, 100, 0, 31, 0xAC, 0xD9}), data.mSps);
    EXPECT_EQ((std::vector<Bytes>{{0x68, 0xEB, 0xE0}, {0x68, 0xEB, 0xE1}, {0x68, 0xEB, 0xE2}}), data.mPps);
}

const char* const kTesting = "Avc data failed testing";
const char* const kExtract = "Could not extract avc data";
const char* const kLevelWarning = "end, WARN: (mSps.at(3) != record.avcLevelIndication()).";
const std::string kUnsupported =
    "end, Unsupported profile_idc (and no constraint_set(n)_flag bits were set): profile_idc = ";
const std::string kSet3 = "end, constraint_set3_flag was set incorrectly.  profile_idc = ";

// One row per rule: the record, the refusal (nullptr: accepted), every log line, and for an accepted record the
// level_idc left in the SPS.
TEST(H264AvcDataTest, AcceptsOrRefuses) {
    const struct {
        const char* name;
        Bytes record;
        const char* error;
        std::vector<std::string> log;
        unsigned char spsLevel;
    } table[] = {
        {"Baseline30", avcc(66, 0xC0, 30), nullptr, {}, 30},
        {"Extended22", avcc(88, 0x40, 22), nullptr, {}, 22},
        {"HighWithoutFlags", avcc(100, 0, 31), nullptr, {}, 31},
        {"High10WithoutFlags", avcc(110, 0, 31), kTesting, {kUnsupported + "110"}, 0},
        {"High10Constrained", avcc(110, 0x40, 31), nullptr, {}, 31},
        {"UnknownProfile", avcc(244, 0, 31), kTesting, {"end, Unknown AVC profile: 244"}, 0},
        {"MainLevel1b", avcc(77, 0x10, 11), nullptr, {}, 11},
        {"MainSet3Level10", avcc(77, 0x10, 10), kTesting, {kSet3 + "77, level_idc = 10"}, 0},
        {"Level9", avcc(77, 0, 9), kTesting, {"end, Unknown AVC level: 9"}, 0},
        {"Level13", avcc(77, 0, 13), nullptr, {}, 13},
        {"Level14", avcc(77, 0, 14), kTesting, {"end, Unknown AVC level: 14"}, 0},
        {"Level41", avcc(77, 0, 41), nullptr, {}, 41},
        // Every level from 42 up becomes 41 in the SPS; the record keeps its own: a warning.
        {"Level52Repaired", avcc(66, 0, 52), nullptr,
         {"Fix of level_idc=52: change mSps.at(3) from 52 to 41", kLevelWarning}, 41},
        {"Level255Repaired", avcc(100, 0, 255), nullptr,
         {"Fix of level_idc=255: change mSps.at(3) from 255 to 41", kLevelWarning}, 41},
        {"Prefix3", avcc(100, 0, 31, 2), kTesting, {"end, ERROR: (mNalSize == 3)."}, 0},
        {"Version2", withHeader(avcc(100, 0, 31), {2}), kTesting,
         {"Warning: unknown configuration version '2' in an AVCDecoderConfigurationRecord.",
          "end, ERROR: (record.configurationVersion() != 1)."}, 0},
        {"HeaderDiffersFromSps", withHeader(avcc(100, 0, 31), {1, 77, 0x40, 30}), nullptr,
         {"end, WARN: (mSps.at(1) != record.avcProfileIndication()).",
          "end, WARN: (mSps.at(2) != record.profileCompatibility()).", kLevelWarning}, 31},
        {"TwoSps", avcc(100, 0, 31, 3, 2), kExtract,
         {"Warning: Multiple SPS's found.  All PPS's will be associated with the first SPS.",
          "end, ERROR: (record.rawSpsNals().size() != 1)."}, 0},
        {"NoPps", avcc(100, 0, 31, 3, 1, 0), kExtract, {"end, ERROR: (record.rawPpsNals().size() < 1)."}, 0},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        velar_test::LogCapture log;
        try {
            const H264AvcData data(c.record);
            EXPECT_EQ(nullptr, c.error) << "accepted";
            EXPECT_EQ(c.spsLevel, data.mSps.at(3));
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(c.error ? c.error : "accepted", e.what());
        }
        EXPECT_EQ(c.log, log.messages());
    }
}

// The class is picked by the exact codec name; refusals are logged, never thrown.
TEST(AvCodecDataFactoryTest, PicksTheClassByNameAndNeverThrows) {
    const struct {
        const char* codec;
        Bytes extraData;
        const char* made;    // dynamic type of the result, "" for none
        const char* logged;  // the factory's last line, "" for nothing logged
    } table[] = {
        {"avc1", avcc(77, 0x40, 30), "H264AvcData", ""},      {"aac", {0x11, 0x90}, "AacData", ""},
        {"avc3", avcc(77, 0x40, 30), "", ""},                 {"aac", {0x12}, "", "end, Failed to parse aac"},
        {"avc1", avcc(110, 0, 30), "", "end, Failed to parse avc1"},
    };
    for (const auto& row : table) {
        velar_test::LogCapture log;
        const auto data = AvCodecDataFactory().getCodecData(row.codec, row.extraData);
        const char* made = std::dynamic_pointer_cast<H264AvcData>(data) ? "H264AvcData"
                           : std::dynamic_pointer_cast<AacData>(data)   ? "AacData" : data ? "other" : "";
        EXPECT_STREQ(row.made, made) << row.codec;
        const auto messages = log.messages();
        EXPECT_EQ(row.logged, messages.empty() ? "" : messages.back()) << row.codec;
    }
}

// AudioSpecificConfig: audioObjectType (5 bits), samplingFrequencyIndex (4), channels (4), ...
Bytes config(unsigned int objectType, unsigned int index, unsigned int channels) {
    const unsigned int bits = (objectType << 11) | (index << 7) | (channels << 3);
    return {uint8_t(bits >> 8), uint8_t(bits)};
}

// Object type and channels around the index are all ones, then all zeros: only the index counts.
TEST(AacDataTest, RateTableAndRefusals) {
    const unsigned int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
    for (unsigned int index = 0; index < 13; ++index) {
        EXPECT_EQ(rates[index], AacData(config(31, index, 15)).sampleRate) << index;
        EXPECT_EQ(rates[index], AacData(config(0, index, 0)).sampleRate) << index;
    }
    EXPECT_THROW(AacData{config(2, 13, 2)}, std::out_of_range);
    EXPECT_THROW(AacData{config(2, 15, 2)}, std::out_of_range);  // explicit rate follows
    EXPECT_THROW(AacData{Bytes{0x12}}, std::out_of_range);
    EXPECT_THROW(AacData{Bytes{}}, std::out_of_range);
}

}  // namespace
