// Fuzz target: the AudioSpecificConfig (ISO/IEC 14496-3 1.6.2.1) read by AacData.
//
// Expected outcome for bad input: std::out_of_range (fewer than two bytes, or a
// samplingFrequencyIndex of 13 or more). Checked: the factory agrees with the constructor and
// never throws, and an accepted configuration has one of the 13 table rates.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "avfile/AacData.h"
#include "avfile/AvCodecDataFactory.h"
#include "fuzz/FuzzCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<unsigned char> bytes(data, data + size);
    bool accepted = false;
    try {
        const avfile::AacData aac(bytes);
        accepted = true;
        FUZZ_CHECK(aac.sampleRate >= 7350 && aac.sampleRate <= 96000);
    } catch (const std::out_of_range&) {
    }
    const bool expected = size >= 2 && ((((data[0] << 8) | data[1]) >> 7) & 0x0F) < 13;
    FUZZ_CHECK(accepted == expected);

    const avfile::AvCodecDataFactory factory;
    FUZZ_CHECK((factory.getCodecData(avfile::AacData::mCodec, bytes) != nullptr) == accepted);
    return 0;
}
