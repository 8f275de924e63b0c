#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/AbstractDashRepresentation.h"
#include "manifest/mpd/ISegmentBase.h"

namespace dash {

// A Representation whose media is one resource addressed by byte ranges (SegmentBase, ISO/IEC
// 23009-1 5.3.9.2). On demand only. The media goes out as one open-ended range request from the
// start of the segment index (@indexRange "834-1233" gives "834-") to the end of the resource;
// after it the list has ended. Seeking is not supported (FEATURE_NOT_SUPPORTED); findSegmentPosition
// answers 0 for every time.
//
// totalSegments and totalDurationMs are 1; the cursor's segment number and time are not used.
// getNextSegment writes "Range<range>" and a line end on standard output (flushed), not to the log.
//
// Decisions: when the base URLs yield no URL for the resource (no BaseURL and no MPD location),
// getNextSegment returns null instead of a segment that cannot be downloaded; endReached is set in
// both cases. A SegmentBase without Initialization element makes getInitSegment throw
// DashException FAIL_INVALID_REP "SegmentBase without Initialization" (the adaptation set cannot
// go on without initialisation data).
//
// The SegmentBase element belongs to the MPD object. Threads: see AbstractDashRepresentation.
class DashSegmentBase : public AbstractDashRepresentation {
public:
    explicit DashSegmentBase(std::shared_ptr<DashSegmentLocation> location);

    // Throws DashException FEATURE_NOT_SUPPORTED "Unknown reason" for a live MPD.
    void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                            const mpd::IRepresentation& representation,
                            const std::vector<mpd::IBaseUrl*>& baseUrls) override;
    // The Initialization element against the base URLs (null when no URL results). Throws
    // DashException FAIL_INVALID_REP when the element is absent.
    std::shared_ptr<mpd::ISegment> getInitSegment() const override;
    // The whole media; the direction is ignored.
    std::shared_ptr<mpd::ISegment> getNextSegment(bool forward) override;
    // Always throws DashException FEATURE_NOT_SUPPORTED "Unknown reason".
    uint64_t seek(uint64_t positionMs) override;
    // positionMs 0, segmentDurationMs totalDurationMs (1); always true.
    bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) override;

private:
    const mpd::ISegmentBase* mSegmentBase;
};

}  // namespace dash
