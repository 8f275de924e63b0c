#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace velar_test {

// A helper program run by a test (a server), owned by the test: it is killed when the test
// process dies (PR_SET_PDEATHSIG) and stopped by the destructor. Its stdin is /dev/null; its
// stdout is a pipe the owner can read lines from, or a file; its stderr goes to a file.
class ChildProcess {
public:
    // Starts `argv` (argv[0] a path or a name looked up in PATH). `stdoutFile` empty: stdout is a
    // pipe read with readLine(). Throws std::runtime_error when the program cannot be started.
    ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutFile,
                 const std::string& stderrFile);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return mPid; }
    // True while the program runs (reaps it when it ended; see exitStatus()).
    bool running();
    // The raw wait status once the program has ended, -1 before.
    int exitStatus() const { return mStatus; }
    // Reads one line of the stdout pipe (without the line end), waiting at most `timeout`.
    // False on time-out, end of output or when stdout is not a pipe.
    bool readLine(std::string& line, std::chrono::milliseconds timeout);
    // SIGTERM, then SIGKILL when the program has not ended within `grace`; reaps it.
    void stop(std::chrono::milliseconds grace = std::chrono::seconds(5));

private:
    pid_t mPid = -1;
    int mStatus = -1;
    int mStdoutPipe = -1;
    std::string mPending;  // bytes read from the pipe after the last returned line
};

}  // namespace velar_test
