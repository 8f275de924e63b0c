#include "avfile/H264AvcData.h"

#include <sstream>
#include <stdexcept>

#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/H264AvcData")

namespace avfile {

const std::string H264AvcData::mCodec = "avc1";

namespace {

bool isKnownProfile(unsigned int profile) {
    switch (profile) {
        case 66:   // Baseline
        case 77:   // Main
        case 88:   // Extended
        case 100:  // High
        case 110:  // High 10
        case 122:  // High 4:2:2
        case 144:  // High 4:4:4 (old)
            return true;
        default:
            return false;
    }
}

bool isKnownLevel(unsigned int level) {
    return (level >= 10 && level <= 13) || (level >= 20 && level <= 22) ||
           (level >= 30 && level <= 32) || (level >= 40 && level <= 42) ||
           (level >= 50 && level <= 51);
}

}  // namespace

H264AvcData::H264AvcData(const std::vector<unsigned char>& extraData) {
    std::istringstream in(std::string(extraData.begin(), extraData.end()));
    ISO::AVCDecoderConfigurationRecord record;
    record.init(in);
    if (!extractAvcData(record)) {
        throw std::runtime_error("Could not extract avc data");
    }
    if (!testAvcData(record)) {
        throw std::runtime_error("Avc data failed testing");
    }
}

bool H264AvcData::extractAvcData(const ISO::AVCDecoderConfigurationRecord& record) {
    if (record.rawSpsNals().size() != 1) {
        ZUN_LOG(0, "end, ERROR: (record.rawSpsNals().size() != 1).");
        return false;
    }
    mNalSize = record.lengthSizeMinusOne() + 1;
    mSps = record.rawSpsNals().front();
    if (record.rawPpsNals().empty()) {
        ZUN_LOG(0, "end, ERROR: (record.rawPpsNals().size() < 1).");
        return false;
    }
    mPps.insert(mPps.end(), record.rawPpsNals().begin(), record.rawPpsNals().end());

    // Encoders label streams with levels the decoder refuses although it plays them: every level
    // above 4.1 is rewritten to 4.1 in the SPS itself (the record keeps its own value).
    if (mSps.size() > 3 && mSps[3] >= 42) {
        const int oldLevel = mSps[3];
        ZUN_LOG(0, "Fix of level_idc=%d: change mSps.at(3) from %d to 41", oldLevel, oldLevel);
        mSps[3] = 41;
    }
    return true;
}

bool H264AvcData::testAvcData(const ISO::AVCDecoderConfigurationRecord& record) {
    if (record.configurationVersion() != 1) {
        ZUN_LOG(0, "end, ERROR: (record.configurationVersion() != 1).");
        return false;
    }
    const unsigned char profile = mSps.at(1);
    const unsigned char flags = mSps.at(2);
    const unsigned char level = mSps.at(3);

    if (!isKnownProfile(profile)) {
        ZUN_LOG(0, "end, Unknown AVC profile: %u", static_cast<unsigned int>(profile));
        return false;
    }
    if (flags & 0x10) {
        // constraint_set3_flag: only level 1b of Baseline, Main and Extended.
        if (!(profile < 89 && level == 11)) {
            ZUN_LOG(0,
                    "end, constraint_set3_flag was set incorrectly.  profile_idc = %hhu, "
                    "level_idc = %hhu",
                    profile, level);
            return false;
        }
    } else if (level < 10) {
        ZUN_LOG(0, "end, Unknown AVC level: %u", static_cast<unsigned int>(level));
        return false;
    }
    if (!isKnownLevel(level)) {
        ZUN_LOG(0, "end, Unknown AVC level: %u", static_cast<unsigned int>(level));
        return false;
    }
    mNalSize = record.lengthSizeMinusOne() + 1;
    if (mNalSize == 3) {
        ZUN_LOG(0, "end, ERROR: (mNalSize == 3).");
        return false;
    }
    if (profile != record.avcProfileIndication()) {
        ZUN_LOG(0, "end, WARN: (mSps.at(1) != record.avcProfileIndication()).");
    }
    if (flags != record.profileCompatibility()) {
        ZUN_LOG(0, "end, WARN: (mSps.at(2) != record.profileCompatibility()).");
    }
    if (level != record.avcLevelIndication()) {
        ZUN_LOG(0, "end, WARN: (mSps.at(3) != record.avcLevelIndication()).");
    }
    if (profile >= 101 && (flags & 0xE0) == 0) {
        ZUN_LOG(0,
                "end, Unsupported profile_idc (and no constraint_set(n)_flag bits were set): "
                "profile_idc = %hhu",
                profile);
        return false;
    }
    return true;
}

}  // namespace avfile
