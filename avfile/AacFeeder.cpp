#include "avfile/AacFeeder.h"

#include <stdexcept>

#include "avfile/AacData.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AacFeeder")

namespace avfile {

const std::string AacFeeder::mCodec = "aac";

AacFeeder::AacFeeder(std::shared_ptr<IAvPesBuffer> pesBuffer) : mPesBuffer(std::move(pesBuffer)) {
    mPesHeader.setStreamId(0xC0);  // audio stream 0
    mPesHeader.setPtsDtsFlags(true, false);
}

void AacFeeder::feedSample(const AvSample& sample) {
    const size_t size = sample.data.size();
    uint8_t* adts = mAdtsHeader.data();

    // aac_frame_length, 13 bits, header included: byte 3 bits 1-0, byte 4, byte 5 bits 7-5.
    if (size < 8185) {
        const unsigned int frameLength = static_cast<unsigned int>(size) + ISO::AdtsHeader::kSize;
        adts[3] = static_cast<uint8_t>((adts[3] & 0xFC) | ((frameLength >> 11) & 0x03));
        adts[4] = static_cast<uint8_t>((frameLength >> 3) & 0xFF);
        adts[5] = static_cast<uint8_t>((adts[5] & 0x1F) | ((frameLength & 0x07) << 5));
    } else {
        adts[3] |= 0x03;
        adts[4] = 0xFF;
        adts[5] |= 0xE0;
        ZUN_LOG(0, "Could not set the AAC frame length=%zu.", size);
        throw std::runtime_error("Could not set the AAC frame length=" + sample.toString());
    }

    const auto* aac = dynamic_cast<const AacData*>(sample.trackInfo.codecData.get());
    if (aac == nullptr) {
        ZUN_LOG(0, "No Aac Data, cannot feed");
        throw std::runtime_error("No Aac Data found");
    }
    if (!mAdtsHeader.setSamplingFrequencyIndex(aac->sampleRate)) {
        ZUN_LOG(0, "end, Failed to set ADTS audio sample rate=%u", aac->sampleRate);
        throw std::runtime_error("Failed to set ADTS audio sample rate=" +
                                 std::to_string(aac->sampleRate));
    }

    mPesHeader.setPts(sample.pts);
    mPesHeader.setDataAlignmentIndicator(true);
    mPesBuffer->setPesHeader(mPesHeader);
    mPesBuffer->writeData(adts, ISO::AdtsHeader::kSize, false);
    mPesBuffer->writeData(sample.data.data(), size, true);
}

}  // namespace avfile
