#include "TestPorts.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace velar_test {

namespace {

// Binds (port 0: any free port, reported back in `port`) or connects a fresh socket.
bool loopback(uint16_t& port, bool connect) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof addr;
    auto* a = reinterpret_cast<sockaddr*>(&addr);
    const bool ok = fd >= 0 && (connect ? ::connect(fd, a, length) == 0
                                        : ::bind(fd, a, length) == 0 && ::getsockname(fd, a, &length) == 0);
    port = ntohs(addr.sin_port);
    if (fd >= 0) ::close(fd);
    return ok;
}

}  // namespace

uint16_t freeLoopbackPort() {
    uint16_t port = 0;
    if (!loopback(port, false)) throw std::runtime_error("cannot bind a loopback port");
    return port;
}

bool loopbackPortAccepts(uint16_t port) { return loopback(port, true); }

}  // namespace velar_test
