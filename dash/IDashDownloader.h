#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dash/DashCapability.h"
#include "dash/DashDownloadStatus.h"
#include "dash/IDashAdaptationSet.h"

namespace dash {

// Owns one DASH presentation: the MPD, one adaptation set per media type and the thread that keeps
// them downloading. Made by IDashFactory::createDashDownloader, driven by the download command on
// the host's (file layer's) thread while its own thread downloads.
class IDashDownloader {
public:
    virtual ~IDashDownloader() {}
    // Loads the MPD and creates the adaptation sets. False when that failed; the status then tells
    // why (a failure status, never a running one).
    virtual bool init() = 0;
    // The set of that MIME type, empty when none.
    virtual std::shared_ptr<IDashAdaptationSet> getAdaptationSet(std::string mimeType) = 0;
    // Starts the download thread once. False when the session is finished or aborted.
    virtual bool startDownload() = 0;
    virtual DashDownloadStatus getStatus() = 0;
    // Aborts the session and joins its thread. True.
    virtual bool cancel() = 0;
    // Repositions the set of that MIME type to `ms` (milliseconds on the presentation time line).
    // True when such a set took the seek; false when there is none or the seek failed.
    virtual bool seek(std::string mimeType, uint64_t ms) = 0;
    virtual DashCapability getCapability() = 0;
    // Playback rate in thousandths (1000 normal, negative backwards), passed to every set.
    virtual void setTrickMode(int rate) = 0;
};

}  // namespace dash
