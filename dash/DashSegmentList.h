#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/AbstractDashRepresentationCommonSeek.h"
#include "manifest/mpd/ISegmentList.h"

namespace dash {

// A Representation that lists its media segments one by one (SegmentList of SegmentURLs with a
// fixed @duration, ISO/IEC 23009-1 5.3.9.3). On demand only.
//
// The cursor's segmentNumber is the 0-based index into the SegmentURL list and segmentTime its
// start in ms (index x segmentDurationMs). Segment n covers [n x segmentDurationMs,
// (n + 1) x segmentDurationMs) ms; segmentDurationMs is @duration / @timescale rounded up to whole
// ms, so it is at least 1 and the searches never divide by 0.
//
// Kept as they are: a SegmentList without @duration (or 0) counts 1000 timescale units per
// segment; initRepresentation puts the shared cursor back to the first segment; a cursor outside
// the list makes getNextSegment throw std::out_of_range (stepping back from 0 wraps the number).
//
// Decisions:
// - Seeking: a time inside the last segment (after its start, before its end) is InRange and lands
//   on its start (37999 ms in ten 4 s segments: segment 9 at 36000, InRange); PastEnd begins at
//   the end of the last segment.
// - The whole 64-bit cursor number indexes the list (std::vector::at), so a number beyond 32 bits
//   throws std::out_of_range like any other number outside the list instead of aliasing the
//   entry of its low 32 bits. No startNumber is involved in a SegmentList, so no sum can overflow.
// - A SegmentList without any SegmentURL throws DashException FAIL_INVALID_REP "SegmentList without
//   SegmentURL" (the last start time would otherwise wrap below 0).
// - Timescale 0 (the manifest library reads an absent or 0 @timescale as 1) throws DashException
//   FAIL_INVALID_REP "Timescale is 0" from the conversion.
// - Times that would exceed 64 bits of ms saturate.
//
// The SegmentList element belongs to the MPD object. Threads: see AbstractDashRepresentation.
class DashSegmentList : public AbstractDashRepresentationCommonSeek {
public:
    explicit DashSegmentList(std::shared_ptr<DashSegmentLocation> location);

    // Throws DashException FEATURE_NOT_SUPPORTED "Unknown reason" for a live MPD and
    // FAIL_INVALID_REP "Unknown reason" for a Representation without SegmentList.
    void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                            const mpd::IRepresentation& representation,
                            const std::vector<mpd::IBaseUrl*>& baseUrls) override;
    // The SegmentList's Initialization element against the base URLs (null when no URL results).
    // Throws DashException FAIL_INVALID_REP when the element is absent.
    std::shared_ptr<mpd::ISegment> getInitSegment() const override;
    // The SegmentURL at the cursor, then one step forward or back.
    std::shared_ptr<mpd::ISegment> getNextSegment(bool forward) override;
    SeekPosition findSegmentNumber(uint64_t& positionMs, uint64_t& segmentNumber,
                                   uint64_t& segmentDurationMs) const override;

    // The duration of a SegmentList without @duration, in timescale units.
    static constexpr uint32_t kDefaultDuration = 1000;

private:
    const mpd::ISegmentList* mSegmentList;
};

}  // namespace dash
