// Names of the streamer states as velar-play prints them. velar-play cannot link the library's own
// text functions (it loads the library at run time), so it names the states itself, with the
// library's texts.
#pragma once

#include "avfile/AvStreamerState.h"

namespace velar_play {

// "Initializing", "Starting", ... "KeyframeSent"; "Unknown" for any other value.
const char* stateName(avfile::AvStreamerState state);

}  // namespace velar_play
