#include "tools/StatsWriter.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <stdexcept>

#include "tools/StateName.h"

namespace velar_play {

StatsWriter::StatsWriter(const std::string& path) {
    mFile = std::fopen(path.c_str(), "we");
    if (mFile == nullptr) {
        throw std::runtime_error("cannot open the statistics file " + path + ": " +
                                 std::strerror(errno));
    }
}

StatsWriter::~StatsWriter() {
    if (mFile != nullptr) {
        std::fclose(mFile);
    }
}

std::string StatsWriter::format(const PlaybackFigures& figures) {
    char line[256];
    std::snprintf(line, sizeof line,
                  "{\"time_ms\":%" PRIu64 ",\"state\":\"%s\",\"position_ms\":%" PRIu64
                  ",\"bytes_out\":%" PRIu64 "}",
                  figures.elapsedMs, stateName(figures.state), figures.positionMs,
                  figures.bytesOut);
    return line;
}

void StatsWriter::write(const PlaybackFigures& figures) {
    std::string line = format(figures);
    line += '\n';
    // A full disk must not stop playback: the statistics are a side channel.
    std::fwrite(line.data(), 1, line.size(), mFile);
    std::fflush(mFile);
}

}  // namespace velar_play
