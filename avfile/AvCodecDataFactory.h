#pragma once

#include "avfile/IAvCodecDataFactory.h"

namespace avfile {

// Makes H264AvcData for "avc1" and AacData for "aac"; anything else, or a record the codec data
// refuses, gives an empty pointer. Never throws.
class AvCodecDataFactory : public IAvCodecDataFactory {
public:
    AvCodecDataFactory() = default;

    std::shared_ptr<IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>& extraData) const override;
};

}  // namespace avfile
