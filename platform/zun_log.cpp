#include "platform/zun_log.h"

#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

struct LogState {
    std::mutex mutex;
    zun_log_sink sink = nullptr;
    void* user = nullptr;
    // Sink calls in progress (made outside `mutex`); zun_log_set_sink waits for them to end.
    unsigned calls = 0;
    std::condition_variable callsEnded;
    std::set<std::string> known;
    std::vector<const char*> sources;  // registration order; texts live in `known` (stable nodes)
};

// Function-local static: sources register from static initialisers of other libraries, which
// may run before this library's own globals would be constructed.
LogState& state() {
    static LogState* s = new LogState();  // never destroyed: logging may happen at exit
    return *s;
}

// Ends one sink call in progress when it leaves scope, however the call ends.
struct CallEnd {
    LogState& s;
    ~CallEnd() {
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            --s.calls;
        }
        s.callsEnded.notify_all();
    }
};

}  // namespace

extern "C" {

void zun_log_print(int level, const char* function, const char* source, int line,
                   const char* format, ...) {
    LogState& s = state();
    zun_log_sink sink = nullptr;
    void* user = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.sink == nullptr || format == nullptr) {
            return;
        }
        sink = s.sink;
        user = s.user;
        ++s.calls;
    }
    // Formatted and handed to the sink without the lock, so that the sink's own locks never nest
    // inside the logger's (callers log while holding their locks, and a sink's owner may take its
    // lock around calls into the library).
    CallEnd end{s};
    char stackBuffer[1024];
    std::vector<char> big;
    const char* text = stackBuffer;
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(stackBuffer, sizeof(stackBuffer), format, args);
    va_end(args);
    if (needed >= 0 && static_cast<size_t>(needed) >= sizeof(stackBuffer)) {
        big.resize(static_cast<size_t>(needed) + 1);
        std::vsnprintf(big.data(), big.size(), format, copy);
        text = big.data();
    }
    va_end(copy);
    if (needed >= 0) {
        sink(level, function ? function : "", source ? source : "", line, text, user);
    }
}

int register_logging(const char* source) {
    if (source == nullptr) {
        return 0;
    }
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto inserted = s.known.insert(source);
    if (inserted.second) {
        s.sources.push_back(inserted.first->c_str());
    }
    return 1;
}

zun_log_sink zun_log_set_sink(zun_log_sink sink, void* user) {
    LogState& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    zun_log_sink previous = s.sink;
    s.sink = sink;
    s.user = user;
    // The previous sink's owner may go away once this returns: let calls in progress end first.
    s.callsEnded.wait(lock, [&s] { return s.calls == 0; });
    return previous;
}

size_t zun_log_registered_count(void) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.sources.size();
}

const char* zun_log_registered_source(size_t index) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return index < s.sources.size() ? s.sources[index] : nullptr;
}

}  // extern "C"
