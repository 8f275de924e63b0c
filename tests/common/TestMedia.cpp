#include "TestMedia.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace velar_test {

namespace {

const std::string kMediaDir = std::string(VELAR_TEST_WORK_DIR) + "/media";
const std::string kScript = std::string(VELAR_TEST_DATA_DIR) + "/make-media.sh";

// Holds an exclusive flock on a file for its lifetime.
class FileLock {
public:
    explicit FileLock(const std::string& path) {
        mFd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (mFd < 0) {
            throw std::runtime_error("cannot open lock file " + path + ": " +
                                     std::strerror(errno));
        }
        while (::flock(mFd, LOCK_EX) != 0) {
            if (errno != EINTR) {
                ::close(mFd);
                throw std::runtime_error("cannot lock " + path + ": " + std::strerror(errno));
            }
        }
    }
    ~FileLock() {
        ::flock(mFd, LOCK_UN);
        ::close(mFd);
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int mFd = -1;
};

// Runs make-media.sh once; returns an error text, empty on success.
std::string makeMedia() {
    ::mkdir(VELAR_TEST_WORK_DIR, 0755);
    if (::mkdir(kMediaDir.c_str(), 0755) != 0 && errno != EEXIST) {
        return "cannot create " + kMediaDir + ": " + std::strerror(errno);
    }
    FileLock lock(kMediaDir + "/.testmedia.lock");
    const std::string command = "bash '" + kScript + "' '" + kMediaDir + "' </dev/null";
    const int status = std::system(command.c_str());
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return "'" + command + "' failed with status " + std::to_string(status);
    }
    return std::string();
}

const std::string& mediaReady() {
    static std::once_flag once;
    static std::string error;
    std::call_once(once, [] {
        try {
            error = makeMedia();
        } catch (const std::exception& e) {
            error = e.what();
        }
    });
    return error;
}

}  // namespace

std::string testMediaDir() {
    const std::string& error = mediaReady();
    if (!error.empty()) {
        throw std::runtime_error("test media: " + error);
    }
    return kMediaDir;
}

std::string testMedia(const std::string& name) {
    const std::string path = testMediaDir() + "/" + name;
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        throw std::runtime_error("test media: no clip " + path);
    }
    return path;
}

std::string commandOutput(const std::string& command) {
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run '" + command + "': " + std::strerror(errno));
    }
    std::string output;
    char buffer[4096];
    size_t count;
    while ((count = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        output.append(buffer, count);
    }
    const int status = ::pclose(pipe);
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("'" + command + "' failed with status " + std::to_string(status));
    }
    return output;
}

std::vector<unsigned char> readFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path);
    }
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in),
                                      std::istreambuf_iterator<char>());
}

}  // namespace velar_test
