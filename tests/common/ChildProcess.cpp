#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace velar_test {

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutFile,
                           const std::string& stderrFile) {
    // Prepared before fork: the child makes only async-signal-safe calls before exec.
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const int fds[3] = {::open("/dev/null", O_RDONLY | O_CLOEXEC),
                        ::open(stdoutFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644),
                        ::open(stderrFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)};
    const pid_t parent = ::getpid();
    mPid = (fds[0] < 0 || fds[1] < 0 || fds[2] < 0) ? -1 : ::fork();
    if (mPid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(127);
        for (int i = 0; i < 3; ++i) ::dup2(fds[i], i);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    for (int fd : fds) {
        if (fd >= 0) ::close(fd);
    }
    if (mPid < 0) throw std::runtime_error("cannot start " + argv.at(0));
}

ChildProcess::~ChildProcess() {
    if (!running()) return;
    ::kill(mPid, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (running() && std::chrono::steady_clock::now() < deadline) {
        // Polling a child's exit: there is no thread of ours to wait on.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (running()) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
}

bool ChildProcess::running() {
    if (!mEnded && mPid > 0 && ::waitpid(mPid, nullptr, WNOHANG) != 0) mEnded = true;
    return !mEnded;
}

}  // namespace velar_test
