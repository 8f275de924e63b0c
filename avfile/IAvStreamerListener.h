#pragma once

#include "avfile/AvBaseException.h"
#include "avfile/AvStreamerState.h"

namespace avfile {

// Implemented by the host. Called with the streamer's lock held, on the thread that caused the
// event (the host's own thread for setPosition, the streamer thread for playback). A listener may
// call back into the streamer. Exceptions thrown by a listener are caught and logged.
class IAvStreamerListener {
public:
    virtual ~IAvStreamerListener() {}
    virtual void onAvTracks() = 0;
    virtual void onAvStateChanged(const AvStreamerState& state) = 0;
    virtual void onAvError(const AvBaseException& error) = 0;
};

}  // namespace avfile
