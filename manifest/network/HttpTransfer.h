#pragma once

#include <curl/curl.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "manifest/network/ByteRange.h"
#include "manifest/network/DownloadOptions.h"

namespace dash {
namespace network {

// One fetch of a resource, or of a byte range of it, run on the calling thread, with the retries
// and time-outs of DownloadOptions. Shared by HttpDownload (segments, on a thread of their own)
// and FetchUrl (MPDs, synchronous).
//
// URLs: http:// and https:// through libcurl (redirects followed up to maxRedirects, to http and
// https only; TLS peer and host verified unless verifyTls is false; DNS cache and TLS sessions
// shared process-wide by CurlShare; connections kept alive between transfers by CurlHandlePool);
// file:// URLs (host empty or "localhost", %XX escapes decoded) and plain local paths are read
// directly from disk. Other schemes are an error.
//
// Bytes reach the sink in order and exactly once, also across retries: a retry asks for the bytes
// not yet received with a Range request and skips what the server sends again (a server that
// ignores Range and answers 200 still yields the right bytes). A byte range that the server
// ignores is cut out of the whole body here.
//
// abort() may be called from any thread; run() then returns Aborted within one poll interval
// (at most 100 ms, usually at once: the wait is woken with curl_multi_wakeup).
class HttpTransfer {
public:
    enum class Outcome { Completed, Failed, Aborted };

    struct Result {
        Outcome outcome = Outcome::Failed;
        long httpStatus = 0;  // status of the last HTTP response, 0 when none
        std::string error;    // empty when Completed
        uint64_t bytes = 0;   // bytes handed to the sink
    };

    // Callbacks, all on the thread of run(). `data` must be set; the others may be empty.
    struct Sink {
        std::function<void(uint64_t)> expectedSize;          // size hint, at most once, before data
        std::function<void(const uint8_t*, size_t)> data;    // body bytes in order
        std::function<void(uint64_t)> progress;              // bytes handed to `data` so far
    };

    HttpTransfer(std::string url, std::string range, DownloadOptions options);
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    // Runs the transfer to its end; call once. Logs the retries and the final failure. Never
    // throws: an exception inside (out of memory, a throwing sink) ends it Failed with its text.
    Result run(const Sink& sink);
    // Any thread, any time (also before run(), which then returns Aborted at once).
    void abort();
    bool aborted() const { return mAborted.load(); }

    // For tests and logs: is `url` read from the local file system, and at which path.
    static bool localPath(const std::string& url, std::string& path, std::string& error);

private:
    struct Attempt {
        bool ok = false;
        bool transient = false;
        long httpStatus = 0;
        std::string error;
    };
    struct HttpState;

    Result runAttempts(const Sink& sink);
    Attempt attemptHttp(const Sink& sink);
    Attempt readLocal(const std::string& path, const Sink& sink);
    bool waitBackoff(uint32_t ms);  // false when aborted meanwhile

    static size_t onHeader(char* buffer, size_t size, size_t count, void* user);
    static size_t onBody(char* buffer, size_t size, size_t count, void* user);

    const std::string mUrl;
    const std::string mRangeText;
    const DownloadOptions mOptions;
    ByteRange mRange;
    uint64_t mDelivered = 0;  // bytes handed to the sink so far, over all attempts
    bool mSizeHinted = false;

    std::atomic<bool> mAborted{false};
    std::mutex mMutex;             // guards mActiveMulti and the back-off wait
    std::condition_variable mWake;
    CURLM* mActiveMulti = nullptr;  // multi handle of the running attempt, for curl_multi_wakeup
};

}  // namespace network
}  // namespace dash
