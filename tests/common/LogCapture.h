#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace velar_test {

// One line as the library logged it.
struct LogLine {
    int level;
    std::string function;
    std::string source;  // "avfile/AvStreamer"
    int line;
    std::string message;
};

// Installs itself as the log sink for its lifetime and records every line (thread-safe).
// Only one LogCapture may be alive at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    std::vector<std::string> messages() const;
    // True when some message equals `text` exactly.
    bool contains(const std::string& text) const;
    // True when some message contains `fragment`.
    bool containsFragment(const std::string& fragment) const;
    // Number of messages equal to `text`.
    size_t count(const std::string& text) const;
    void clear();

private:
    static void sink(int level, const char* function, const char* source, int line,
                     const char* message, void* user);
    mutable std::mutex mMutex;
    std::vector<LogLine> mLines;
};

}  // namespace velar_test
