#include "avfile/H264AvcData.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The parts of an avcC record a test varies; the SPS carries profile, flags and level in its
// bytes 1-3, the record header its own copies (normally equal).
struct Avcc {
    unsigned char version = 1;
    unsigned char profile = 100;
    unsigned char flags = 0;
    unsigned char level = 31;
    unsigned char lengthSizeMinusOne = 3;
    int spsCount = 1;
    int ppsCount = 1;

    Bytes sps() const { return {0x67, profile, flags, level, 0xAC, 0xD9}; }
    static Bytes pps(int i) { return {0x68, 0xEB, static_cast<unsigned char>(0xE0 + i)}; }

    Bytes bytes() const {
        Bytes out = {version, profile, flags, level,
                     static_cast<unsigned char>(0xFC | lengthSizeMinusOne),
                     static_cast<unsigned char>(0xE0 | spsCount)};
        for (int i = 0; i < spsCount; ++i) {
            const Bytes s = sps();
            out.push_back(0);
            out.push_back(static_cast<unsigned char>(s.size()));
            out.insert(out.end(), s.begin(), s.end());
        }
        out.push_back(static_cast<unsigned char>(ppsCount));
        for (int i = 0; i < ppsCount; ++i) {
            const Bytes p = pps(i);
            out.push_back(0);
            out.push_back(static_cast<unsigned char>(p.size()));
            out.insert(out.end(), p.begin(), p.end());
        }
        return out;
    }
};

void expectAllFromSource(const velar_test::LogCapture& log) {
    for (const auto& line : log.lines()) {
        if (line.source != "mpeg4_parsing/ISO_14496-15_Box_Extensions") {
            EXPECT_EQ("avfile/H264AvcData", line.source) << line.message;
        }
        EXPECT_EQ(0, line.level) << line.message;
    }
}

TEST(H264AvcDataTest, CodecName) { EXPECT_EQ("avc1", avfile::H264AvcData::mCodec); }

TEST(H264AvcDataTest, KeepsPrefixWidthSpsAndEveryPps) {
    velar_test::LogCapture log;
    Avcc avcc;
    avcc.ppsCount = 3;
    const avfile::H264AvcData data(avcc.bytes());
    EXPECT_EQ(4u, data.mNalSize);
    EXPECT_EQ(avcc.sps(), data.mSps);
    EXPECT_EQ((std::vector<Bytes>{Avcc::pps(0), Avcc::pps(1), Avcc::pps(2)}), data.mPps);
    EXPECT_TRUE(log.messages().empty());
}

// One row per rule of testAvcData: a record, whether it is accepted, and the log line of the
// refusal (or a warning that must appear).
struct Case {
    const char* name;
    Avcc avcc;
    bool accepted;
    std::string message;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

Avcc with(unsigned char profile, unsigned char flags, unsigned char level,
          unsigned char lengthSizeMinusOne = 3) {
    Avcc a;
    a.profile = profile;
    a.flags = flags;
    a.level = level;
    a.lengthSizeMinusOne = lengthSizeMinusOne;
    return a;
}

class H264AvcDataCaseTest : public ::testing::TestWithParam<Case> {};

TEST_P(H264AvcDataCaseTest, AcceptsOrRefuses) {
    const Case& c = GetParam();
    velar_test::LogCapture log;
    if (c.accepted) {
        EXPECT_NO_THROW(avfile::H264AvcData{c.avcc.bytes()});
    } else {
        try {
            avfile::H264AvcData data(c.avcc.bytes());
            FAIL() << "accepted";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string("Avc data failed testing"), e.what());
        }
    }
    if (!c.message.empty()) {
        EXPECT_TRUE(log.contains(c.message)) << ::testing::PrintToString(log.messages());
    } else {
        EXPECT_TRUE(log.messages().empty()) << ::testing::PrintToString(log.messages());
    }
    expectAllFromSource(log);
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Rules, H264AvcDataCaseTest,
    ::testing::Values(
        Case{"Baseline30", with(66, 0xC0, 30), true, ""},
        Case{"Main40", with(77, 0x40, 40), true, ""},
        Case{"Extended22", with(88, 0, 22), true, ""},
        Case{"HighNoFlags", with(100, 0, 31), true, ""},
        Case{"High10NoFlags", with(110, 0, 31), false,
             "end, Unsupported profile_idc (and no constraint_set(n)_flag bits were set): "
             "profile_idc = 110"},
        Case{"High10Constrained", with(110, 0x40, 31), true, ""},
        Case{"High422NoFlags", with(122, 0, 40), false,
             "end, Unsupported profile_idc (and no constraint_set(n)_flag bits were set): "
             "profile_idc = 122"},
        Case{"High444Constrained", with(144, 0x20, 40), true, ""},
        Case{"UnknownProfile", with(244, 0, 31), false, "end, Unknown AVC profile: 244"},
        Case{"ZeroProfile", with(0, 0, 31), false, "end, Unknown AVC profile: 0"},
        Case{"Main1b", with(77, 0x10, 11), true, ""},
        Case{"Baseline1b", with(66, 0x50, 11), true, ""},
        Case{"MainSet3Level10", with(77, 0x10, 10), false,
             "end, constraint_set3_flag was set incorrectly.  profile_idc = 77, level_idc = 10"},
        Case{"HighSet3Level11", with(100, 0x10, 11), false,
             "end, constraint_set3_flag was set incorrectly.  profile_idc = 100, level_idc = 11"},
        Case{"Level9", with(77, 0, 9), false, "end, Unknown AVC level: 9"},
        Case{"Level0", with(77, 0, 0), false, "end, Unknown AVC level: 0"},
        Case{"Level14", with(77, 0, 14), false, "end, Unknown AVC level: 14"},
        Case{"Level23", with(77, 0, 23), false, "end, Unknown AVC level: 23"},
        Case{"Level33", with(77, 0, 33), false, "end, Unknown AVC level: 33"},
        Case{"Level13", with(77, 0, 13), true, ""},
        Case{"Level20", with(77, 0, 20), true, ""},
        Case{"Level32", with(77, 0, 32), true, ""},
        Case{"Level41", with(77, 0, 41), true, ""},
        Case{"Prefix1", with(100, 0, 31, 0), true, ""},
        Case{"Prefix2", with(100, 0, 31, 1), true, ""},
        Case{"Prefix3", with(100, 0, 31, 2), false, "end, ERROR: (mNalSize == 3)."}),
    caseName);

TEST(H264AvcDataTest, LevelsAbove41AreRepairedInTheSpsOnly) {
    for (unsigned int level : {42u, 50u, 51u, 52u, 255u}) {
        velar_test::LogCapture log;
        Avcc avcc = with(66, 0, static_cast<unsigned char>(level));
        const avfile::H264AvcData data(avcc.bytes());
        Bytes expectedSps = avcc.sps();
        expectedSps[3] = 41;
        EXPECT_EQ(expectedSps, data.mSps) << level;
        const std::vector<std::string> expected = {
            "Fix of level_idc=" + std::to_string(level) + ": change mSps.at(3) from " +
                std::to_string(level) + " to 41",
            // The record keeps its own level, so the consistency warning follows every repair.
            "end, WARN: (mSps.at(3) != record.avcLevelIndication()).",
        };
        EXPECT_EQ(expected, log.messages()) << level;
        expectAllFromSource(log);
    }
}

TEST(H264AvcDataTest, HeaderMismatchesOnlyWarn) {
    velar_test::LogCapture log;
    Avcc avcc;
    Bytes bytes = avcc.bytes();
    bytes[1] = 77;    // AVCProfileIndication
    bytes[2] = 0x40;  // profile_compatibility
    bytes[3] = 30;    // AVCLevelIndication
    const avfile::H264AvcData data(bytes);
    const std::vector<std::string> expected = {
        "end, WARN: (mSps.at(1) != record.avcProfileIndication()).",
        "end, WARN: (mSps.at(2) != record.profileCompatibility()).",
        "end, WARN: (mSps.at(3) != record.avcLevelIndication()).",
    };
    EXPECT_EQ(expected, log.messages());
}

TEST(H264AvcDataTest, WrongVersionFailsTesting) {
    velar_test::LogCapture log;
    Avcc avcc;
    avcc.version = 2;
    EXPECT_THROW(avfile::H264AvcData{avcc.bytes()}, std::runtime_error);
    const std::vector<std::string> expected = {
        "Warning: unknown configuration version '2' in an AVCDecoderConfigurationRecord.",
        "end, ERROR: (record.configurationVersion() != 1).",
    };
    EXPECT_EQ(expected, log.messages());
}

void expectExtractFailure(const Bytes& bytes, const std::string& message) {
    velar_test::LogCapture log;
    try {
        avfile::H264AvcData data(bytes);
        FAIL() << "accepted";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("Could not extract avc data"), e.what());
    }
    EXPECT_TRUE(log.contains(message)) << ::testing::PrintToString(log.messages());
}

TEST(H264AvcDataTest, ExactlyOneSpsAndAtLeastOnePps) {
    Avcc two;
    two.spsCount = 2;
    expectExtractFailure(two.bytes(), "end, ERROR: (record.rawSpsNals().size() != 1).");
    {
        velar_test::LogCapture log;
        EXPECT_THROW(avfile::H264AvcData{two.bytes()}, std::runtime_error);
        EXPECT_EQ(log.messages().front(),
                  "Warning: Multiple SPS's found.  All PPS's will be associated with the first "
                  "SPS.");
    }
    Avcc none;
    none.spsCount = 0;
    expectExtractFailure(none.bytes(), "end, ERROR: (record.rawSpsNals().size() != 1).");
    Avcc noPps;
    noPps.ppsCount = 0;
    expectExtractFailure(noPps.bytes(), "end, ERROR: (record.rawPpsNals().size() < 1).");
}

TEST(H264AvcDataTest, TruncatedOrEmptyRecordsAreRefused) {
    const Bytes full = Avcc().bytes();
    // Cut after the SPS: no PPS.
    expectExtractFailure(Bytes(full.begin(), full.begin() + 14),
                         "end, ERROR: (record.rawPpsNals().size() < 1).");
    // Nothing at all: no SPS.
    expectExtractFailure(Bytes{}, "end, ERROR: (record.rawSpsNals().size() != 1).");
}

TEST(H264AvcDataTest, SpsShorterThanFourBytesThrowsOutOfRange) {
    const Bytes bytes = {
        0x01, 0x64, 0x00, 0x1F, 0xFF, 0xE1,  // header, one SPS
        0x00, 0x02, 0x67, 0x64,              // SPS of two bytes
        0x01, 0x00, 0x01, 0x68,              // one PPS
    };
    EXPECT_THROW(avfile::H264AvcData{bytes}, std::out_of_range);
}

TEST(H264AvcDataTest, StepsCanBeCalledOnAParsedRecord) {
    Avcc avcc = with(77, 0, 42, 1);
    std::istringstream in(std::string(reinterpret_cast<const char*>(avcc.bytes().data()),
                                      avcc.bytes().size()));
    ISO::AVCDecoderConfigurationRecord record;
    ASSERT_TRUE(record.init(in));
    avfile::H264AvcData data(Avcc().bytes());
    data.mPps.clear();
    velar_test::LogCapture log;
    ASSERT_TRUE(data.extractAvcData(record));
    EXPECT_EQ(2u, data.mNalSize);
    EXPECT_EQ(41, data.mSps.at(3));
    EXPECT_EQ(1u, data.mPps.size());
    EXPECT_TRUE(data.testAvcData(record));
    EXPECT_EQ(42u, record.avcLevelIndication());
}

}  // namespace
