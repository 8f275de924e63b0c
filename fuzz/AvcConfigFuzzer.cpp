// Fuzz target: the AVCDecoderConfigurationRecord (avcC payload, ISO/IEC 14496-15 5.2.4.1) and the
// H.264 codec data built from it.
//
// Expected outcomes: H264AvcData refuses with std::runtime_error (or std::out_of_range for an SPS
// too short to hold its profile and level). Checked on every input: the factory agrees with the
// constructor (empty result exactly when it threw) and never throws; accepted codec data has a
// prefix width of 1, 2 or 4, an SPS of at least 4 bytes whose level is at most 4.1 (the level
// repair) and at least one PPS, all taken unchanged from the record but for that repair.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "avfile/AvCodecDataFactory.h"
#include "avfile/H264AvcData.h"
#include "fuzz/FuzzCheck.h"
#include "mpeg4_parsing/AVCDecoderConfigurationRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<unsigned char> bytes(data, data + size);

    ISO::AVCDecoderConfigurationRecord record;
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    FUZZ_CHECK(record.init(in));
    FUZZ_CHECK(record.lengthSizeMinusOne() <= 3);
    FUZZ_CHECK(record.rawSpsNals().size() <= 31 && record.rawPpsNals().size() <= 255);

    bool accepted = false;
    try {
        const avfile::H264AvcData avc(bytes);
        accepted = true;
        FUZZ_CHECK(avc.mNalSize == 1 || avc.mNalSize == 2 || avc.mNalSize == 4);
        FUZZ_CHECK(avc.mSps.size() >= 4 && avc.mSps[3] <= 41);
        FUZZ_CHECK(!avc.mPps.empty() && avc.mPps == record.rawPpsNals());
        std::vector<unsigned char> sps = record.rawSpsNals().at(0);
        if (sps[3] >= 42) {
            sps[3] = 41;
        }
        FUZZ_CHECK(avc.mSps == sps);
    } catch (const std::runtime_error&) {
    } catch (const std::out_of_range&) {
    }

    const avfile::AvCodecDataFactory factory;
    FUZZ_CHECK((factory.getCodecData(avfile::H264AvcData::mCodec, bytes) != nullptr) == accepted);
    return 0;
}
