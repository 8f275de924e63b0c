#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/DashRepresentationData.h"
#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/ISegment.h"

namespace dash {

// One MPD Representation of an adaptation set, under one addressing scheme (SegmentBase,
// SegmentList, SegmentTemplate, SegmentTimeline). The position lives in the DashSegmentLocation
// shared by the set's representations. Called only by the owning adaptation set, under its lock.
class IDashRepresentation {
public:
    virtual ~IDashRepresentation() {}
    // The initialisation segment (null where none is built). Caller owns it.
    virtual std::shared_ptr<mpd::ISegment> getInitSegment() const = 0;
    // The media segment at the position (null when none), then one step forward or back.
    virtual std::shared_ptr<mpd::ISegment> getNextSegment(bool forward) = 0;
    // Moves the position to the segment holding positionMs; returns where playback resumes, ms.
    virtual uint64_t seek(uint64_t positionMs) = 0;
    virtual std::shared_ptr<DashRepresentationData> getData() const = 0;
    // Reads the Representation; run once after creation and again for each refreshed MPD.
    virtual void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                                    const mpd::IRepresentation& representation,
                                    const std::vector<mpd::IBaseUrl*>& baseUrls) = 0;
    virtual void setInitBuffer(const std::vector<uint8_t>& buffer) = 0;
    // Where positionMs lies, without moving: start and duration (ms) of the segment holding it;
    // true when it is within the available segments.
    virtual bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) = 0;
};

}  // namespace dash
