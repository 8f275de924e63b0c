#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("mpeg4_parsing/ISO_14496-15_Box_Extensions")

namespace ISO {

namespace {

// One byte; past the end the stream yields EOF, kept as FF.
unsigned int readU8(std::istream& in) { return static_cast<unsigned int>(in.get()) & 0xFFu; }

unsigned int readU16(std::istream& in) {
    const unsigned int high = readU8(in);
    return (high << 8) | readU8(in);
}

// `count` NAL units, each behind a 16-bit length, into zero-filled vectors. Stops once the stream
// is exhausted: a truncated record then holds fewer entries (and the last one a zero tail).
void readNals(std::istream& in, unsigned int count, std::vector<std::vector<unsigned char>>& out) {
    for (unsigned int i = 0; i < count && in.good(); ++i) {
        const unsigned int length = readU16(in);
        if (!in.good()) {
            break;
        }
        std::vector<unsigned char> nal(length, 0);
        in.read(reinterpret_cast<char*>(nal.data()), static_cast<std::streamsize>(length));
        out.push_back(std::move(nal));
    }
}

}  // namespace

AVCDecoderConfigurationRecord::AVCDecoderConfigurationRecord()
    : mConfigurationVersion(0),
      mAvcProfileIndication(0),
      mProfileCompatibility(0),
      mAvcLevelIndication(0),
      mLengthSizeMinusOne(0) {}

AVCDecoderConfigurationRecord::~AVCDecoderConfigurationRecord() = default;

bool AVCDecoderConfigurationRecord::init(std::istream& in) {
    mConfigurationVersion = readU8(in);
    if (mConfigurationVersion != 1) {
        ZUN_LOG(0,
                "Warning: unknown configuration version '%u' in an "
                "AVCDecoderConfigurationRecord.",
                mConfigurationVersion);
    }
    mAvcProfileIndication = readU8(in);
    mProfileCompatibility = readU8(in);
    mAvcLevelIndication = readU8(in);

    const unsigned int a = readU8(in);  // reserved '111111', lengthSizeMinusOne
    const unsigned int b = readU8(in);  // reserved '111', numOfSequenceParameterSets
    if ((a & 0xFC) != 0xFC || (b & 0xE0) != 0xE0) {
        ZUN_LOG(0,
                "Warning: un-set bits found in reserved section of an "
                "AVCDecoderConfigurationRecord.");
    }
    mLengthSizeMinusOne = a & 0x03;
    const unsigned int spsCount = b & 0x1F;
    if (spsCount >= 2) {
        ZUN_LOG(0, "Warning: Multiple SPS's found.  All PPS's will be associated with the first SPS.");
    }
    mRawSpsNals.clear();
    mRawPpsNals.clear();
    readNals(in, spsCount, mRawSpsNals);
    const unsigned int ppsCount = readU8(in);
    readNals(in, ppsCount, mRawPpsNals);
    return true;
}

}  // namespace ISO
