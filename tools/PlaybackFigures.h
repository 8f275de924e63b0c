// One reading of how playback stands, taken by the main thread several times a second and shown by
// the statistics file and the progress line.
#pragma once

#include <cstdint>

#include "avfile/AvStreamerState.h"

namespace velar_play {

struct PlaybackFigures {
    uint64_t elapsedMs = 0;   // wall-clock milliseconds since playback started
    avfile::AvStreamerState state = avfile::AvStreamerState::Initializing;
    uint64_t positionMs = 0;  // the streamer's position (its timing track), milliseconds
    uint64_t durationMs = 0;  // the presentation's duration, milliseconds (0: unknown)
    uint64_t bytesOut = 0;    // program stream bytes written to the output
};

}  // namespace velar_play
