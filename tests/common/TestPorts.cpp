#include "TestPorts.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace velar_test {

namespace {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return addr;
}

}  // namespace

uint16_t freeLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw std::runtime_error("socket() failed");
    }
    sockaddr_in addr = loopback(0);
    socklen_t length = sizeof addr;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length) != 0) {
        ::close(fd);
        throw std::runtime_error("cannot bind a loopback port");
    }
    ::close(fd);
    return ntohs(addr.sin_port);
}

bool loopbackPortAccepts(uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_in addr = loopback(port);
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    ::close(fd);
    return ok;
}

uint16_t refusedLoopbackPort() {
    // A port that was just free and does not accept now; bound ports of other tests are avoided
    // by asking the kernel for a fresh one each time.
    for (int i = 0; i < 20; ++i) {
        const uint16_t port = freeLoopbackPort();
        if (!loopbackPortAccepts(port)) {
            return port;
        }
    }
    throw std::runtime_error("no refused loopback port found");
}

}  // namespace velar_test
