// Names of the streamer states and of the DASH download statuses as velar-play prints them.
// velar-play cannot link the library's own text functions (it loads the library at run time), so
// it names them itself, with the library's texts.
#pragma once

#include "avfile/AvStreamerState.h"
#include "dash/DashDownloadStatus.h"

namespace velar_play {

// "Initializing", "Starting", ... "KeyframeSent"; "Unknown" for any other value.
const char* stateName(avfile::AvStreamerState state);

// "NO_SEGMENT", "BUFFERING", ... "FAIL_BAD_CONNECTION"; "FAIL_UNKNOWN_ERROR" for 11 and for any
// value outside the enumeration.
const char* dashStatusName(dash::DashDownloadStatus status);

}  // namespace velar_play
