#include "tools/VerboseLog.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/zun_log.h"

namespace velar_play {

namespace {

void printToStderr(int level, const char*, const char* source, int line, const char* message,
                   void*) {
    char prefix[160];
    std::snprintf(prefix, sizeof prefix, "velar: %s:%d [%d] ", source != nullptr ? source : "?",
                  line, level);
    std::string text = prefix;
    text += message != nullptr ? message : "";
    text += '\n';
    ssize_t ignored = ::write(2, text.data(), text.size());
    (void)ignored;
}

}  // namespace

void VerboseLog::install() { zun_log_set_sink(printToStderr, nullptr); }

}  // namespace velar_play
