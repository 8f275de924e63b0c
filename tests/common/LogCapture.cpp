#include "LogCapture.h"

#include <algorithm>

#include "platform/zun_log.h"

namespace velar_test {

LogCapture::LogCapture() { zun_log_set_sink(&LogCapture::sink, this); }

LogCapture::~LogCapture() { zun_log_set_sink(nullptr, nullptr); }

void LogCapture::sink(int level, const char* function, const char* source, int line,
                      const char* message, void* user) {
    auto* self = static_cast<LogCapture*>(user);
    std::lock_guard<std::mutex> lock(self->mMutex);
    self->mLines.push_back(LogLine{level, function, source, line, message});
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLines;
}

std::vector<std::string> LogCapture::messages() const {
    std::lock_guard<std::mutex> lock(mMutex);
    std::vector<std::string> out;
    out.reserve(mLines.size());
    for (const auto& l : mLines) {
        out.push_back(l.message);
    }
    return out;
}

bool LogCapture::contains(const std::string& text) const { return count(text) > 0; }

bool LogCapture::containsFragment(const std::string& fragment) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return std::any_of(mLines.begin(), mLines.end(), [&](const LogLine& l) {
        return l.message.find(fragment) != std::string::npos;
    });
}

size_t LogCapture::count(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<size_t>(std::count_if(mLines.begin(), mLines.end(),
                                             [&](const LogLine& l) { return l.message == text; }));
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(mMutex);
    mLines.clear();
}

}  // namespace velar_test
