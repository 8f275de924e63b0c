// Command line of velar-play: what to play, where the program stream goes and how to drive the
// streamer. Parsed once on the main thread before anything else happens.
//
//   velar-play [options] INPUT
//
// Decisions taken here:
// - Numbers must be whole decimal numbers; anything else (trailing text, a sign on a millisecond
//   value, an overflow) is a usage error, never silently truncated.
// - The ring must hold at least one whole PES packet plus a pack header (65536 bytes): a smaller
//   ring could never take the largest packet the library commits, which would then be lost.
//   1 GiB is the upper bound.
// - --release-check without --stats is a usage error: its figures have nowhere else to go (standard
//   error carries one line only, the error).
// - --keyframes with --rate 0 is a usage error: trick play that steps by 0 ms never moves.
// - The MIME type defaults from the name: "application/dash+xml" for a name ending in ".mpd"
//   (letter case ignored, a URL's query or fragment not counted), otherwise "video/mp4".
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace velar_play {

class PlayerOptions {
public:
    // A command line that cannot be run; what() says what is wrong, in one line.
    class UsageError : public std::runtime_error {
    public:
        explicit UsageError(const std::string& message) : std::runtime_error(message) {}
    };

    static constexpr size_t kDefaultRingBytes = 2 * 1024 * 1024;
    static constexpr size_t kMinRingBytes = 65536;
    static constexpr size_t kMaxRingBytes = 1024u * 1024u * 1024u;

    std::string input;
    std::string output = "-";  // "-" is standard output
    std::string mimeType;      // never empty after parse()
    bool hasSeek = false;
    uint64_t seekMs = 0;  // milliseconds
    bool hasRate = false;
    int rate = 1000;  // thousandths of normal speed, negative backwards
    bool keyFramesOnly = false;
    bool hasDuration = false;
    uint64_t durationMs = 0;  // milliseconds of stream position
    size_t ringBytes = kDefaultRingBytes;
    bool verbose = false;
    std::string statsPath;  // empty: no statistics
    bool releaseCheck = false;  // --release-check: release as a host does and report it (Player.h)
    bool help = false;      // -h/--help: print usage and exit 0; nothing else is checked

    // Parses argv. Throws UsageError for anything that cannot be run.
    static PlayerOptions parse(int argc, char* const argv[]);

    // The usage text, several lines, ending with a line end.
    static std::string usage();

    // The MIME type velar-play assumes for INPUT when --mime is not given.
    static std::string defaultMimeType(const std::string& input);
};

}  // namespace velar_play
