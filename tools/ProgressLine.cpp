#include "tools/ProgressLine.h"

#include <unistd.h>

#include <cstdio>


namespace velar_play {

ProgressLine::ProgressLine() : mActive(isatty(2) == 1) {}

std::string ProgressLine::format(const PlaybackFigures& figures) {
    double seconds = figures.elapsedMs / 1000.0;
    double bitsPerSecond = seconds > 0 ? figures.bytesOut * 8.0 / seconds : 0.0;
    char duration[32] = "?";
    if (figures.durationMs > 0) {
        std::snprintf(duration, sizeof duration, "%.1f s", figures.durationMs / 1000.0);
    }
    char line[160];
    std::snprintf(line, sizeof line, "%-12s %.1f s / %s  %.1f MB  %.1f Mbit/s",
                  avfile::toString(figures.state).c_str(), figures.positionMs / 1000.0, duration,
                  figures.bytesOut / 1e6, bitsPerSecond / 1e6);
    return line;
}

void ProgressLine::show(const PlaybackFigures& figures) {
    if (!mActive) {
        return;
    }
    // "\r" back to the start of the line, "\033[K" clears what a longer earlier line left.
    std::string text = "\r" + format(figures) + "\033[K";
    ssize_t ignored = ::write(2, text.data(), text.size());
    (void)ignored;
    mShown = true;
}

void ProgressLine::finish() {
    if (mActive && mShown) {
        ssize_t ignored = ::write(2, "\n", 1);
        (void)ignored;
        mShown = false;
    }
}

}  // namespace velar_play
