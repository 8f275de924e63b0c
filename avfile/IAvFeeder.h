#pragma once

#include "avfile/AvSample.h"

namespace avfile {

// Turns samples of one track into PES packets (H264Feeder, AacFeeder). Throws on bad input; what
// was written before a failure stays in the PES buffer.
class IAvFeeder {
public:
    virtual void feedSample(const AvSample& sample) = 0;
    // True for the track whose time stamps give the pipeline's position (video).
    virtual bool isTimingTrack() = 0;
    virtual ~IAvFeeder() {}
};

}  // namespace avfile
