#pragma once

#include <memory>
#include <string>

#include "avfile/IAvFeeder.h"
#include "avfile/IAvPesBuffer.h"
#include "mpeg4_parsing/PesHeader.h"

namespace avfile {

// Turns H.264 samples (NAL units behind big-endian length prefixes) into an Annex B stream (each
// NAL unit behind 00 00 01) in video PES packets (stream_id E0, PTS and DTS), the SPS and PPS in
// front of a track's first sample. The video track is the pipeline's timing track.
class H264Feeder : public IAvFeeder {
public:
    static const std::string mCodec;              // "avc1"
    static const unsigned char mStartCode[3];     // 00 00 01

    explicit H264Feeder(std::shared_ptr<IAvPesBuffer> pesBuffer);

    // Throws std::runtime_error without H264AvcData or with a zero prefix width, and
    // std::out_of_range when the data ends inside a length prefix.
    void feedSample(const AvSample& sample) override;
    bool isTimingTrack() override { return true; }

    // Start code (never ending the unit), then the NAL unit's `size` bytes with `endOfUnit`.
    void pesWriteNals(unsigned char const* nal, unsigned int size, bool endOfUnit);

private:
    std::shared_ptr<IAvPesBuffer> mPesBuffer;
    ISO::PesHeader mPesHeader;
};

}  // namespace avfile
