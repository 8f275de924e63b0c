#pragma once

#include <stdexcept>
#include <string>

#include "dash/DashDownloadStatus.h"

namespace dash {

// The one failure of the DASH client. Raised through DashUtil::throwIfTrue / throwException; the
// downloader catches it on its thread and keeps only its status. what() is for logs only.
class DashException : public std::runtime_error {
public:
    // "Unknown error occurred", FAIL_UNKNOWN_ERROR.
    DashException();
    // "Dash Download Error: <status text>".
    explicit DashException(DashDownloadStatus status);
    // "Dash Download Error: <status text> <text>" (one space even when the text is empty).
    DashException(DashDownloadStatus status, const std::string& text);

    DashDownloadStatus getDownloadStatus() const { return status; }

private:
    DashDownloadStatus status;
};

}  // namespace dash
