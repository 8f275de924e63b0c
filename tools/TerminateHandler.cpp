#include "tools/TerminateHandler.h"

#include <unistd.h>

#include <exception>

namespace velar_play {

namespace {

[[noreturn]] void onTerminate() {
    std::string line = TerminateHandler::describeCurrentException();
    if (isatty(2) == 1) {
        // Start on a clean line if a progress line is showing.
        line = "\r\033[K" + line;
    }
    ssize_t ignored = ::write(2, line.data(), line.size());
    (void)ignored;
    _exit(1);
}

}  // namespace

std::string TerminateHandler::describeCurrentException() {
    std::string text = "terminated without an exception";
    std::exception_ptr current = std::current_exception();
    if (current) {
        try {
            std::rethrow_exception(current);
        } catch (const std::exception& e) {
            text = e.what();
        } catch (...) {
            text = "terminated by an exception of unknown type";
        }
    }
    return "velar-play: " + text + "\n";
}

void TerminateHandler::install() { std::set_terminate(onTerminate); }

}  // namespace velar_play
