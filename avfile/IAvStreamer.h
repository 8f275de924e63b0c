#pragma once

#include <cstdint>

#include "avfile/AvSampleFilter.h"
#include "avfile/AvStreamerState.h"
#include "avfile/IAvStreamerListener.h"

namespace avfile {

// Plays one opened file into the host's ring as an MPEG-2 program stream. Any host thread may call
// it; the implementation serialises calls with its own recursive lock.
class IAvStreamer {
public:
    virtual ~IAvStreamer() {}
    // Positions the stream (milliseconds; ignored on the first call, which starts where the file
    // stands) and chooses the sample filter. False when positioning failed (state Error).
    virtual bool setPosition(uint64_t positionMs, AvSampleFilter filter) = 0;
    virtual void addListener(IAvStreamerListener& listener) = 0;
    virtual void removeListener(IAvStreamerListener& listener) = 0;
    virtual AvStreamerState getState() const = 0;
    virtual void stop() = 0;
    // Position of the timing track, milliseconds.
    virtual uint64_t getPosition() const = 0;
    virtual uint32_t getTimingTrack() const = 0;
    // Thousandths; 1000 normal speed, negative backwards.
    virtual void setPlaybackRate(int rate) = 0;
    // One unit of work: read one sample and feed it. Called by the streamer thread.
    virtual void step() = 0;
};

}  // namespace avfile
