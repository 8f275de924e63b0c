#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace velar_test {

// A server program run by a test: killed when the test process dies (PR_SET_PDEATHSIG), stopped by
// the destructor. Its stdin is /dev/null; its stdout and stderr go to the files named.
class ChildProcess {
public:
    // Starts `argv` (argv[0] looked up in PATH); throws std::runtime_error when it cannot.
    ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutFile,
                 const std::string& stderrFile);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // True while the program runs.
    bool running();

private:
    pid_t mPid = -1;
    bool mEnded = false;
};

}  // namespace velar_test
