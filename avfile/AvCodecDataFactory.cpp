#include "avfile/AvCodecDataFactory.h"

#include "avfile/AacData.h"
#include "avfile/H264AvcData.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvCodecDataFactory")

namespace avfile {

std::shared_ptr<IAvCodecData> AvCodecDataFactory::getCodecData(
    const std::string& codec, const std::vector<unsigned char>& extraData) const {
    try {
        if (codec == H264AvcData::mCodec) {
            return std::make_shared<H264AvcData>(extraData);
        }
        if (codec == AacData::mCodec) {
            return std::make_shared<AacData>(extraData);
        }
    } catch (...) {
        ZUN_LOG(0, "end, Failed to parse %s", codec.c_str());
    }
    return nullptr;
}

}  // namespace avfile
