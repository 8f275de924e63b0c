#pragma once

#include <cstdint>
#include <vector>

#include "avfile/AvSample.h"
#include "avfile/AvSampleFilter.h"
#include "avfile/AvStatus.h"
#include "avfile/AvTrack.h"

namespace avfile {

// A presentation as a source of samples: a local MP4 (AvFileFfmpeg), an MP4 in memory
// (AvFileFfmpegMemory) or a DASH presentation (AvFileDash). Handed out as shared pointers.
//
// Not internally locked: driven from one thread at a time (the streamer thread calls
// getNextSample, jumpToTime and setSampleFilter). Positions and durations are milliseconds;
// sample time stamps are 90 kHz ticks.
class IAvFile {
public:
    virtual uint64_t getDuration() const = 0;
    virtual bool isActive() const = 0;
    virtual uint64_t getActiveDuration(uint32_t track) const = 0;
    virtual uint64_t getEarliestAvailablePosition() const = 0;
    // Distance of a 90 kHz time stamp from the start of the content, in 90 kHz ticks.
    virtual int64_t getPositionFromPts(uint64_t pts) const = 0;
    virtual uint64_t getIFramePosition(uint32_t track, uint64_t positionMs) const = 0;
    virtual bool jumpToTime(uint32_t track, uint64_t positionMs) = 0;
    virtual AvStatus getNextSample(AvSample& sample) = 0;
    virtual void setSampleFilter(AvSampleFilter filter) = 0;
    virtual std::vector<AvTrack> getTracks() const = 0;
    // Playback rate in thousandths (1000 normal speed, negative backwards).
    virtual void setPlaybackRate(int rate) = 0;
    virtual ~IAvFile() {}
};

}  // namespace avfile
