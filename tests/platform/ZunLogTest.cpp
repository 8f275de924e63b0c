// The logger under threads: a sink with a lock of its own, whose owner logs while holding it.
#include "platform/zun_log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <thread>

namespace {

struct HostLog {
    std::recursive_mutex lock;  // the host's, held around its own calls into the library
    std::atomic<int> waiting{0};
    int lines = 0;
    static void sink(int, const char*, const char*, int, const char*, void* user) {
        auto* self = static_cast<HostLog*>(user);
        ++self->waiting;
        std::lock_guard<std::recursive_mutex> hold(self->lock);
        --self->waiting;
        ++self->lines;
    }
};

// One thread is in the sink, waiting for the host's lock; the host thread, holding it, logs too (its
// own sink call re-enters the recursive lock). The logger's own lock must not be held across the sink,
// or the two threads wait for each other for ever.
TEST(ZunLogTest, HostLoggingUnderItsSinkLockDoesNotWaitForAnotherThreadsSink) {
    auto* host = new HostLog;  // left to a hung thread if the test fails
    zun_log_set_sink(&HostLog::sink, host);
    std::atomic<bool> holding{false};
    std::promise<void> logged;
    std::future<void> hostDone = logged.get_future();
    std::thread hostThread([&, host] {
        std::lock_guard<std::recursive_mutex> held(host->lock);
        holding = true;
        while (host->waiting == 0) std::this_thread::yield();  // the other thread is in the sink
        zun_log_print(0, "host", "platform/test", 2, "while holding the sink's lock");
        logged.set_value();
    });
    std::thread other([&] {
        while (!holding) std::this_thread::yield();
        zun_log_print(0, "other", "platform/test", 1, "from %s", "another thread");
    });
    if (hostDone.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
        ADD_FAILURE() << "logging waited for a sink call of another thread: deadlock";
        std::fflush(nullptr);
        std::_Exit(1);  // both threads hang for ever, holding the logger
    }
    hostThread.join();
    other.join();
    zun_log_set_sink(nullptr, nullptr);
    EXPECT_EQ(2, host->lines);
    delete host;
}

}  // namespace
