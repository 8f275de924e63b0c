// The host's logging. Every message of the library goes through zun_log_print with a level, the
// full signature of the calling function, the source path it was registered under
// ("avfile/AvStreamer"), the line and a printf format with its arguments.
//
// Silent by default: nothing is printed until a host installs a sink. The sink is called on the
// thread that logs, with the message already formatted, and without any lock of the logger held:
// several threads may be in the sink at once, so a sink that keeps state locks it itself. A sink
// must not log, nor install a sink.
#pragma once

#include <cstddef>

extern "C" {

// Called for every message once a sink is installed. `message` is the formatted text, without a
// trailing line end added by the logger.
typedef void (*zun_log_sink)(int level, const char* function, const char* source, int line,
                             const char* message, void* user);

void zun_log_print(int level, const char* function, const char* source, int line,
                   const char* format, ...) __attribute__((format(printf, 5, 6)));

// Registers a source path with the logger. Returns a value so that it can run from a static
// initialiser; the registration itself only records the path (see zun_log_registered_sources).
int register_logging(const char* source);

// Installs a sink (null: silent again). Thread-safe; returns the sink it replaced once every call
// of it that was in progress has returned, so its `user` may be released afterwards. Calls made
// from now on go to the new sink. Never call it from a sink (it would wait for itself).
zun_log_sink zun_log_set_sink(zun_log_sink sink, void* user);

// Number of distinct source paths registered so far, and the i-th of them (null past the end).
size_t zun_log_registered_count(void);
const char* zun_log_registered_source(size_t index);

}  // extern "C"

// Convenience for library sources: ZUN_LOG_SOURCE("avfile/AvStreamer") once at the top of a .cpp
// registers the file at load; ZUN_LOG(level, format, ...) then logs with the caller's signature.
#define ZUN_LOG_SOURCE(path)                                                        \
    namespace {                                                                     \
    const char* const kZunLogSource = path;                                         \
    [[maybe_unused]] const int kZunLogRegistered = register_logging(kZunLogSource); \
    }

#define ZUN_LOG(level, ...) \
    zun_log_print((level), __PRETTY_FUNCTION__, kZunLogSource, __LINE__, __VA_ARGS__)
