#include "tools/ProcessCounts.h"

#include <dirent.h>
#include <unistd.h>

#include <cstring>

namespace velar_play {

namespace {

// Calls `each(name)` for every entry of `path` but "." and "..", skipping the descriptor of the
// listing itself; answers the count, or -1 when the folder cannot be read.
template <typename Each>
int listFolder(const char* path, Each each) {
    DIR* dir = opendir(path);
    if (dir == nullptr) {
        return -1;
    }
    const std::string own = std::to_string(dirfd(dir));
    int count = 0;
    while (const dirent* entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0 ||
            own == entry->d_name) {
            continue;
        }
        ++count;
        each(entry->d_name);
    }
    closedir(dir);
    return count;
}

}  // namespace

ProcessCounts ProcessCounts::take() {
    ProcessCounts counts;
    counts.threads = listFolder("/proc/self/task", [](const char*) {});
    counts.fds = listFolder("/proc/self/fd", [&counts](const char* name) {
        char target[256];
        const std::string link = std::string("/proc/self/fd/") + name;
        const ssize_t length = readlink(link.c_str(), target, sizeof target - 1);
        if (length <= 0) {
            return;
        }
        target[length] = '\0';
        if (std::strncmp(target, "socket:", 7) == 0) {
            ++counts.socketFds;
        } else if (std::strncmp(target, "anon_inode:", 11) == 0) {
            ++counts.anonFds;
        }
    });
    return counts;
}

}  // namespace velar_play
