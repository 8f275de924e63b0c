#pragma once

#include <cstdint>

namespace dash {

// Settings a host may hand to a download command. The command accepts and ignores them: every
// DASH setting comes from the settings file (DashConfiguration). Kept so that a host written for
// a build that honours them links and runs unchanged.
struct DashConfig {
    int32_t maxBufferedSegments = -1;  // -1: the settings file's value
    int32_t minBufferedSegments = -1;  // -1: the settings file's value
    int32_t maxResolution = -1;        // lines; -1: the settings file's value
};

}  // namespace dash
