// Where velar-play writes the program stream: a file, or a duplicate of the process's original
// standard output. The duplicate is taken before descriptor 1 is pointed at standard error (the
// library may print on standard output; none of that may end up inside the stream).
//
// Writes go straight to the descriptor (no user-space buffer), so whatever has been written is in
// the file when the process ends, whichever way it ends. A broken pipe is reported as a write
// error (SIGPIPE is expected to be ignored by the caller). Owned and used by the main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velar_play {

class OutputStream {
public:
    // Opens `path` for writing (created, truncated), or duplicates descriptor 1 for "-".
    // Throws std::runtime_error with a one-line text on failure.
    explicit OutputStream(const std::string& path);
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    // Writes all `size` bytes; throws std::runtime_error when that is impossible.
    void write(const uint8_t* data, size_t size);

    // Closes the descriptor, reporting a failure of the last write-back as std::runtime_error.
    void close();

    uint64_t bytesWritten() const { return mBytes; }
    const std::string& name() const { return mName; }
    bool isTerminal() const;

private:
    int mFd = -1;
    std::string mName;
    uint64_t mBytes = 0;
};

}  // namespace velar_play
