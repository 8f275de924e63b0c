#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/AbstractDashRepresentationCommonSeek.h"
#include "manifest/mpd/ISegmentTemplate.h"

namespace dash {

// A Representation whose segments are named by a SegmentTemplate with a fixed @duration and
// $Number$ (ISO/IEC 23009-1 5.3.9.4), on demand or live. A template with a SegmentTimeline is
// DashSegmentTimeline's.
//
// Numbers: the cursor's segmentNumber is a 0-based index; the URL gets @startNumber + index.
// Available indexes are [mFirstSegment, mLastSegment]; a cursor outside them yields a null segment
// and stays where it is.
//
// Range, with segmentMs = @duration / @timescale x 1000 in double precision:
// - on demand, presentation = @mediaPresentationDuration: first 0, last trunc(presentation /
//   segmentMs - 1), while totalSegments rounds up; the two roundings differ on purpose (PT10S in
//   4 s segments: 3 segments counted, last index 1).
// - live, elapsed = publish time - availability start (ms), presentation = @timeShiftBufferDepth:
//   first trunc((elapsed - presentation + @minimumUpdatePeriod) / segmentMs), so the first segment
//   is still on the server after the next refresh; last floor(elapsed / segmentMs) - 1, the last
//   segment complete at publish time.
// On each initRepresentation (first set-up and every refreshed MPD) a cursor of 0 starts at the
// first segment when live; a cursor below the first segment is raised to it; otherwise it stays.
//
// Decisions (no input divides by 0, wraps or converts out of range):
// - Seeking: a time inside the last available segment is InRange and lands on its start; PastEnd
//   (logged "Attempt to seek past end of segments") begins at the end of that segment.
// - @duration 0 or absent: DashException FAIL_INVALID_REP "Segment template without duration".
// - Timescale 0 (the manifest library reads an absent or 0 @timescale as 1): DashException
//   FAIL_INVALID_REP "Timescale is 0".
// - On demand without @mediaPresentationDuration: DashException FAIL_INVALID_MPD
//   "No mediaPresentationDuration".
// - Live with the publish time before the availability start: DashException FAIL_INVALID_MPD
//   "Publish time before availability start time" (the difference would wrap).
// - Live without @timeShiftBufferDepth: the window is the whole time since the availability start
//   (ISO/IEC 23009-1 reads an absent depth as infinite): first 0, presentation = elapsed.
// - Live with a depth larger than elapsed + update period: first 0 (the difference is not wrapped).
// - Live before the first segment is complete (elapsed < segmentMs): last 0.
// - Doubles beyond 64 bits saturate, negative ones give 0; ms products saturate.
// - The URL number startNumber + index is a 64-bit sum (no 32-bit wrap to a wrong number); an
//   index whose sum would exceed 64 bits counts as unavailable (null segment, cursor unmoved).
//
// The template belongs to the MPD object. Threads: see AbstractDashRepresentation.
class DashSegmentTemplate : public AbstractDashRepresentationCommonSeek {
public:
    explicit DashSegmentTemplate(std::shared_ptr<DashSegmentLocation> location);

    // Throws DashException FAIL_INVALID_REP "No segment template" when none applies, and as listed
    // above; std::invalid_argument / std::out_of_range for malformed numbers in ISO 8601 durations.
    void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                            const mpd::IRepresentation& representation,
                            const std::vector<mpd::IBaseUrl*>& baseUrls) override;
    // The template's initialisation segment ($RepresentationID$, $Bandwidth$); null when the
    // template cannot make one.
    std::shared_ptr<mpd::ISegment> getInitSegment() const override;
    // The segment at the cursor when it is available, then one step forward or back; else null.
    std::shared_ptr<mpd::ISegment> getNextSegment(bool forward) override;
    SeekPosition findSegmentNumber(uint64_t& positionMs, uint64_t& segmentNumber,
                                   uint64_t& segmentDurationMs) const override;

private:
    const mpd::ISegmentTemplate* mSegmentTemplate;
    uint64_t mFirstSegment;
    uint64_t mLastSegment;
};

}  // namespace dash
