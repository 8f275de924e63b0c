#include "platform/zun_log.h"

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
    std::set<std::string> known;
    std::vector<const char*> sources;  // registration order; texts live in `known` (stable nodes)
};

// Function-local static: sources register from static initialisers of other libraries, which
// may run before this library's own globals would be constructed.
LogState& state() {
    static LogState* s = new LogState();  // never destroyed: logging may happen at exit
    return *s;
}

}  // namespace

extern "C" {

void zun_log_print(int level, const char* function, const char* source, int line,
                   const char* format, ...) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.sink == nullptr || format == nullptr) {
        return;
    }
    char stackBuffer[1024];
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int needed = std::vsnprintf(stackBuffer, sizeof(stackBuffer), format, args);
    va_end(args);
    if (needed < 0) {
        va_end(copy);
        return;
    }
    if (static_cast<size_t>(needed) < sizeof(stackBuffer)) {
        va_end(copy);
        s.sink(level, function ? function : "", source ? source : "", line, stackBuffer, s.user);
        return;
    }
    std::vector<char> big(static_cast<size_t>(needed) + 1);
    std::vsnprintf(big.data(), big.size(), format, copy);
    va_end(copy);
    s.sink(level, function ? function : "", source ? source : "", line, big.data(), s.user);
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
    std::lock_guard<std::mutex> lock(s.mutex);
    zun_log_sink previous = s.sink;
    s.sink = sink;
    s.user = user;
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
