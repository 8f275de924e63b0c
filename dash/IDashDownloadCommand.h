#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "dash/DashCapability.h"
#include "dash/DashConfig.h"
#include "dash/DashDownloadEvent.h"
#include "dash/DashDownloadStatus.h"

namespace dash {

// One DASH presentation as the file layer sees it: started, queried, seeked and cancelled through
// this one object, a thin façade over the presentation's downloader. Called from the file layer's
// thread (the streamer thread, or the host thread during opening) while the downloader's own thread
// fills the segment queues; adds no locking of its own. Positions are milliseconds on the
// presentation time line.
class IDashDownloadCommand {
public:
    virtual ~IDashDownloadCommand() {}
    // Loads the MPD and starts the download thread. False, with a log line, when either failed;
    // getStatus() then tells why.
    virtual bool start() = 0;
    virtual bool cancel() = 0;
    virtual bool seek(std::string mimeType, uint64_t ms) = 0;
    virtual DashDownloadStatus getStatus() = 0;
    // Takes the next downloaded segment of the set of that MIME type: `data` gets the
    // representation's initialisation bytes followed by the segment's bytes (appended), so that
    // they open as a stand-alone MP4; `positionMs` its start. False, `data` untouched, when there
    // is no such set or nothing is queued.
    virtual bool getBufferedSegment(std::string mimeType, std::vector<uint8_t>& data, uint64_t& positionMs) = 0;
    virtual DashCapability getDashCapability() = 0;
    virtual void setDashConfig(DashConfig config) = 0;
    // Adds a listener of the event to the process's event notifier; it runs on the notifying thread.
    virtual void registerListener(const DashDownloadEvent& event, std::function<void()> listener) = 0;
    virtual void setTrickMode(int rate) = 0;
    // Start and duration (ms) of the segment of that set holding positionMs, without moving. False
    // when there is no such set (or the position is outside the available segments).
    virtual bool findSegmentPosition(std::string mimeType, uint64_t& positionMs, uint64_t& segmentDurationMs) = 0;
};

}  // namespace dash
