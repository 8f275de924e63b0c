#include "tools/PlayerOptions.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

namespace velar_play {

namespace {

const char* const kUsage =
    "usage: velar-play [options] INPUT\n"
    "Plays INPUT (an MP4 file path, or the URL of a DASH MPD) through libvelar into an MPEG-2\n"
    "program stream.\n"
    "\n"
    "  -o, --output FILE   write the program stream to FILE ('-' = standard output, the default)\n"
    "      --mime TYPE     MIME type of INPUT (default: application/dash+xml for names ending in\n"
    "                      .mpd, otherwise video/mp4)\n"
    "      --seek MS       position the stream at MS milliseconds after it has started\n"
    "      --rate N        playback rate in thousandths (1000 = normal speed, negative backwards)\n"
    "      --keyframes     key frames only (trick play); at a rate other than 1000 the position\n"
    "                      steps by |N| ms per key frame, else every key frame is written once\n"
    "      --duration MS   stop once the stream position passes MS milliseconds\n"
    "      --ring-size B   bytes of the ring between the library and the output (default 2097152)\n"
    "      --verbose       print the library's log on standard error\n"
    "      --stats FILE    append one JSON object per line to FILE, several times a second\n"
    "      --release-check at the end release the streamer and the file as a host does, and add\n"
    "                      the release time and the thread and descriptor counts before opening\n"
    "                      and after release to the last --stats line\n"
    "  -h, --help          print this text\n"
    "\n"
    "Exit status: 0 when the stream was played to its end, 1 when it could not be played,\n"
    "2 for a usage error.\n";

uint64_t parseUnsigned(const std::string& option, const std::string& text, uint64_t max) {
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) {
        throw PlayerOptions::UsageError(option + " needs a whole number, not '" + text + "'");
    }
    errno = 0;
    char* end = nullptr;
    unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (errno == ERANGE || *end != '\0' || value > max) {
        throw PlayerOptions::UsageError(option + " needs a whole number up to " +
                                        std::to_string(max) + ", not '" + text + "'");
    }
    return value;
}

int parseRate(const std::string& option, const std::string& text) {
    size_t digits = (!text.empty() && (text[0] == '-' || text[0] == '+')) ? 1 : 0;
    if (text.size() <= digits || !std::isdigit(static_cast<unsigned char>(text[digits]))) {
        throw PlayerOptions::UsageError(option + " needs a whole number, not '" + text + "'");
    }
    errno = 0;
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (errno == ERANGE || *end != '\0' || value < INT_MIN || value > INT_MAX) {
        throw PlayerOptions::UsageError(option + " needs a whole number in thousandths, not '" +
                                        text + "'");
    }
    return static_cast<int>(value);
}

bool endsWithMpd(const std::string& input) {
    std::string name = input;
    // A URL's query and fragment are not part of the name.
    if (input.find("://") != std::string::npos) {
        size_t cut = name.find_first_of("?#");
        if (cut != std::string::npos) {
            name.erase(cut);
        }
    }
    if (name.size() < 4) {
        return false;
    }
    std::string tail = name.substr(name.size() - 4);
    std::transform(tail.begin(), tail.end(), tail.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return tail == ".mpd";
}

}  // namespace

std::string PlayerOptions::usage() { return kUsage; }

std::string PlayerOptions::defaultMimeType(const std::string& input) {
    return endsWithMpd(input) ? "application/dash+xml" : "video/mp4";
}

PlayerOptions PlayerOptions::parse(int argc, char* const argv[]) {
    PlayerOptions options;
    std::vector<std::string> positional;
    bool optionsEnded = false;

    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }

        // Split "--name=value" and "-oVALUE"; remember whether a value came attached.
        std::string name = arg;
        std::string value;
        bool attached = false;
        if (arg.compare(0, 2, "--") == 0) {
            size_t eq = arg.find('=');
            if (eq != std::string::npos) {
                name = arg.substr(0, eq);
                value = arg.substr(eq + 1);
                attached = true;
            }
        } else if (arg.size() > 2) {
            name = arg.substr(0, 2);
            value = arg.substr(2);
            attached = true;
        }

        auto takeValue = [&]() -> std::string {
            if (attached) {
                return value;
            }
            if (i + 1 >= argc) {
                throw UsageError("option " + name + " needs a value");
            }
            return argv[++i];
        };
        auto noValue = [&]() {
            if (attached) {
                throw UsageError("option " + name + " takes no value");
            }
        };

        if (name == "-o" || name == "--output") {
            options.output = takeValue();
            if (options.output.empty()) {
                throw UsageError("option " + name + " needs a file name");
            }
        } else if (name == "--mime") {
            options.mimeType = takeValue();
            if (options.mimeType.empty()) {
                throw UsageError("option --mime needs a MIME type");
            }
        } else if (name == "--seek") {
            options.seekMs = parseUnsigned(name, takeValue(), UINT64_MAX / 1000);
            options.hasSeek = true;
        } else if (name == "--rate") {
            options.rate = parseRate(name, takeValue());
            options.hasRate = true;
        } else if (name == "--keyframes") {
            noValue();
            options.keyFramesOnly = true;
        } else if (name == "--duration") {
            options.durationMs = parseUnsigned(name, takeValue(), UINT64_MAX / 1000);
            options.hasDuration = true;
        } else if (name == "--ring-size") {
            options.ringBytes = parseUnsigned(name, takeValue(), kMaxRingBytes);
            if (options.ringBytes < kMinRingBytes) {
                throw UsageError("--ring-size must be at least " + std::to_string(kMinRingBytes) +
                                 " bytes (one whole PES packet)");
            }
        } else if (name == "--verbose") {
            noValue();
            options.verbose = true;
        } else if (name == "--stats") {
            options.statsPath = takeValue();
            if (options.statsPath.empty()) {
                throw UsageError("option --stats needs a file name");
            }
        } else if (name == "--release-check") {
            noValue();
            options.releaseCheck = true;
        } else if (name == "-h" || name == "--help") {
            noValue();
            options.help = true;
            return options;
        } else {
            throw UsageError("unknown option " + name);
        }
    }

    if (positional.empty()) {
        throw UsageError("no INPUT given");
    }
    if (positional.size() > 1) {
        throw UsageError("only one INPUT can be played, got '" + positional[0] + "' and '" +
                         positional[1] + "'");
    }
    if (options.releaseCheck && options.statsPath.empty()) {
        throw UsageError("--release-check needs --stats FILE (its figures go on the last line)");
    }
    if (options.keyFramesOnly && options.rate == 0) {
        throw UsageError("--keyframes needs a rate other than 0");
    }
    options.input = positional[0];
    if (options.input.empty()) {
        throw UsageError("INPUT is empty");
    }
    if (options.mimeType.empty()) {
        options.mimeType = defaultMimeType(options.input);
    }
    return options;
}

}  // namespace velar_play
