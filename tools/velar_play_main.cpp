// velar-play: plays an MP4 file or a DASH presentation through libvelar into an MPEG-2 program stream, as a set-top host
// would feed its decoders. See PlayerOptions.h for the command line and Player.h for the playback.
//
// Exit status: 0 when the stream was played to its end, 1 with one line on standard error when it
// could not be played, 2 for a usage error (usage on standard error).
//
// The process ends with _exit once the output is complete and closed. The streamer thread polls
// once a second at the end of a stream; joining it would add up to a second to every run and
// gains nothing, so the pipeline is not torn down, except with --release-check, which releases it
// as a host does (Player::release) and reports how that went before the process ends.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "platform/ComponentManager.h"
#include "tools/LibraryLoader.h"
#include "tools/OutputStream.h"
#include "tools/Player.h"
#include "tools/PlayerOptions.h"
#include "tools/TerminateHandler.h"
#include "tools/VerboseLog.h"

namespace {

[[noreturn]] void finish(int status) {
    // Descriptor 1 points at standard error by now: what the library printed goes there.
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(status);
}

[[noreturn]] void failUsage(const std::string& message) {
    std::string text = "velar-play: " + message + "\n" + velar_play::PlayerOptions::usage();
    std::fputs(text.c_str(), stderr);
    finish(2);
}

[[noreturn]] void fail(const std::string& message) {
    std::fputs(("velar-play: " + message + "\n").c_str(), stderr);
    finish(1);
}

}  // namespace

int main(int argc, char* argv[]) {
    using velar_play::PlayerOptions;

    // A reader that goes away shows as a write error, not as a silent death by SIGPIPE.
    signal(SIGPIPE, SIG_IGN);

    PlayerOptions options;
    try {
        options = PlayerOptions::parse(argc, argv);
    } catch (const PlayerOptions::UsageError& e) {
        failUsage(e.what());
    }
    if (options.help) {
        std::fputs(PlayerOptions::usage().c_str(), stdout);
        std::fflush(stdout);
        finish(0);
    }

    try {
        // The output is opened (for "-": descriptor 1 duplicated) before descriptor 1 is pointed
        // at standard error, and both before the library is loaded, so whatever the library
        // prints (its static initialisers included; a DASH SegmentBase presentation prints its
        // byte ranges on standard output) cannot end up in the stream.
        velar_play::OutputStream output(options.output);
        if (options.output == "-" && output.isTerminal()) {
            failUsage("will not write a program stream to a terminal; use -o FILE or a pipe");
        }
        std::fflush(stdout);
        if (dup2(2, 1) < 0) {
            fail("cannot point standard output at standard error");
        }

        velar_play::TerminateHandler::install();
        if (options.verbose) {
            velar_play::VerboseLog::install();
        }

        // DASH needs the settings file. A build tree that was never installed has none in
        // /opt/velar: there velar-play points the library at the project's own default file
        // (VELAR_DASH_SETTINGS, when set, is left alone).
        if (std::getenv("VELAR_DASH_SETTINGS") == nullptr && access("/opt/velar/dash_settings.xml", R_OK) != 0 &&
            access(VELAR_PROJECT_DASH_SETTINGS, R_OK) == 0) {
            setenv("VELAR_DASH_SETTINGS", VELAR_PROJECT_DASH_SETTINGS, 1);
        }

        // The library keeps the manager's address for the life of the process.
        static ZUNCOM::ComponentManager manager;
        velar_play::LibraryLoader loader;
        velar::IMp4Service* service = loader.load(manager);

        // The player lives outside the inner try: a failure ends the process from the handler
        // without destroying it (no join of a streamer thread that may be polling or stuck).
        velar_play::Player player(options, *service, output);
        try {
            player.run();
            player.release();  // before the output is closed: it is open in both counts
            output.close();
        } catch (const std::exception& e) {
            player.release();
            fail(e.what());
        }
        finish(0);
    } catch (const std::exception& e) {
        fail(e.what());
    }
}
