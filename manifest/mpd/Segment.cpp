#include "manifest/mpd/Segment.h"

#include <algorithm>

#include "manifest/mpd/NumberParser.h"
#include "manifest/mpd/UrlResolver.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/mpd/Segment")

namespace dash {
namespace mpd {

Segment::Segment()
    : mType(TransactionType::Unknown), mOptions(dash::network::DownloadOptions::defaults()) {}

Segment::~Segment() {
    std::unique_ptr<dash::network::HttpDownload> transfer;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        transfer = std::move(mDownload);
    }
    transfer.reset();  // aborts and joins outside the lock
}

bool Segment::Init(const std::vector<IBaseUrl*>& baseUrls, const std::string& uri,
                   const std::string& range, TransactionType type) {
    std::string documentUrl;
    for (const IBaseUrl* baseUrl : baseUrls) {
        if (baseUrl != nullptr) {
            documentUrl = baseUrl->GetDocumentUrl();
            break;
        }
    }
    return Init(documentUrl, baseUrls, uri, range, type);
}

bool Segment::Init(const std::string& documentUrl, const std::vector<IBaseUrl*>& baseUrls,
                   const std::string& uri, const std::string& range, TransactionType type) {
    mUrl = UrlResolver::ResolveChain(documentUrl, baseUrls, NumberParser::Trim(uri));
    mRange = NumberParser::Trim(range);
    mType = type;
    if (mUrl.empty()) {
        ZUN_LOG(0, "Segment without URL (uri \"%s\", %zu base URLs)", uri.c_str(), baseUrls.size());
        return false;
    }
    return true;
}

void Segment::SetDownloadOptions(const dash::network::DownloadOptions& options) {
    std::lock_guard<std::mutex> lock(mMutex);
    mOptions = options;
}

dash::network::HttpDownload* Segment::download() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mDownload.get();
}

bool Segment::StartDownload() {
    dash::network::HttpDownload* transfer = nullptr;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mDownload || mUrl.empty()) {
            ZUN_LOG(0, "Segment download not started: %s", mUrl.empty() ? "no URL" : "started before");
            return false;
        }
        mDownload.reset(new dash::network::HttpDownload(mUrl, mRange, mOptions));
        for (dash::network::IDownloadObserver* observer : mObservers) {
            mDownload->AttachDownloadObserver(observer);
        }
        transfer = mDownload.get();
    }
    // Outside the lock: an observer called at once from the transfer may read this segment.
    return transfer->StartDownload();
}

void Segment::AbortDownload() {
    if (dash::network::HttpDownload* transfer = download()) transfer->AbortDownload();
}

void Segment::AttachDownloadObserver(dash::network::IDownloadObserver* observer) {
    if (observer == nullptr) return;
    std::lock_guard<std::mutex> lock(mMutex);
    if (std::find(mObservers.begin(), mObservers.end(), observer) != mObservers.end()) return;
    mObservers.push_back(observer);
    if (mDownload) mDownload->AttachDownloadObserver(observer);
}

void Segment::DetachDownloadObserver(dash::network::IDownloadObserver* observer) {
    std::lock_guard<std::mutex> lock(mMutex);
    mObservers.erase(std::remove(mObservers.begin(), mObservers.end(), observer), mObservers.end());
    if (mDownload) mDownload->DetachDownloadObserver(observer);
}

dash::network::DownloadState Segment::GetState() const {
    dash::network::HttpDownload* transfer = download();
    return transfer ? transfer->GetState() : dash::network::NOT_STARTED;
}

bool Segment::WaitForCompletion(uint32_t timeoutMs) const {
    dash::network::HttpDownload* transfer = download();
    return transfer ? transfer->WaitForCompletion(timeoutMs) : false;
}

std::vector<uint8_t> Segment::GetBytes() const {
    dash::network::HttpDownload* transfer = download();
    return transfer ? transfer->GetBytes() : std::vector<uint8_t>();
}

}  // namespace mpd
}  // namespace dash
