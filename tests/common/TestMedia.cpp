#include "TestMedia.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>

namespace velar_test {

namespace {

const std::string kMediaDir = std::string(VELAR_TEST_WORK_DIR) + "/media";

// Runs make-media.sh once per process, under an exclusive flock (util-linux) on a lock file in
// the media folder, so that test processes started in parallel never see half-written clips.
// Returns an error text, empty on success.
const std::string& mediaReady() {
    static std::once_flag once;
    static std::string error;
    std::call_once(once, [] {
        ::mkdir(VELAR_TEST_WORK_DIR, 0755);
        if (::mkdir(kMediaDir.c_str(), 0755) != 0 && errno != EEXIST) {
            error = "cannot create " + kMediaDir + ": " + std::strerror(errno);
            return;
        }
        const std::string command = "flock -x '" + kMediaDir + "/.testmedia.lock' bash '" +
                                    VELAR_TEST_DATA_DIR + "/make-media.sh' '" + kMediaDir +
                                    "' </dev/null";
        const int status = std::system(command.c_str());
        if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            error = "'" + command + "' failed with status " + std::to_string(status);
        }
    });
    return error;
}

}  // namespace

std::string testMedia(const std::string& name) {
    if (!mediaReady().empty()) {
        throw std::runtime_error("test media: " + mediaReady());
    }
    const std::string path = kMediaDir + "/" + name;
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        throw std::runtime_error("test media: no clip " + path);
    }
    return path;
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
