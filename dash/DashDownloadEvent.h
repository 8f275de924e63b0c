#pragma once

#include <cstdint>

namespace dash {

// Events a host can subscribe to through the download command's registerListener. Ordered as a
// signed integer (it is a map key in DashEventNotifier).
enum DashDownloadEvent : int32_t {
    DOWNLOAD_STARTED = 0,    // the downloader thread has been started
    DOWNLOAD_PROGRESS = 1,   // reserved; never raised, kept so that the numbering stays stable
    DOWNLOAD_COMPLETED = 2,  // the session's status has switched to COMPLETED
    DOWNLOAD_ERROR = 3,      // the downloader has caught a DashException
};

}  // namespace dash
