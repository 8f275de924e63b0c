#include "manifest/mpd/SegmentTimeline.h"

#include <limits>

namespace dash {
namespace mpd {

namespace {

const uint64_t kMax = std::numeric_limits<uint64_t>::max();

uint64_t saturatingAdd(uint64_t a, uint64_t b) { return a > kMax - b ? kMax : a + b; }

uint64_t saturatingMul(uint64_t a, uint64_t b) { return (b != 0 && a > kMax / b) ? kMax : a * b; }

// One S entry as a run: `count` segments of `duration` from `start` (count kMax: unbounded).
struct Run {
    uint64_t start;
    uint64_t duration;
    uint64_t count;
};

}  // namespace

void SegmentTimeline::Add(std::unique_ptr<Timeline> entry) {
    mView.push_back(entry.get());
    mEntries.push_back(std::move(entry));
}

// Walks the runs in order and calls `visit(run, firstIndex)` until it returns true.
template <typename Visit>
static bool walkRuns(const std::vector<std::unique_ptr<Timeline>>& entries, Visit visit) {
    uint64_t next = 0;
    uint64_t firstIndex = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const Timeline& s = *entries[i];
        Run run;
        run.start = s.HasStartTime() ? s.GetStartTime() : next;
        run.duration = s.GetDuration();
        if (s.GetRepeatCount() >= 0) {
            run.count = static_cast<uint64_t>(s.GetRepeatCount()) + 1;
        } else if (i + 1 < entries.size() && entries[i + 1]->HasStartTime() &&
                   entries[i + 1]->GetStartTime() > run.start && run.duration > 0) {
            const uint64_t span = entries[i + 1]->GetStartTime() - run.start;
            run.count = span / run.duration + (span % run.duration != 0 ? 1 : 0);
        } else {
            run.count = kMax;
        }
        if (visit(run, firstIndex)) return true;
        next = saturatingAdd(run.start, saturatingMul(run.duration, run.count));
        firstIndex = saturatingAdd(firstIndex, run.count);
    }
    return false;
}

bool SegmentTimeline::IndexOfTime(uint64_t time, uint64_t& index) const {
    return walkRuns(mEntries, [&](const Run& run, uint64_t firstIndex) {
        if (run.duration == 0 || time < run.start) return false;
        const uint64_t k = (time - run.start) / run.duration;
        if (k >= run.count) return false;
        index = saturatingAdd(firstIndex, k);
        return true;
    });
}

bool SegmentTimeline::TimeOfIndex(uint64_t index, uint64_t& time) const {
    return walkRuns(mEntries, [&](const Run& run, uint64_t firstIndex) {
        if (index < firstIndex || index - firstIndex >= run.count) return false;
        time = saturatingAdd(run.start, saturatingMul(run.duration, index - firstIndex));
        return true;
    });
}

}  // namespace mpd
}  // namespace dash
