#include "manifest/network/HttpDownload.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "manifest/network/HttpTransfer.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/HttpDownload")

namespace dash {
namespace network {

struct HttpDownload::Impl {
    Impl(const std::string& url, const std::string& range, const DownloadOptions& options)
        : transfer(url, range, options), maxBodyBytes(options.maxBodyBytes) {}

    void run();
    void tellState(DownloadState state);
    void tellBytes(uint64_t bytes);
    // Stores the final state, tells the observers, then wakes WaitForCompletion.
    void finish(DownloadState state, long status, const std::string& errorText);

    HttpTransfer transfer;
    const uint64_t maxBodyBytes;

    mutable std::mutex mutex;  // guards the fields below
    mutable std::condition_variable doneChanged;
    DownloadState state = NOT_STARTED;
    bool started = false;
    bool abortRequested = false;
    bool done = false;  // final state stored and told
    // The transfer thread is detached at once; it records its id first thing and sets `exited`
    // when it touches nothing but its own reference any more. The destructor waits for that
    // instead of joining, which also works when the destructor runs on that very thread.
    std::thread::id runner;
    bool exited = false;
    std::vector<uint8_t> bytes;
    long httpStatus = 0;
    std::string error;

    std::recursive_mutex observerMutex;  // held while observers are called
    std::vector<IDownloadObserver*> observers;
};

void HttpDownload::Impl::tellState(DownloadState newState) {
    std::lock_guard<std::recursive_mutex> lock(observerMutex);
    // Copy: an observer may detach itself from its callback.
    const std::vector<IDownloadObserver*> current = observers;
    for (IDownloadObserver* observer : current) {
        observer->OnDownloadStateChanged(newState);
    }
}

void HttpDownload::Impl::tellBytes(uint64_t count) {
    std::lock_guard<std::recursive_mutex> lock(observerMutex);
    const std::vector<IDownloadObserver*> current = observers;
    for (IDownloadObserver* observer : current) {
        observer->OnDownloadRateChanged(count);
    }
}

void HttpDownload::Impl::finish(DownloadState finalState, long status, const std::string& errorText) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        state = finalState;
        httpStatus = status;
        error = errorText;
    }
    tellState(finalState);
    {
        std::lock_guard<std::mutex> lock(mutex);
        done = true;
    }
    doneChanged.notify_all();
}

void HttpDownload::Impl::run() {
    tellState(IN_PROGRESS);
    uint64_t reported = 0;
    HttpTransfer::Sink sink;
    sink.expectedSize = [this](uint64_t size) {
        std::lock_guard<std::mutex> lock(mutex);
        bytes.reserve(static_cast<size_t>(std::min(size, maxBodyBytes)));
    };
    sink.data = [this](const uint8_t* data, size_t size) {
        std::lock_guard<std::mutex> lock(mutex);
        bytes.insert(bytes.end(), data, data + size);
    };
    sink.progress = [this, &reported](uint64_t count) {
        reported = count;
        tellBytes(count);
    };

    const HttpTransfer::Result result = transfer.run(sink);
    if (result.bytes != reported) {
        tellBytes(result.bytes);
    }
    switch (result.outcome) {
    case HttpTransfer::Outcome::Completed:
        finish(COMPLETED, result.httpStatus, std::string());
        break;
    case HttpTransfer::Outcome::Aborted:
        finish(ABORTED, result.httpStatus, result.error);
        break;
    case HttpTransfer::Outcome::Failed:
        finish(ERROR, result.httpStatus, result.error);
        break;
    }
}

HttpDownload::HttpDownload(std::string url, std::string range, DownloadOptions options)
    : mUrl(std::move(url)),
      mRange(std::move(range)),
      mOptions(options),
      mImpl(std::make_shared<Impl>(mUrl, mRange, mOptions)) {}

HttpDownload::~HttpDownload() {
    AbortDownload();
    std::unique_lock<std::mutex> lock(mImpl->mutex);
    if (!mImpl->started) {
        return;
    }
    if (mImpl->runner == std::this_thread::get_id()) {
        // Destroyed from one of its own callbacks: nobody may be called any more, and the thread
        // cannot wait for itself. It owns a reference to mImpl and ends on its own.
        lock.unlock();
        std::lock_guard<std::recursive_mutex> observerLock(mImpl->observerMutex);
        mImpl->observers.clear();
        return;
    }
    mImpl->doneChanged.wait(lock, [this] { return mImpl->exited; });
}

bool HttpDownload::StartDownload() {
    {
        std::lock_guard<std::mutex> lock(mImpl->mutex);
        if (mImpl->started) {
            return false;
        }
        mImpl->started = true;
        if (!mImpl->abortRequested) {
            mImpl->state = IN_PROGRESS;
        }
    }
    try {
        std::shared_ptr<Impl> impl = mImpl;
        std::thread([impl] {
            {
                std::lock_guard<std::mutex> lock(impl->mutex);
                impl->runner = std::this_thread::get_id();
            }
            impl->run();
            {
                std::lock_guard<std::mutex> lock(impl->mutex);
                impl->exited = true;
            }
            impl->doneChanged.notify_all();
        }).detach();
    } catch (const std::system_error& e) {
        ZUN_LOG(0, "Cannot start the download thread of %s: %s", mUrl.c_str(), e.what());
        mImpl->finish(ERROR, 0, std::string("cannot start a thread: ") + e.what());
        std::lock_guard<std::mutex> lock(mImpl->mutex);
        mImpl->exited = true;
        return false;
    }
    return true;
}

void HttpDownload::AbortDownload() {
    {
        std::lock_guard<std::mutex> lock(mImpl->mutex);
        if (mImpl->state == COMPLETED || mImpl->state == ERROR || mImpl->state == ABORTED) {
            return;
        }
        mImpl->abortRequested = true;
        mImpl->state = REQUEST_ABORT;
    }
    mImpl->transfer.abort();
}

void HttpDownload::AttachDownloadObserver(IDownloadObserver* observer) {
    if (observer == nullptr) {
        return;
    }
    std::lock_guard<std::recursive_mutex> lock(mImpl->observerMutex);
    auto& list = mImpl->observers;
    if (std::find(list.begin(), list.end(), observer) == list.end()) {
        list.push_back(observer);
    }
}

void HttpDownload::DetachDownloadObserver(IDownloadObserver* observer) {
    std::lock_guard<std::recursive_mutex> lock(mImpl->observerMutex);
    auto& list = mImpl->observers;
    list.erase(std::remove(list.begin(), list.end(), observer), list.end());
}

DownloadState HttpDownload::GetState() const {
    std::lock_guard<std::mutex> lock(mImpl->mutex);
    return mImpl->state;
}

bool HttpDownload::WaitForCompletion(uint32_t timeoutMs) const {
    std::unique_lock<std::mutex> lock(mImpl->mutex);
    auto isDone = [this] { return mImpl->done; };
    if (timeoutMs == 0) {
        mImpl->doneChanged.wait(lock, isDone);
        return true;
    }
    return mImpl->doneChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), isDone);
}

std::vector<uint8_t> HttpDownload::GetBytes() const {
    std::lock_guard<std::mutex> lock(mImpl->mutex);
    return mImpl->bytes;
}

long HttpDownload::GetHttpStatus() const {
    std::lock_guard<std::mutex> lock(mImpl->mutex);
    return mImpl->httpStatus;
}

std::string HttpDownload::GetErrorText() const {
    std::lock_guard<std::mutex> lock(mImpl->mutex);
    return mImpl->error;
}

}  // namespace network
}  // namespace dash
