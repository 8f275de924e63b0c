#pragma once

#include <cstdint>
#include <vector>

#include "dash/DashDownloadStatus.h"
#include "dash/DashRepCapability.h"

namespace dash {

// A snapshot of a DASH presentation for the file layer and the host, made on each call of the
// downloader's getCapability(). A plain record.
//
// `version` changes only when the MPD has been loaded again (a live refresh): the durations and
// earliest positions of the entries are re-read by the file layer then. The choice in force, the
// buffered counts and the rates are current on every snapshot.
struct DashCapability {
    uint32_t version = 0;  // 1 after the first MPD load, plus one per successful refresh
    bool live = false;     // the MPD is dynamic
    DashDownloadStatus status = NO_SEGMENT;  // the session status when the snapshot was taken
    std::vector<DashRepCapability> entries;  // one per adaptation set, in the downloader's order
};

}  // namespace dash
