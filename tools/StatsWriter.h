// The --stats file: one JSON object per line, written whenever the main thread takes a reading
// (at least twice a second) and once more at the end, for example
//   {"time_ms":1250,"state":"Playing","position_ms":1200,"bytes_out":531408}
// time_ms is wall-clock milliseconds since playback started, position_ms the streamer position in
// milliseconds, bytes_out the program stream bytes written so far.
//
// For a DASH presentation every line also carries the download side, after bytes_out:
//   "dash":{"status":"READY","live":false,"sets":[{"mime":"video/mp4","id":"2",
//           "bandwidth":3000000,"height":720,"buffered":4,"rate_bps":8123456},...]}
// status is the session's DashDownloadStatus by name, live whether the MPD is dynamic, and one
// entry per adaptation set in the downloader's order: its MIME type, the id, bandwidth (bits per
// second) and height (lines, 0 when absent) of the representation in force, the segments queued
// and not yet taken, and the rate of the last finished segment download (bits per second).
//
// The last line of a run ends with "first_byte_ms": wall-clock milliseconds from just before the
// presentation was opened to the first program stream byte taken from the ring, or null when no
// byte came.
//
// With velar-play --release-check the last line ends, after first_byte_ms, with
//   "release":{"ms":41,"threads_before":1,"threads_after":1,"fds_before":5,"fds_after":8,
//              "sockets_before":0,"sockets_after":3,"anon_before":0,"anon_after":0}
// ms is the wall-clock time the release of the streamer and the file took, the counts are those of
// ProcessCounts (threads, descriptors, of which sockets and anonymous inodes) just before the
// presentation was opened and after the release; it is written once the release is over.
//
// One reading is one line, each line a whole JSON object, flushed at once, so a reader following
// the file sees whole lines. Main thread only.
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
