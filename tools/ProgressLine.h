// The progress line velar-play keeps on standard error while it plays, when standard error is a
// terminal: state, position/duration, bytes written and the output rate, redrawn in place
//   Playing  12.3 s / 60.0 s  4.6 MB  3.1 Mbit/s
// Silent when standard error is not a terminal (logs and pipes stay clean). Main thread only.
#pragma once

#include <cstdint>
#include <string>

#include "tools/PlaybackFigures.h"

namespace velar_play {

class ProgressLine {
public:
    // Active only when descriptor 2 is a terminal.
    ProgressLine();

    bool active() const { return mActive; }
    void show(const PlaybackFigures& figures);
    // Ends the line so that a following message starts on a fresh one.
    void finish();

    // The text of one progress line (no carriage return, no line end). The rate is the average
    // output rate since the start, in bits per second.
    static std::string format(const PlaybackFigures& figures);

private:
    bool mActive = false;
    bool mShown = false;
};

}  // namespace velar_play
