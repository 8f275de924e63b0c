#pragma once

namespace avfile {

// Routes FFmpeg's own messages ("moov atom not found", "Packet corrupt", ...) into the host's log
// instead of letting libavutil print them on standard error, which a library embedded in a
// player must not do.
//
// Errors and worse are logged at level 0, warnings at level 1, each line with the source
// "avfile/FfmpegLogBridge" and the FFmpeg component's name in front; informational and debug
// messages are dropped. The callback is process-wide (FFmpeg has one): install() sets it once,
// on the first call, and may be called from any thread. A host that installs its own FFmpeg log
// callback afterwards takes over.
class FfmpegLogBridge {
public:
    static void install();
};

}  // namespace avfile
