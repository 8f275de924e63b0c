#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/ISegment.h"
#include "manifest/network/DownloadOptions.h"
#include "manifest/network/HttpDownload.h"

namespace dash {
namespace mpd {

// The one implementation of ISegment. Init fixes the absolute URL, the range and the type; the
// transfer is a dash::network::HttpDownload made by StartDownload (one per segment: a second
// StartDownload is refused). Observers attached before the start are handed to the transfer when
// it is made.
//
// Threads: Init and StartDownload on the owner's thread; the getters, AbortDownload and the
// observer calls from any thread (a mutex guards the transfer pointer and the observer list).
// The destructor aborts a running transfer and joins its thread (through ~HttpDownload).
class Segment : public ISegment {
public:
    Segment();
    ~Segment() override;
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    // Resolves `uri` against `baseUrls` (outermost first), starting from the MPD location of the
    // first base URL. An empty `uri` names the resource of the base URLs themselves (SegmentBase).
    // `range` is "first-last", "first-" or empty. False when no URL results.
    bool Init(const std::vector<IBaseUrl*>& baseUrls, const std::string& uri,
              const std::string& range, TransactionType type);
    // The same with an explicit starting point for the chain (the MPD's own URL).
    bool Init(const std::string& documentUrl, const std::vector<IBaseUrl*>& baseUrls,
              const std::string& uri, const std::string& range, TransactionType type);
    // Transfer tuning for this segment (tests shorten time-outs); before StartDownload.
    void SetDownloadOptions(const dash::network::DownloadOptions& options);

    const std::string& GetUrl() const override { return mUrl; }
    const std::string& GetRange() const override { return mRange; }
    bool HasByteRange() const override { return !mRange.empty(); }
    TransactionType GetType() const override { return mType; }

    bool StartDownload() override;
    void AbortDownload() override;
    void AttachDownloadObserver(dash::network::IDownloadObserver* observer) override;
    void DetachDownloadObserver(dash::network::IDownloadObserver* observer) override;
    dash::network::DownloadState GetState() const override;
    bool WaitForCompletion(uint32_t timeoutMs) const override;
    std::vector<uint8_t> GetBytes() const override;

private:
    dash::network::HttpDownload* download() const;

    std::string mUrl;
    std::string mRange;
    TransactionType mType;
    dash::network::DownloadOptions mOptions;
    mutable std::mutex mMutex;
    std::vector<dash::network::IDownloadObserver*> mObservers;
    std::unique_ptr<dash::network::HttpDownload> mDownload;  // made once by StartDownload
};

}  // namespace mpd
}  // namespace dash
