// One reading of how playback stands, taken by the main thread several times a second and shown by
// the statistics file and the progress line.
#pragma once

#include <cstdint>

#include "avfile/AvStreamerState.h"
#include "dash/DashCapability.h"
#include "tools/ProcessCounts.h"

namespace velar_play {

struct PlaybackFigures {
    uint64_t elapsedMs = 0;   // wall-clock milliseconds since playback started
    avfile::AvStreamerState state = avfile::AvStreamerState::Initializing;
    uint64_t positionMs = 0;  // the streamer's position (its timing track), milliseconds
    uint64_t durationMs = 0;  // the presentation's duration, milliseconds (0: unknown)
    uint64_t bytesOut = 0;    // program stream bytes written to the output
    // A DASH presentation's snapshot (status, choice in force and buffers per adaptation set),
    // taken with the reading; hasDash false for other input.
    bool hasDash = false;
    dash::DashCapability dash;
    // The last reading of a run carries the wall-clock milliseconds from just before openPath to
    // the first program stream byte taken from the ring (-1: none came).
    bool last = false;
    int64_t firstByteMs = -1;
    // velar-play --release-check, last reading only: wall-clock milliseconds the release of the
    // streamer and the file took, and the process counts before openPath and after the release.
    bool hasRelease = false;
    uint64_t releaseMs = 0;
    ProcessCounts beforeOpen;
    ProcessCounts afterRelease;
};

}  // namespace velar_play
