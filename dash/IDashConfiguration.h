#pragma once

#include <string>

namespace dash {

// The DASH client's tuning, read once from the settings file and shared by every user
// (controlling thread and downloader thread). Setters store values as given, without checks, and
// are not called after loading.
class IDashConfiguration {
public:
    virtual ~IDashConfiguration() {}
    virtual void setMaxBufferedSegment(int value) = 0;
    virtual int getMaxBufferedSegment() const = 0;  // segments each adaptation set may hold ready
    virtual int getMinBufferedSegment() const = 0;  // ceil(max x 0.25): BUFFERING below, READY at or above
    virtual void setMaxBuffer(int value) = 0;
    virtual int getMaxBufferSize() const = 0;
    virtual void setLivePlaybackBuffer(int value) = 0;
    virtual int getLivePlaybackBuffer() const = 0;
    virtual void setMaxResolutionLive(int value) = 0;
    virtual int getMaxResolutionLive() const = 0;  // highest video height for live content, lines
    virtual int getMinResolutionLive() const = 0;  // 180 lines
    virtual void setMaxResolution(int value) = 0;
    virtual int getMaxResolution() const = 0;  // highest video height on demand, lines
    virtual int getMinResolution() const = 0;  // 180 lines
    virtual void setDrmType(const std::string& value) = 0;
    virtual std::string getDrmType() const = 0;  // preferred content protection, "Playready"
};

}  // namespace dash
