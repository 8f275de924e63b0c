#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace velar_test {

// Polls `condition` until it holds or `timeout` passes; true when it held. For tests that wait on
// another thread: never a bare sleep.
inline bool waitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace velar_test
