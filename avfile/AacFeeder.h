#pragma once

#include <memory>
#include <string>

#include "avfile/IAvFeeder.h"
#include "avfile/IAvPesBuffer.h"
#include "mpeg4_parsing/AdtsHeader.h"
#include "mpeg4_parsing/PesHeader.h"

namespace avfile {

// Puts a 7-byte ADTS header in front of every AAC access unit and writes both as one audio PES
// packet (stream_id C0, PTS only). Profile and channel configuration stay at the ADTS defaults
// (AAC LC, 2 channels) whatever the stream says; only the rate index and frame length change.
class AacFeeder : public IAvFeeder {
public:
    static const std::string mCodec;  // "aac"

    explicit AacFeeder(std::shared_ptr<IAvPesBuffer> pesBuffer);

    // Throws std::runtime_error (after one log line, before writing anything) when the frame is
    // too long for ADTS, the codec data is not AacData, or its rate has no ADTS index.
    void feedSample(const AvSample& sample) override;
    bool isTimingTrack() override { return false; }

private:
    std::shared_ptr<IAvPesBuffer> mPesBuffer;
    ISO::AdtsHeader mAdtsHeader;
    ISO::PesHeader mPesHeader;
};

}  // namespace avfile
