#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/AbstractDashRepresentation.h"
#include "dash/SeekPosition.h"
#include "manifest/mpd/ISegmentTemplate.h"
#include "manifest/mpd/ISegmentTimeline.h"

namespace dash {

// A Representation whose SegmentTemplate carries a SegmentTimeline (ISO/IEC 23009-1 5.3.9.6):
// every segment has its own start and duration and is requested by $Time$. On demand or live.
//
// Positions are times, not numbers: the shared cursor's segmentTime (timescale units) is the
// position, and the expanded timeline lives in the cursor (DashSegmentLocation::timeline), so all
// representations of an adaptation set work on one timeline; each initTimeline replaces it whole.
// An item covers [startTime, startTime + duration) (64-bit sum). Where items overlap, the item
// with the lowest start that covers a time answers for it. Forward, the cursor moves to the end of
// the item handed out; backward to its start - 1 (the last instant of the item before).
//
// Kept as they are: an S without @t follows the start (not the end) of the previous S's last item
// (DashUtil); seek logs "Seeked to segment %llu(%llums)" with the cursor's old segmentNumber,
// which this scheme never uses as a position; a seek into a gap between items throws
// DashException FAIL_UNKNOWN_ERROR.
//
// Decisions:
// - Search cost: getNextSegment, seek and findSegmentPosition run a binary search (O(log n)) on an
//   index of the timeline that holds, per item, the largest item end up to it; the answers are
//   those of a front-to-back walk (first item in start order that covers the time), overlaps and
//   gaps included. The index is built once per timeline (O(n)) and kept beside the timeline in the
//   shared cursor (DashSegmentLocation::timelineIndex), so every representation of the set searches
//   the index of the timeline in force. It takes 24 bytes per item (at most
//   DashUtil::kMaxTimelineItems items).
// - Negative repeat (@r -1) of the last S: it runs up to an open end in scaled media time,
//   @presentationTimeOffset + the first Period's @duration (else @mediaPresentationDuration) on
//   demand, @presentationTimeOffset + (publish time - availability start) live (the live edge,
//   with the Period starting at the availability start).
//   Without such a value (neither duration, or a publish time before the availability start) the
//   S counts once. DashUtil bounds the expansion to DashUtil::kMaxTimelineItems items.
// - Empty timeline (live, waiting for a refresh): seek and findSegmentPosition keep the requested
//   time as the position and answer PastEnd (segment duration 0) instead of reading an item that
//   is not there.
// - Timescale 0 (the manifest library reads an absent or 0 @timescale as 1): DashException
//   FAIL_INVALID_REP "Timescale is 0".
//
// The template and timeline belong to the MPD object. Threads: see AbstractDashRepresentation.
class DashSegmentTimeline : public AbstractDashRepresentation {
public:
    explicit DashSegmentTimeline(std::shared_ptr<DashSegmentLocation> location);

    // Throws DashException FAIL_INVALID_REP "Unknown reason" without SegmentTemplate or
    // SegmentTimeline, and for an empty timeline on demand. Sets the cursor's segmentNumber to 0.
    void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                            const mpd::IRepresentation& representation,
                            const std::vector<mpd::IBaseUrl*>& baseUrls) override;
    // Expands `timeline` into the cursor's timeline and fills the counts and times; a cursor time
    // before the first item is raised to it. Uses the template's timescale (set by
    // initRepresentation).
    void initTimeline(const mpd::ISegmentTimeline* timeline);

    // The template's initialisation segment; null when the template cannot make one.
    std::shared_ptr<mpd::ISegment> getInitSegment() const override;
    // The item covering the cursor's time (null in a gap or outside the timeline), then one step.
    // Throws DashException FAIL_INVALID_REP when the template makes no media segment for it.
    std::shared_ptr<mpd::ISegment> getNextSegment(bool forward) override;
    // Returns the start (ms) of the item reached; clamps to the first or last item.
    uint64_t seek(uint64_t positionMs) override;
    bool findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) override;

    // The item that holds positionMs: writes its start (ms and scaled) and duration (ms).
    SeekPosition findSegment(uint64_t& positionMs, uint64_t& scaledTime, uint64_t& segmentDurationMs) const;

private:
    uint64_t openEnd(const std::shared_ptr<mpd::IMPD>& mpd) const;
    // The first item in start order that covers `time` (scaled); false in a gap or outside.
    bool findCovering(uint64_t time, uint64_t& startTime, uint32_t& duration) const;
    void rebuildIndex() const;

    const mpd::ISegmentTemplate* mSegmentTemplate;
    const mpd::ISegmentTimeline* mSegmentTimeline;
    uint32_t mTimescale;
    uint64_t mOpenEnd;  // scaled end for a last S with @r -1 (0: unknown)
};

}  // namespace dash
