// The --stats file: one JSON object per line, written whenever the main thread takes a reading
// (at least twice a second) and once more at the end, for example
//   {"time_ms":1250,"state":"Playing","position_ms":1200,"bytes_out":531408}
// time_ms is wall-clock milliseconds since playback started, position_ms the streamer position in
// milliseconds, bytes_out the program stream bytes written so far. Each line is flushed at once,
// so a reader following the file sees whole lines. Main thread only.
#pragma once

#include <cstdio>
#include <string>

#include "tools/PlaybackFigures.h"

namespace velar_play {

class StatsWriter {
public:
    // Opens (creates, truncates) `path`; throws std::runtime_error with a one-line text on failure.
    explicit StatsWriter(const std::string& path);
    ~StatsWriter();
    StatsWriter(const StatsWriter&) = delete;
    StatsWriter& operator=(const StatsWriter&) = delete;

    void write(const PlaybackFigures& figures);

    // The JSON line for `figures`, without the line end.
    static std::string format(const PlaybackFigures& figures);

private:
    std::FILE* mFile = nullptr;
};

}  // namespace velar_play
