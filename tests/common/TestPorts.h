#pragma once

#include <cstdint>

namespace velar_test {

// A TCP port of 127.0.0.1 that was free a moment ago (bound to port 0, then released). A server
// started on it may still lose it to another process: callers retry with a new port.
uint16_t freeLoopbackPort();
// True when something accepts TCP connections on 127.0.0.1:`port` now.
bool loopbackPortAccepts(uint16_t port);
// A port of 127.0.0.1 on which nothing listens: connections to it are refused.
uint16_t refusedLoopbackPort();

}  // namespace velar_test
