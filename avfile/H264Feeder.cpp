#include "avfile/H264Feeder.h"

#include <algorithm>
#include <stdexcept>

#include "avfile/H264AvcData.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/H264Feeder")

namespace avfile {

const std::string H264Feeder::mCodec = "avc1";
const unsigned char H264Feeder::mStartCode[3] = {0x00, 0x00, 0x01};

H264Feeder::H264Feeder(std::shared_ptr<IAvPesBuffer> pesBuffer)
    : mPesBuffer(std::move(pesBuffer)) {
    mPesHeader.setStreamId(0xE0);  // video stream 0
    mPesHeader.setPtsDtsFlags(true, true);
}

void H264Feeder::pesWriteNals(unsigned char const* nal, unsigned int size, bool endOfUnit) {
    mPesBuffer->writeData(mStartCode, sizeof(mStartCode), false);
    mPesBuffer->writeData(nal, size, endOfUnit);
}

void H264Feeder::feedSample(const AvSample& sample) {
    mPesHeader.setPts(sample.pts);
    mPesHeader.setDts(sample.dts);
    mPesHeader.setPtsDtsFlags(true, true);
    mPesHeader.setDataAlignmentIndicator(true);
    mPesBuffer->setPesHeader(mPesHeader);

    const auto* avc = dynamic_cast<const H264AvcData*>(sample.trackInfo.codecData.get());
    if (avc == nullptr) {
        ZUN_LOG(0, "No AVC Data, cannot feed");
        throw std::runtime_error("No AVC Data, cannot feed");
    }
    const uint32_t nalSize = avc->mNalSize;
    if (nalSize == 0) {
        ZUN_LOG(0, "Invalid length of size(0) field.");
        throw std::runtime_error("Invalid length of size field.");
    }

    if (sample.firstSample) {
        pesWriteNals(avc->mSps.data(), static_cast<unsigned int>(avc->mSps.size()), false);
        for (const auto& pps : avc->mPps) {
            pesWriteNals(pps.data(), static_cast<unsigned int>(pps.size()), false);
        }
    }

    const std::vector<uint8_t>& data = sample.data;
    const size_t total = data.size();
    size_t offset = 0;
    while (offset < total) {
        uint64_t length = 0;
        for (uint32_t i = 0; i < nalSize; ++i) {
            length = (length << 8) | data.at(offset + i);  // throws when the prefix is cut off
        }
        const size_t start = offset + nalSize;
        // A NAL unit that claims to run past the sample is cut at the sample's end.
        const size_t count = static_cast<size_t>(std::min<uint64_t>(length, total - start));
        offset = start + count;
        pesWriteNals(data.data() + start, static_cast<unsigned int>(count), offset >= total);
    }
}

}  // namespace avfile
