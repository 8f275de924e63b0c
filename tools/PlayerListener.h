// velar-play's listener on the streamer: remembers the first error the streamer reported
// (onAvError's text) and counts the state changes, for the main thread to read.
//
// Called by the library with the streamer's lock held, on the host's thread (during setPosition)
// or on the streamer thread; read by the main thread. Guarded by its own mutex; it never calls
// back into the streamer. It must outlive the streamer it is registered with.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "avfile/IAvStreamerListener.h"

namespace velar_play {

class PlayerListener : public avfile::IAvStreamerListener {
public:
    void onAvTracks() override;
    void onAvStateChanged(const avfile::AvStreamerState& state) override;
    void onAvError(const avfile::AvBaseException& error) override;

    // The text of the first onAvError, and whether there was one.
    bool hasError() const;
    std::string errorText() const;

    uint64_t stateChanges() const;

private:
    mutable std::mutex mMutex;
    bool mHasError = false;
    std::string mErrorText;
    uint64_t mStateChanges = 0;
};

}  // namespace velar_play
