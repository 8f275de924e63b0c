#pragma once

namespace dash {
namespace network {

// State of one transfer, as reported to IDownloadObserver::OnDownloadStateChanged.
enum DownloadState {
    NOT_STARTED = 0,
    IN_PROGRESS = 1,
    REQUEST_ABORT = 2,
    ABORTED = 3,
    COMPLETED = 4,
    ERROR = 5,
};

}  // namespace network
}  // namespace dash
