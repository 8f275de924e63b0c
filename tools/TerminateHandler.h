// velar-play's std::terminate handler. By design of the library an exception that escapes a
// feeder on the streamer thread ends the process (for example "No AVC Data, cannot feed" for an
// H.264 track whose codec data was refused). Instead of the runtime's abort and core dump,
// velar-play prints the escaping exception's text as its one-line error on standard error and
// exits with status 1. What was written to the output before stays there.
//
// The handler runs on whichever thread called std::terminate; it touches nothing shared but
// descriptor 2 and ends the process with _exit (no static destructors, no joins: other threads
// may still hold locks).
#pragma once

#include <string>

namespace velar_play {

class TerminateHandler {
public:
    // Installs the handler for the whole process. Call once, early in main.
    static void install();

    // The line the handler prints for the exception currently being handled (or for none),
    // "velar-play: <text>\n".
    static std::string describeCurrentException();
};

}  // namespace velar_play
