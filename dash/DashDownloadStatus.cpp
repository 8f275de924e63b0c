#include "dash/DashDownloadStatus.h"

namespace dash {

std::string toString(const DashDownloadStatus& status) {
    static const char* const kNames[] = {
        "NO_SEGMENT",       "BUFFERING",        "READY",
        "CANCELLED",        "COMPLETED",        "FEATURE_NOT_SUPPORTED",
        "FAIL_INVALID_URL", "FAIL_INVALID_MPD", "FAIL_INVALID_ADAPTATION",
        "FAIL_INVALID_REP", "FAIL_BAD_CONNECTION",
    };
    const int32_t value = static_cast<int32_t>(status);
    if (value < 0 || value > static_cast<int32_t>(FAIL_BAD_CONNECTION)) {
        return "FAIL_UNKNOWN_ERROR";
    }
    return kNames[value];
}

std::ostream& operator<<(std::ostream& os, const DashDownloadStatus& status) {
    return os << toString(status);
}

}  // namespace dash
