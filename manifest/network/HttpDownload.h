#pragma once

#include <cstdint>
#include <memory>
#include <string>
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
//
// Threads: the public calls may come from any thread; the thread running a transfer is detached
// when started and the destructor waits until it has finished with everything but its own
// reference to the shared state (the equivalent of a join, also possible from that very thread).
//
// Transfer rules (time-outs, retries with back-off, redirects, TLS, connection reuse, local files)
// are HttpTransfer's; the defaults are listed in DownloadOptions.h. Further decisions:
// - Observer calls come from the transfer thread, in this order: OnDownloadStateChanged(IN_PROGRESS)
//   once, OnDownloadRateChanged(bytes so far) zero or more times with growing counts (a retry does
//   not start again from 0: it resumes), a last OnDownloadRateChanged with the final count when
//   bytes arrived, then the final state. REQUEST_ABORT is never sent to observers; GetState()
//   answers it between AbortDownload() and the ABORTED that follows.
// - The state, bytes, status and error text are stored before observers hear the final state, so
//   an observer may read them from its callback.
// - Observers are called under a lock that DetachDownloadObserver also takes: once it returns, the
//   detached observer is not called again (unless it detaches itself from its own callback).
// - AbortDownload() before StartDownload(): StartDownload() still starts the thread, which reports
//   IN_PROGRESS and ABORTED without touching the network. After a final state it does nothing.
// - Destroying the object from one of its own observer callbacks (which the observer contract
//   forbids) does not deadlock: the destructor does not wait, the thread keeps its state alive
//   until it ends, and calls no observer any more.
// - A thread that cannot be started makes StartDownload() return false with state ERROR; the
//   observers are then told ERROR on the calling thread.
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
    // Everything the transfer thread touches; shared with that thread so that it stays valid
    // when the thread is detached (see above).
    struct Impl;
    std::string mUrl;
    std::string mRange;
    DownloadOptions mOptions;
    std::shared_ptr<Impl> mImpl;
};

// Fetches a whole resource synchronously (used for MPDs): http, https, file:// and plain local
// paths. Returns true and fills `out` on success; false with `error` set otherwise. Same rules
// as HttpDownload (retries, time-outs, maxBodyBytes); runs on the calling thread.
bool FetchUrl(const std::string& url, std::vector<uint8_t>& out, std::string& error,
              const DownloadOptions& options = DownloadOptions::defaults());

}  // namespace network
}  // namespace dash
