// The number of threads of this test process, for tests that check that a release leaves no
// thread behind.
#pragma once

#include <dirent.h>

#include <cstddef>

namespace velar_test {

// Threads of this process now: the entries of /proc/self/task (0 when it cannot be read).
inline size_t threadCount() {
    size_t count = 0;
    if (DIR* tasks = opendir("/proc/self/task")) {
        while (const dirent* entry = readdir(tasks)) count += entry->d_name[0] != '.';
        closedir(tasks);
    }
    return count;
}

}  // namespace velar_test
