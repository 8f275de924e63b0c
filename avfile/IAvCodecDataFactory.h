#pragma once

#include <memory>
#include <string>
#include <vector>

#include "avfile/IAvCodecData.h"

namespace avfile {

// Makes the codec-data object for a codec name ("avc1", "aac") from the container's codec-private
// bytes. Never throws: an empty pointer means no (usable) codec data.
class IAvCodecDataFactory {
public:
    virtual std::shared_ptr<IAvCodecData> getCodecData(
        const std::string& codec, const std::vector<unsigned char>& extraData) const = 0;
    virtual ~IAvCodecDataFactory() {}
};

}  // namespace avfile
