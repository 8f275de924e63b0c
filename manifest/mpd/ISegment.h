#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/TransactionType.h"
#include "manifest/network/DownloadState.h"
#include "manifest/network/IDownloadObserver.h"

namespace dash {
namespace mpd {

// One downloadable piece of a presentation: an absolute URL, an optional byte range and what it
// is. Made by the segment-producing calls of the model (IURLType::ToSegment,
// ISegmentURL::ToMediaSegment, ISegmentTemplate::ToInitializationSegment, ...), which hand the
// new object to the caller; the caller owns it and deletes it through this interface (usually by
// wrapping it in a std::shared_ptr). A segment does not refer back to the MPD that made it, so it
// may outlive it.
//
// StartDownload runs the transfer on a thread of its own; observers attached before or after the
// start are called from that thread (IN_PROGRESS, byte counts, then exactly one of COMPLETED,
// ERROR, ABORTED). Destroying a segment during its transfer aborts the transfer and joins its
// thread; it must not be destroyed from inside an observer callback.
class ISegment {
public:
    virtual ~ISegment() {}

    // Absolute URL of the resource (RFC 3986 resolved against the base URLs and the MPD location).
    virtual const std::string& GetUrl() const = 0;
    // HTTP byte range without the "bytes=" prefix ("first-last" or "first-"), empty for the whole
    // resource.
    virtual const std::string& GetRange() const = 0;
    virtual bool HasByteRange() const = 0;
    virtual TransactionType GetType() const = 0;

    // Starts the transfer; false when the segment has no URL or was started before.
    virtual bool StartDownload() = 0;
    // Asks a running transfer to stop; returns at once. Nothing happens before StartDownload.
    virtual void AbortDownload() = 0;
    // Observers are not owned; each must stay valid until detached or until the transfer ended.
    virtual void AttachDownloadObserver(dash::network::IDownloadObserver* observer) = 0;
    virtual void DetachDownloadObserver(dash::network::IDownloadObserver* observer) = 0;
    // NOT_STARTED before StartDownload, then the transfer's state.
    virtual dash::network::DownloadState GetState() const = 0;
    // Blocks until the transfer ended (true) or `timeoutMs` passed (0: no limit). False when the
    // transfer was never started.
    virtual bool WaitForCompletion(uint32_t timeoutMs) const = 0;
    // The bytes received so far; the whole resource (or range) once COMPLETED.
    virtual std::vector<uint8_t> GetBytes() const = 0;
};

}  // namespace mpd
}  // namespace dash
