#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace velar_test {

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutFile,
                           const std::string& stderrFile) {
    if (argv.empty()) {
        throw std::runtime_error("ChildProcess: empty command");
    }
    // Everything the child needs is prepared before fork: between fork and exec only
    // async-signal-safe calls are made.
    std::vector<char*> args;
    for (const std::string& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    int pipeFds[2] = {-1, -1};
    if (stdoutFile.empty() && ::pipe2(pipeFds, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    const int outFd = stdoutFile.empty()
                          ? pipeFds[1]
                          : ::open(stdoutFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const int errFd = ::open(stderrFile.empty() ? "/dev/null" : stderrFile.c_str(),
                             O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const int inFd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const pid_t parent = ::getpid();
    const pid_t pid = (outFd < 0 || errFd < 0 || inFd < 0) ? -1 : ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(127);
        }
        ::dup2(inFd, 0);
        ::dup2(outFd, 1);
        ::dup2(errFd, 2);
        ::setpgid(0, 0);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    const int forkErrno = errno;
    if (inFd >= 0) ::close(inFd);
    if (errFd >= 0) ::close(errFd);
    if (outFd >= 0 && outFd != pipeFds[1]) ::close(outFd);
    if (pipeFds[1] >= 0) ::close(pipeFds[1]);
    if (pid < 0) {
        if (pipeFds[0] >= 0) ::close(pipeFds[0]);
        throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(forkErrno));
    }
    mPid = pid;
    mStdoutPipe = pipeFds[0];
}

ChildProcess::~ChildProcess() {
    stop();
    if (mStdoutPipe >= 0) {
        ::close(mStdoutPipe);
    }
}

bool ChildProcess::running() {
    if (mPid < 0 || mStatus != -1) {
        return false;
    }
    int status = 0;
    const pid_t r = ::waitpid(mPid, &status, WNOHANG);
    if (r == mPid) {
        mStatus = status;
        return false;
    }
    return r == 0;
}

bool ChildProcess::readLine(std::string& line, std::chrono::milliseconds timeout) {
    if (mStdoutPipe < 0) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const size_t eol = mPending.find('\n');
        if (eol != std::string::npos) {
            line = mPending.substr(0, eol);
            mPending.erase(0, eol + 1);
            return true;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd p{mStdoutPipe, POLLIN, 0};
        const int n = ::poll(&p, 1, static_cast<int>(left.count()));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        char buffer[512];
        const ssize_t got = ::read(mStdoutPipe, buffer, sizeof buffer);
        if (got <= 0) {
            return false;
        }
        mPending.append(buffer, static_cast<size_t>(got));
    }
}

void ChildProcess::stop(std::chrono::milliseconds grace) {
    if (!running()) {
        return;
    }
    ::kill(mPid, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + grace;
    while (running()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(mPid, SIGKILL);
            int status = 0;
            ::waitpid(mPid, &status, 0);
            mStatus = status;
            return;
        }
        // Polling a child's exit: there is no other thread to wait on here.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

}  // namespace velar_test
