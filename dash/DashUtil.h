#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dash/DashDownloadStatus.h"
#include "dash/DashTimelineItem.h"
#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/IRepresentation.h"
#include "manifest/mpd/ISegmentTemplate.h"
#include "manifest/mpd/ITimeline.h"

namespace dash {

// Stateless helpers of the DASH client: the only way it raises DashException and classifies
// statuses, and the conversions of MPD attributes (ISO/IEC 23009-1, 5.3.1.2 and 5.3.9) into the
// numbers the client works with. Durations and wall-clock values are milliseconds (wall clock:
// since the Unix epoch, UTC); scaled times are in a representation's timescale (units per second).
// Every function may be called from any thread.
class DashUtil {
public:
    // --- statuses and exceptions ---

    // Throws DashException(status, text) when the condition is true.
    static void throwIfTrue(bool condition, DashDownloadStatus status, const std::string& text);
    // Always throws DashException(status, text).
    [[noreturn]] static void throwException(DashDownloadStatus status, const std::string& text);
    // True for CANCELLED, COMPLETED and every failure: status >= 3 compared unsigned.
    static bool isCompletedStatus(DashDownloadStatus status);

    // --- ISO 8601 ---

    // "PnYnMnDTnHnMn.nS" to milliseconds. Only forms with a "T" are accepted ("P1D" must be
    // "P1DT0S"). The day count is read from the start of the date part with length (index of D - 1),
    // so "P12DT0S" counts 1 day and "P1DT0S" throws std::invalid_argument; relied on as it is.
    // Throws DashException FAIL_INVALID_MPD "invalid ISO8601" (no P or no T) or "Duration is 0";
    // std::invalid_argument / std::out_of_range from std::stoi / std::stof for bad numbers.
    static uint64_t convertISO8601DurationToMs(const std::string& duration);
    // "%FT%T%z" through strptime and timegm: seconds since the epoch. No validation.
    static time_t convertISO8601DateTimeToTime(const std::string& dateTime);

    // --- MPD attributes ---

    static bool isMPDLive(std::shared_ptr<mpd::IMPD> mpd);             // @type == "dynamic"
    static uint64_t getUpdatePeriodMs(std::shared_ptr<mpd::IMPD> mpd);  // @minimumUpdatePeriod, 6000
    static uint64_t getMinBufferTimeMs(std::shared_ptr<mpd::IMPD> mpd); // @minBufferTime, 6000
    // @suggestedPresentationDelay, else max(getMinBufferTimeMs, 6000) (the update period is parsed
    // too and ignored, so a malformed one still throws).
    static uint64_t getPresentationDelay(std::shared_ptr<mpd::IMPD> mpd);
    // @publishTime in epoch ms, else the MPD's fetch time (seconds) x 1000.
    static int64_t getPublishTime(std::shared_ptr<mpd::IMPD> mpd);
    // @availabilityStartTime in epoch ms, else 0.
    static uint64_t getAvailabilityStartTime(std::shared_ptr<mpd::IMPD> mpd);

    // The SegmentTemplate in force: the representation's, else the adaptation set's, else the
    // first Period's (may be null). An MPD without Period throws std::out_of_range.
    static const mpd::ISegmentTemplate* getSegmentTemplate(std::shared_ptr<mpd::IMPD> mpd,
                                                           const mpd::IAdaptationSet& adaptationSet,
                                                           const mpd::IRepresentation& representation);

    // --- time scales ---

    // ceil(time x (1000.0 / timescale)): never undershoots.
    static uint64_t convertScaledTimeToMs(uint64_t time, uint32_t timescale);
    // trunc(ms x (timescale / 1000.0)): never overshoots.
    static uint64_t convertMsToScaledTime(uint64_t ms, uint32_t timescale);

    // --- overflow-safe arithmetic for times and counts ---

    // Results beyond 64 bits saturate instead of wrapping; a double that is negative or NaN
    // converts to 0, one at or above 2^64 to the largest value (so no conversion is undefined).
    static uint64_t saturatingMultiply(uint64_t a, uint64_t b);
    static uint64_t saturatingAdd(uint64_t a, uint64_t b);
    static uint64_t saturatingToU64(double value);

    // --- base URLs and timelines ---

    // The parent list, then each child in order; an absolute child ("http://", "https://")
    // first empties what was gathered so far. The pointers belong to the MPD.
    static std::vector<mpd::IBaseUrl*> addBaseURLs(const std::vector<mpd::IBaseUrl*>& parent,
                                                    const std::vector<mpd::IBaseUrl*>& child);

    // Expands S elements into items (scaled times). An S without t (or t=0) starts at the start of
    // the previous S's last item, not its end; its first item is then a duplicate that the set
    // drops while count and totalDuration still include it.
    // Guards (the schema's r="-1" and hostile input): a negative repeat covers the time up to the
    // next S's t (the last item may overlap it, so no gap is left), or for the last S makes only the
    // items that end by `openEnd` (scaled; the caller's period end or live edge, so a live segment
    // still being written is never listed); it counts once when neither is known or d is 0. At most kMaxTimelineItems items are made; the rest is
    // dropped with a log. Expansion is linear in the number of items (ascending inserts at the end).
    static constexpr uint32_t kMaxTimelineItems = 262144;
    static std::set<DashTimelineItem> getTimeVectorFromTimelines(const std::vector<mpd::ITimeline*>& timelines,
                                                                 uint64_t& totalDuration, uint32_t& count,
                                                                 uint64_t openEnd = 0);
};

}  // namespace dash
