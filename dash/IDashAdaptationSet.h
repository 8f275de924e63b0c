#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "dash/DashAbrAdjustment.h"
#include "dash/DashAbrData.h"
#include "dash/DashContentProtection.h"
#include "dash/DashQueuedSegment.h"
#include "dash/DashRepresentationData.h"
#include "dash/IDashRepresentation.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"

namespace dash {

// One stream of a DASH presentation ("video/mp4" or "audio/mp4"): its representations, the current
// one, the bit-rate choice, and the queue of downloaded segments. The downloader thread drives the
// downloads; the streaming thread takes segments; both meet under the set's recursive mutex.
class IDashAdaptationSet {
public:
    virtual ~IDashAdaptationSet() {}

    // --- segment queue, download and seek ---

    // Takes the next queued segment (front when playing forwards, back when backwards). False,
    // without blocking, when the queue is empty.
    virtual bool getBufferedSegment(DashQueuedSegment& segment) = 0;
    // No download in flight and the shared position has run off the end (forwards) or the
    // beginning (backwards).
    virtual bool endOfSegments() const = 0;
    virtual size_t getNumberOfBufferedSegments() const = 0;
    // Starts the download of the next segment (the initialisation segment first when the current
    // representation has none yet). The future becomes true when it finished or failed, false at
    // once when there is nothing to download.
    virtual std::future<bool> downloadNextSegment() = 0;
    // Called by the download observer (download thread) when a segment finished or failed.
    virtual void handleCompleteSegment() const = 0;
    // Called by the downloader once the future is ready: stores the init bytes or queues the segment.
    virtual void processCompleteSegment() = 0;
    // Repositions to positionMs; answers the position (ms) from which segments will come.
    virtual uint64_t seek(uint64_t positionMs) = 0;
    // Where positionMs lies in the current representation, without moving (see IDashRepresentation).
    virtual bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) = 0;
    // Trick-play rate in thousandths (negative: backwards; 0 keeps the rate).
    virtual void setTrickMode(int rate) = 0;
    // Called after each segment is queued.
    virtual void setSegmentReadyCallback(std::function<void(int)> callback) = 0;

    // --- representation choice ---

    // Builds or refreshes the representation list from (a refreshed) MPD.
    virtual void initAdaptationSet(std::shared_ptr<mpd::IMPD> mpd, const std::vector<mpd::IBaseUrl*>& baseUrls) = 0;
    virtual void changeRepresentation(DashAbrAdjustment adjustment) = 0;
    virtual std::shared_ptr<IDashRepresentation> getRepresentation() const = 0;
    virtual std::shared_ptr<DashRepresentationData> getCurrentRepresentation() const = 0;
    virtual const std::string& getMimeType() const = 0;
    // Replaces the bit-rate strategy (the constructor installs the set's own algorithm). An empty
    // function makes the next downloadNextSegment throw std::bad_function_call.
    virtual void setAbrStrategy(std::function<DashAbrAdjustment(const DashAbrData&)> strategy) = 0;
    // Every representation in order (language, then bandwidth).
    virtual std::vector<std::shared_ptr<IDashRepresentation>> getRepresentations() const = 0;

    // --- for the host ---

    // The ContentProtection descriptors of the set, read when its representations are (re)read.
    virtual std::vector<DashContentProtection> getContentProtections() const = 0;
    // Rate of the last finished segment download, bits per second (0 before the first).
    virtual int32_t getLastDownloadRate() const = 0;
    // The representation of the segment getBufferedSegment handed out last: the one being played,
    // which trails the current one (chosen for the next download) by the queue. Null before the
    // first segment was taken.
    virtual std::shared_ptr<DashRepresentationData> getPlayingRepresentation() const = 0;
};

}  // namespace dash
