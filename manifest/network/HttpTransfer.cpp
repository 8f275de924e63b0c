#include "manifest/network/HttpTransfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "manifest/network/CurlHandlePool.h"
#include "manifest/network/CurlShare.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/HttpTransfer")

namespace dash {
namespace network {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kPollIntervalMs = 100;
constexpr size_t kMaxErrorBody = 64 * 1024;  // error pages longer than this close the connection
constexpr long kReceiveBufferBytes = 128 * 1024;
constexpr size_t kLocalChunkBytes = 256 * 1024;
constexpr uint32_t kMaxBackoffMs = 30000;

std::string lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

// The scheme of `url` in lower case, empty when it has none ("/media/a.mpd").
std::string schemeOf(const std::string& url) {
    const size_t colon = url.find("://");
    if (colon == std::string::npos || colon == 0) {
        return std::string();
    }
    for (size_t i = 0; i < colon; ++i) {
        const unsigned char c = static_cast<unsigned char>(url[i]);
        if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') {
            return std::string();
        }
    }
    return lower(url.substr(0, colon));
}

// "http://host:port" of an http(s) URL: the key under which connections are kept.
std::string originOf(const std::string& url) {
    const size_t start = url.find("://") + 3;
    const size_t end = url.find_first_of("/?#", start);
    return lower(url.substr(0, end == std::string::npos ? url.size() : end));
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool transientCurlError(CURLcode rc) {
    switch (rc) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_SSL_CONNECT_ERROR:
        return true;
    default:
        return false;
    }
}

bool transientStatus(long status) { return status >= 500 || status == 408 || status == 429; }

}  // namespace

// Per-attempt state seen by the libcurl callbacks.
struct HttpTransfer::HttpState {
    HttpTransfer* self;
    const Sink* sink;
    CURL* easy;
    uint64_t requestedFirst;  // first byte asked for in this attempt
    Clock::time_point lastActivity;
    bool anyByte = false;
    // The response now being received (a redirect or interim response starts another one).
    long status = 0;
    bool bodyStarted = false;
    bool haveContentRange = false;
    uint64_t contentRangeFirst = 0;
    uint64_t bodyStart = 0;     // resource offset of the first body byte of this response
    uint64_t responseBytes = 0; // body bytes of this response seen so far
    size_t errorBodyBytes = 0;
    // How the attempt ended early, when it did.
    bool rangeDone = false;
    bool tooLarge = false;
    bool badStart = false;
    bool sinkFailed = false;
    char errorBuffer[CURL_ERROR_SIZE] = {0};
};

HttpTransfer::HttpTransfer(std::string url, std::string range, DownloadOptions options)
    : mUrl(std::move(url)), mRangeText(std::move(range)), mOptions(options) {}

void HttpTransfer::abort() {
    mAborted.store(true);
    std::lock_guard<std::mutex> lock(mMutex);
    if (mActiveMulti != nullptr) {
        curl_multi_wakeup(mActiveMulti);
    }
    mWake.notify_all();
}

bool HttpTransfer::waitBackoff(uint32_t ms) {
    std::unique_lock<std::mutex> lock(mMutex);
    mWake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return mAborted.load(); });
    return !mAborted.load();
}

bool HttpTransfer::localPath(const std::string& url, std::string& path, std::string& error) {
    const std::string scheme = schemeOf(url);
    if (scheme.empty()) {
        path = url;
        return true;
    }
    if (scheme != "file") {
        return false;
    }
    std::string rest = url.substr(7);
    const size_t cut = rest.find_first_of("?#");
    if (cut != std::string::npos) {
        rest.resize(cut);
    }
    if (rest.empty() || rest[0] != '/') {
        const size_t slash = rest.find('/');
        const std::string host = lower(rest.substr(0, slash));
        if (host != "localhost" || slash == std::string::npos) {
            error = "file URL with a remote host: " + url;
            path.clear();
            return true;
        }
        rest = rest.substr(slash);
    }
    std::string decoded;
    for (size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '%' && i + 2 < rest.size() && hexValue(rest[i + 1]) >= 0 &&
            hexValue(rest[i + 2]) >= 0) {
            decoded.push_back(static_cast<char>(hexValue(rest[i + 1]) * 16 + hexValue(rest[i + 2])));
            i += 2;
        } else {
            decoded.push_back(rest[i]);
        }
    }
    if (decoded.find('\0') != std::string::npos) {
        error = "file URL with a NUL byte: " + url;
        path.clear();
        return true;
    }
    path = decoded;
    return true;
}

HttpTransfer::Result HttpTransfer::run(const Sink& sink) {
    try {
        return runAttempts(sink);
    } catch (const std::exception& e) {
        Result result;
        result.error = e.what();
        result.bytes = mDelivered;
        ZUN_LOG(0, "Download of %s failed: %s", mUrl.c_str(), e.what());
        return result;
    }
}

HttpTransfer::Result HttpTransfer::runAttempts(const Sink& sink) {
    Result result;
    if (!ByteRange::parse(mRangeText, mRange)) {
        result.error = "invalid byte range \"" + mRangeText + "\"";
        ZUN_LOG(0, "Download of %s failed: %s", mUrl.c_str(), result.error.c_str());
        return result;
    }
    std::string path;
    std::string pathError;
    const bool local = localPath(mUrl, path, pathError);
    const std::string scheme = schemeOf(mUrl);
    if (!local && scheme != "http" && scheme != "https") {
        result.error = "unsupported URL scheme in " + mUrl;
        ZUN_LOG(0, "Download of %s failed: %s", mUrl.c_str(), result.error.c_str());
        return result;
    }
    if (local && !pathError.empty()) {
        result.error = pathError;
        ZUN_LOG(0, "Download of %s failed: %s", mUrl.c_str(), result.error.c_str());
        return result;
    }

    Attempt attempt;
    for (uint32_t tryIndex = 0;; ++tryIndex) {
        if (mAborted.load()) {
            break;
        }
        attempt = local ? readLocal(path, sink) : attemptHttp(sink);
        if (attempt.ok || mAborted.load() || !attempt.transient || tryIndex >= mOptions.maxRetries) {
            break;
        }
        uint64_t backoff = static_cast<uint64_t>(mOptions.retryBackoffMs) << std::min(tryIndex, 16u);
        backoff = std::min<uint64_t>(backoff, kMaxBackoffMs);
        ZUN_LOG(0, "Retrying %s in %u ms (retry %u of %u): %s", mUrl.c_str(),
                static_cast<unsigned>(backoff), tryIndex + 1, mOptions.maxRetries,
                attempt.error.c_str());
        if (!waitBackoff(static_cast<uint32_t>(backoff))) {
            break;
        }
    }

    result.httpStatus = attempt.httpStatus;
    result.bytes = mDelivered;
    if (mAborted.load() && !attempt.ok) {
        result.outcome = Outcome::Aborted;
        result.error = "aborted";
        ZUN_LOG(0, "Download of %s aborted after %llu bytes", mUrl.c_str(),
                static_cast<unsigned long long>(mDelivered));
    } else if (attempt.ok) {
        result.outcome = Outcome::Completed;
    } else {
        result.outcome = Outcome::Failed;
        result.error = attempt.error;
        ZUN_LOG(0, "Download of %s failed: %s", mUrl.c_str(), attempt.error.c_str());
    }
    return result;
}

HttpTransfer::Attempt HttpTransfer::readLocal(const std::string& path, const Sink& sink) {
    Attempt attempt;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        attempt.error = "cannot open " + path + ": " + std::strerror(errno);
        return attempt;
    }
    struct FdCloser {
        int fd;
        ~FdCloser() { ::close(fd); }
    } closer{fd};
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        attempt.error = "not a regular file: " + path;
        return attempt;
    }
    const uint64_t size = static_cast<uint64_t>(st.st_size);
    if (!mRange.whole() && mRange.first >= size) {
        attempt.error = "range " + mRangeText + " starts beyond the end of " + path + " (" +
                        std::to_string(size) + " bytes)";
        return attempt;
    }
    const uint64_t end = mRange.hasLast ? std::min(mRange.last + 1, size) : size;  // exclusive
    const uint64_t total = end > mRange.first ? end - mRange.first : 0;
    if (total > mOptions.maxBodyBytes) {
        attempt.error = "body larger than " + std::to_string(mOptions.maxBodyBytes) + " bytes";
        return attempt;
    }
    if (sink.expectedSize && !mSizeHinted) {
        mSizeHinted = true;
        sink.expectedSize(total);
    }
    std::vector<uint8_t> chunk(static_cast<size_t>(std::min<uint64_t>(kLocalChunkBytes, total)));
    uint64_t pos = mRange.first + mDelivered;
    while (pos < end) {
        if (mAborted.load()) {
            attempt.error = "aborted";
            return attempt;
        }
        const size_t want = static_cast<size_t>(std::min<uint64_t>(chunk.size(), end - pos));
        const ssize_t got = ::pread(fd, chunk.data(), want, static_cast<off_t>(pos));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            attempt.error = "read error in " + path + ": " +
                            (got < 0 ? std::strerror(errno) : "file shrank while read");
            return attempt;
        }
        sink.data(chunk.data(), static_cast<size_t>(got));
        pos += static_cast<uint64_t>(got);
        mDelivered += static_cast<uint64_t>(got);
        if (sink.progress) {
            sink.progress(mDelivered);
        }
    }
    attempt.ok = true;
    return attempt;
}

size_t HttpTransfer::onHeader(char* buffer, size_t size, size_t count, void* user) {
    auto* st = static_cast<HttpState*>(user);
    const size_t bytes = size * count;
    st->lastActivity = Clock::now();
    st->anyByte = true;
    const std::string line(buffer, bytes);
    if (line.compare(0, 5, "HTTP/") == 0) {
        // A new response: a redirect hop, an interim 1xx or the final answer.
        st->status = 0;
        st->bodyStarted = false;
        st->haveContentRange = false;
        st->responseBytes = 0;
        st->errorBodyBytes = 0;
        return bytes;
    }
    const std::string name = lower(line.substr(0, line.find(':')));
    if (name == "content-range") {
        // RFC 7233: Content-Range: bytes first-last/complete-length
        unsigned long long first = 0;
        unsigned long long last = 0;
        const std::string value = lower(line.substr(line.find(':') + 1));
        if (std::sscanf(value.c_str(), " bytes %llu-%llu", &first, &last) == 2) {
            st->haveContentRange = true;
            st->contentRangeFirst = first;
        }
    }
    return bytes;
}

size_t HttpTransfer::onBody(char* buffer, size_t size, size_t count, void* user) {
    auto* st = static_cast<HttpState*>(user);
    HttpTransfer* self = st->self;
    const size_t bytes = size * count;
    st->lastActivity = Clock::now();
    st->anyByte = true;
    if (st->rangeDone) {
        return 0;
    }
    if (!st->bodyStarted) {
        st->bodyStarted = true;
        long code = 0;
        curl_easy_getinfo(st->easy, CURLINFO_RESPONSE_CODE, &code);
        st->status = code;
        if (code >= 200 && code < 300) {
            if (code == 206) {
                st->bodyStart = st->haveContentRange ? st->contentRangeFirst : st->requestedFirst;
            } else {
                st->bodyStart = 0;
            }
            const uint64_t want = self->mRange.first + self->mDelivered;
            if (st->bodyStart > want) {
                st->badStart = true;
                return 0;
            }
            curl_off_t length = -1;
            curl_easy_getinfo(st->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
            if (length >= 0 && st->sink->expectedSize && !self->mSizeHinted) {
                uint64_t end = st->bodyStart + static_cast<uint64_t>(length);  // exclusive
                if (self->mRange.hasLast) {
                    end = std::min(end, self->mRange.last + 1);
                }
                self->mSizeHinted = true;
                try {
                    st->sink->expectedSize(end > self->mRange.first ? end - self->mRange.first : 0);
                } catch (...) {
                    st->sinkFailed = true;
                    return 0;
                }
            }
        }
    }
    if (st->status < 200 || st->status >= 300) {
        // The body of a redirect or an error page: not the resource. Short pages are read to the
        // end so the connection stays usable.
        st->errorBodyBytes += bytes;
        return st->errorBodyBytes > kMaxErrorBody ? 0 : bytes;
    }

    const uint8_t* data = reinterpret_cast<const uint8_t*>(buffer);
    uint64_t pos = st->bodyStart + st->responseBytes;  // resource offset of data[0]
    st->responseBytes += bytes;
    size_t length = bytes;
    const uint64_t want = self->mRange.first + self->mDelivered;
    if (pos < want) {
        const uint64_t skip = std::min<uint64_t>(length, want - pos);
        data += skip;
        length -= static_cast<size_t>(skip);
        pos += skip;
    }
    size_t take = length;
    if (self->mRange.hasLast) {
        take = pos > self->mRange.last
                   ? 0
                   : static_cast<size_t>(std::min<uint64_t>(length, self->mRange.last + 1 - pos));
    }
    if (take > 0) {
        if (self->mDelivered + take > self->mOptions.maxBodyBytes) {
            st->tooLarge = true;
            return 0;
        }
        try {
            st->sink->data(data, take);
        } catch (...) {
            st->sinkFailed = true;
            return 0;
        }
        self->mDelivered += take;
    }
    if (self->mRange.hasLast && self->mRange.first + self->mDelivered > self->mRange.last) {
        st->rangeDone = true;
        // More than the range arrived: the server ignored the Range header; stop reading.
        return take < length ? 0 : bytes;
    }
    return bytes;
}

HttpTransfer::Attempt HttpTransfer::attemptHttp(const Sink& sink) {
    Attempt attempt;
    const uint64_t want = mRange.first + mDelivered;
    if (mRange.hasLast && want > mRange.last) {
        attempt.ok = true;  // everything arrived before the last attempt failed
        return attempt;
    }

    CurlHandlePool& pool = CurlHandlePool::instance();
    std::unique_ptr<CurlHandlePool::Handle> handle;
    try {
        handle = pool.acquire(originOf(mUrl));
    } catch (const std::exception& e) {
        attempt.error = e.what();
        return attempt;
    }
    CURL* easy = handle->easy.get();
    CURLM* multi = handle->multi.get();

    auto st = std::make_unique<HttpState>();
    st->self = this;
    st->sink = &sink;
    st->easy = easy;
    st->requestedFirst = want;
    st->lastActivity = Clock::now();

    std::string rangeHeader;
    if (mDelivered > 0 || !mRange.whole()) {
        rangeHeader = std::to_string(want) + "-" + (mRange.hasLast ? std::to_string(mRange.last) : "");
    }

    curl_easy_reset(easy);
    curl_easy_setopt(easy, CURLOPT_URL, mUrl.c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_SHARE, CurlShare::instance().get());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, mOptions.maxRedirects > 0 ? 1L : 0L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, static_cast<long>(mOptions.maxRedirects));
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(mOptions.connectTimeoutMs));
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, mOptions.verifyTls ? 1L : 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, mOptions.verifyTls ? 2L : 0L);
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "velar/0.1");
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, st->errorBuffer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &HttpTransfer::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, st.get());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &HttpTransfer::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, st.get());
    if (!rangeHeader.empty()) {
        curl_easy_setopt(easy, CURLOPT_RANGE, rangeHeader.c_str());
    }

    CURLMcode mc = curl_multi_add_handle(multi, easy);
    if (mc != CURLM_OK) {
        attempt.error = std::string("curl_multi_add_handle: ") + curl_multi_strerror(mc);
        pool.release(std::move(handle));
        return attempt;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mActiveMulti = multi;
    }

    bool stalled = false;
    uint64_t reported = mDelivered;
    for (;;) {
        int running = 0;
        mc = curl_multi_perform(multi, &running);
        if (mc != CURLM_OK) {
            attempt.error = std::string("curl_multi_perform: ") + curl_multi_strerror(mc);
            break;
        }
        if (mDelivered != reported && sink.progress) {
            reported = mDelivered;
            sink.progress(reported);
        }
        if (running == 0 || mAborted.load()) {
            break;
        }
        const auto limit = std::chrono::milliseconds(
            st->anyByte ? mOptions.stallTimeoutMs
                        : static_cast<uint64_t>(mOptions.stallTimeoutMs) + mOptions.connectTimeoutMs);
        const auto idle = Clock::now() - st->lastActivity;
        if (idle >= limit) {
            stalled = true;
            break;
        }
        const long leftMs = static_cast<long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - idle).count()) + 1;
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(std::min(kPollIntervalMs, leftMs)),
                        nullptr);
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mActiveMulti = nullptr;
    }

    bool done = false;
    CURLcode rc = CURLE_OK;
    int queued = 0;
    while (CURLMsg* msg = curl_multi_info_read(multi, &queued)) {
        if (msg->msg == CURLMSG_DONE && msg->easy_handle == easy) {
            done = true;
            rc = msg->data.result;
        }
    }
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_multi_remove_handle(multi, easy);
    pool.release(std::move(handle));
    attempt.httpStatus = status;

    if (mAborted.load()) {
        attempt.error = "aborted";
    } else if (!attempt.error.empty()) {
        // curl_multi_perform failed: not retried
    } else if (st->rangeDone) {
        attempt.ok = true;
    } else if (st->sinkFailed) {
        attempt.error = "out of memory while storing the body";
    } else if (st->tooLarge) {
        attempt.error = "body larger than " + std::to_string(mOptions.maxBodyBytes) + " bytes";
    } else if (st->badStart) {
        attempt.error = "server answered a range starting at " + std::to_string(st->bodyStart) +
                        " instead of " + std::to_string(want);
    } else if (stalled) {
        attempt.transient = true;
        attempt.error = st->anyByte ? "no data received for " + std::to_string(mOptions.stallTimeoutMs) + " ms"
                                    : "no response within " +
                                          std::to_string(mOptions.connectTimeoutMs + mOptions.stallTimeoutMs) +
                                          " ms";
    } else if (!done) {
        attempt.error = "transfer ended without a result";
    } else if (rc != CURLE_OK) {
        attempt.transient = transientCurlError(rc);
        attempt.error = std::string(curl_easy_strerror(rc));
        if (st->errorBuffer[0] != '\0') {
            attempt.error += std::string(": ") + st->errorBuffer;
        }
    } else if (status >= 400) {
        attempt.transient = transientStatus(status);
        attempt.error = "HTTP status " + std::to_string(status);
    } else if (status < 200 || status >= 300) {
        attempt.error = "unexpected HTTP status " + std::to_string(status);
    } else {
        attempt.ok = true;
    }
    return attempt;
}

}  // namespace network
}  // namespace dash
