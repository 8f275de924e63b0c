#include "tools/StatsWriter.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <stdexcept>


namespace velar_play {

namespace {

// A JSON string (RFC 8259, 7): quotes, backslashes and control characters escaped. Text from an
// MPD (a representation id) may hold any of them.
void appendJsonString(std::string& out, const std::string& text) {
    out += '"';
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += '"';
}

void appendDash(std::string& out, const dash::DashCapability& capability) {
    out += ",\"dash\":{\"status\":";
    appendJsonString(out, dash::toString(capability.status).c_str());
    out += capability.live ? ",\"live\":true,\"sets\":[" : ",\"live\":false,\"sets\":[";
    bool first = true;
    for (const dash::DashRepCapability& set : capability.entries) {
        out += first ? "{\"mime\":" : ",{\"mime\":";
        first = false;
        appendJsonString(out, set.mimeType);
        out += ",\"id\":";
        appendJsonString(out, set.currentRepresentationId);
        char numbers[224];
        std::snprintf(numbers, sizeof numbers,
                      ",\"bandwidth\":%" PRId32 ",\"height\":%" PRIu32 ",\"buffered\":%" PRIu32
                      ",\"rate_bps\":%" PRId32 ",\"playing_bandwidth\":%" PRId32 ",\"playing_id\":",
                      set.currentBandwidth, set.currentHeight, set.bufferedSegments,
                      set.lastDownloadRate, set.playingBandwidth);
        out += numbers;
        appendJsonString(out, set.playingRepresentationId);
        out += '}';
    }
    out += "]}";
}

}  // namespace

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
    char head[256];
    std::snprintf(head, sizeof head,
                  "{\"time_ms\":%" PRIu64 ",\"state\":\"%s\",\"position_ms\":%" PRIu64
                  ",\"bytes_out\":%" PRIu64,
                  figures.elapsedMs, avfile::toString(figures.state).c_str(), figures.positionMs,
                  figures.bytesOut);
    std::string line = head;
    if (figures.hasDash) {
        appendDash(line, figures.dash);
    }
    if (figures.last) {
        if (figures.firstByteMs < 0) {
            line += ",\"first_byte_ms\":null";
        } else {
            line += ",\"first_byte_ms\":" + std::to_string(figures.firstByteMs);
        }
    }
    if (figures.hasRelease) {
        const ProcessCounts& a = figures.beforeOpen;
        const ProcessCounts& b = figures.afterRelease;
        char release[320];
        std::snprintf(release, sizeof release,
                      ",\"release\":{\"ms\":%" PRIu64 ",\"threads_before\":%d,\"threads_after\":%d"
                      ",\"fds_before\":%d,\"fds_after\":%d,\"sockets_before\":%d,\"sockets_after\":%d"
                      ",\"anon_before\":%d,\"anon_after\":%d}",
                      figures.releaseMs, a.threads, b.threads, a.fds, b.fds, a.socketFds, b.socketFds,
                      a.anonFds, b.anonFds);
        line += release;
    }
    line += '}';
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
