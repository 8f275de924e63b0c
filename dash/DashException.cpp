#include "dash/DashException.h"

namespace dash {

DashException::DashException() : std::runtime_error("Unknown error occurred"), status(FAIL_UNKNOWN_ERROR) {}

DashException::DashException(DashDownloadStatus status)
    : std::runtime_error("Dash Download Error: " + toString(status)), status(status) {}

DashException::DashException(DashDownloadStatus status, const std::string& text)
    : std::runtime_error("Dash Download Error: " + toString(status) + " " + text), status(status) {}

}  // namespace dash
