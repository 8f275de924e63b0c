#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "manifest/mpd/ISegmentTimeline.h"
#include "manifest/mpd/Timeline.h"

namespace dash {
namespace mpd {

// A SegmentTimeline: owns its S entries.
class SegmentTimeline : public ISegmentTimeline {
public:
    const std::vector<ITimeline*>& GetTimelines() const override { return mView; }

    void Add(std::unique_ptr<Timeline> entry);

    // Finds the segment that starts at, or else covers, the scaled time `time` under the
    // timeline rules of ISO/IEC 23009-1 5.3.9.6 (an S without @t starts where the previous one
    // ended; @r -1 repeats up to the next S's @t, or without end for the last S). Writes its
    // 0-based index. False when no segment covers the time.
    bool IndexOfTime(uint64_t time, uint64_t& index) const;
    // The start time of the segment with 0-based `index`; false past the end.
    bool TimeOfIndex(uint64_t index, uint64_t& time) const;

private:
    std::vector<std::unique_ptr<Timeline>> mEntries;
    std::vector<ITimeline*> mView;
};

}  // namespace mpd
}  // namespace dash
