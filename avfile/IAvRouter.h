#pragma once

#include <cstdint>
#include <string>

#include "avfile/AvSample.h"

namespace avfile {

// Dispatches samples to the feeder of their track and follows the timing track's PTS. Used only by
// the streamer, under the streamer's lock.
class IAvRouter {
public:
    virtual void addTrack(unsigned int track, std::string codec) = 0;
    virtual void clearTracks() = 0;
    // True when at least one track has a feeder (the name says the opposite; callers rely on it).
    virtual bool noTracks() const = 0;
    virtual uint64_t getCurrentPtsMs() const = 0;
    // Track id of the timing track; 4294967295 for none.
    virtual uint32_t getTimingTrack() const = 0;
    virtual void feedSample(const AvSample& sample) = 0;
    virtual ~IAvRouter() {}
};

}  // namespace avfile
