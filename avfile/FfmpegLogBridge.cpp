#include "avfile/FfmpegLogBridge.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/FfmpegLogBridge")

namespace avfile {

namespace {

void forward(void* component, int level, const char* format, va_list args) {
    if (level > AV_LOG_WARNING || format == nullptr) {
        return;
    }
    char text[1024];
    std::vsnprintf(text, sizeof(text), format, args);
    size_t length = std::strlen(text);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
        text[--length] = '\0';
    }
    if (length == 0) {
        return;
    }
    const char* name = "ffmpeg";
    if (component != nullptr) {
        const AVClass* avClass = *static_cast<AVClass**>(component);
        if (avClass != nullptr && avClass->item_name != nullptr) {
            name = avClass->item_name(component);
        }
    }
    ZUN_LOG(level <= AV_LOG_ERROR ? 0 : 1, "%s: %s", name, text);
}

}  // namespace

void FfmpegLogBridge::install() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(&forward); });
}

}  // namespace avfile
