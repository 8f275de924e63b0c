#include "tools/OutputStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace velar_play {

OutputStream::OutputStream(const std::string& path) {
    if (path == "-") {
        mName = "standard output";
        mFd = fcntl(1, F_DUPFD_CLOEXEC, 3);
    } else {
        mName = path;
        mFd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    }
    if (mFd < 0) {
        throw std::runtime_error("cannot open " + mName + " for writing: " + std::strerror(errno));
    }
}

OutputStream::~OutputStream() {
    if (mFd >= 0) {
        ::close(mFd);
    }
}

void OutputStream::write(const uint8_t* data, size_t size) {
    while (size > 0) {
        ssize_t n = ::write(mFd, data, size);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::runtime_error("cannot write to " + mName + ": " + std::strerror(errno));
        }
        data += n;
        size -= static_cast<size_t>(n);
        mBytes += static_cast<uint64_t>(n);
    }
}

void OutputStream::close() {
    if (mFd < 0) {
        return;
    }
    int fd = mFd;
    mFd = -1;
    if (::close(fd) != 0 && errno != EINTR) {
        throw std::runtime_error("cannot write to " + mName + ": " + std::strerror(errno));
    }
}

bool OutputStream::isTerminal() const { return mFd >= 0 && isatty(mFd) == 1; }

}  // namespace velar_play
