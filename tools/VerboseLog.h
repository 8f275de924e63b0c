// --verbose: routes the library's log to standard error, one line per message,
//   velar: avfile/AvStreamer:123 [0] Changing state from Starting to Buffering
// (source path, line, level, text). The host logger calls the sink under its own lock on the
// thread that logs; the sink writes each line with a single write(2) so lines of different threads
// never interleave.
#pragma once

namespace velar_play {

class VerboseLog {
public:
    static void install();
};

}  // namespace velar_play
