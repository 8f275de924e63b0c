#pragma once

#include <cstdint>

#include "manifest/network/DownloadState.h"

namespace dash {
namespace network {

// Receives the progress of a transfer. Called on the transfer's own thread; implementations must
// not block and must not destroy the transfer from inside a callback.
class IDownloadObserver {
public:
    virtual ~IDownloadObserver() {}
    // Bytes received so far by this transfer (a count, not a rate).
    virtual void OnDownloadRateChanged(uint64_t bytesDownloaded) = 0;
    virtual void OnDownloadStateChanged(DownloadState state) = 0;
};

}  // namespace network
}  // namespace dash
