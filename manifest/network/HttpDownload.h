#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "manifest/network/DownloadOptions.h"
#include "manifest/network/DownloadState.h"
#include "manifest/network/IDownloadObserver.h"

namespace dash {
namespace network {

// One HTTP(S) or file:// transfer of a whole resource or a byte range, run on a thread of its own.
//
// Observers see IN_PROGRESS, OnDownloadRateChanged with the bytes received so far, then exactly one
// final state: COMPLETED, ERROR (HTTP status >= 400, connection failures after the retries) or
// ABORTED. The destructor aborts a running transfer and joins its thread, so the object may be
// destroyed at any time from any thread other than the transfer's own.
class HttpDownload {
public:
    // `range` is an HTTP byte range without the "bytes=" prefix: "first-last", "first-" or empty
    // for the whole resource.
    HttpDownload(std::string url, std::string range,
                 DownloadOptions options = DownloadOptions::defaults());
    ~HttpDownload();
    HttpDownload(const HttpDownload&) = delete;
    HttpDownload& operator=(const HttpDownload&) = delete;

    // Starts the transfer thread; false when it was started before.
    bool StartDownload();
    // Asks the transfer to stop; returns at once. The final state ABORTED follows promptly.
    void AbortDownload();
    void AttachDownloadObserver(IDownloadObserver* observer);
    void DetachDownloadObserver(IDownloadObserver* observer);

    DownloadState GetState() const;
    // Blocks until the transfer reached a final state (or `timeoutMs` passed, 0: no limit).
    bool WaitForCompletion(uint32_t timeoutMs) const;

    // The bytes received (complete after COMPLETED).
    std::vector<uint8_t> GetBytes() const;
    long GetHttpStatus() const;        // last HTTP status, 0 when none
    std::string GetErrorText() const;  // why the transfer failed, empty otherwise
    const std::string& GetUrl() const { return mUrl; }
    const std::string& GetRange() const { return mRange; }

private:
    // Implementation detail owned by the network helper; see HttpDownload.cpp.
    struct Impl;
    std::string mUrl;
    std::string mRange;
    DownloadOptions mOptions;
    Impl* mImpl;
};

// Fetches a whole resource synchronously (used for MPDs): http, https, file:// and plain local
// paths. Returns true and fills `out` on success; false with `error` set otherwise.
bool FetchUrl(const std::string& url, std::vector<uint8_t>& out, std::string& error,
              const DownloadOptions& options = DownloadOptions::defaults());

}  // namespace network
}  // namespace dash
