#pragma once

#include <cstdint>

namespace velar_test {

// A TCP port of 127.0.0.1 that was free a moment ago (bound to port 0, then released): nothing
// listens on it, so connections to it are refused, until some server takes it.
uint16_t freeLoopbackPort();
// True when something accepts TCP connections on 127.0.0.1:`port` now.
bool loopbackPortAccepts(uint16_t port);

}  // namespace velar_test
