#include "dash/DashSegmentTimeline.h"

#include <algorithm>
#include <sstream>

#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashSegmentTimeline")

namespace dash {

namespace {

unsigned long long ull(uint64_t value) {
    return static_cast<unsigned long long>(value);
}

}  // namespace

DashSegmentTimeline::DashSegmentTimeline(std::shared_ptr<DashSegmentLocation> location)
    : AbstractDashRepresentation(std::move(location)),
      mSegmentTemplate(nullptr),
      mSegmentTimeline(nullptr),
      mTimescale(0),
      mOpenEnd(0) {}

void DashSegmentTimeline::initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                                             const mpd::IRepresentation& representation,
                                             const std::vector<mpd::IBaseUrl*>& baseUrls) {
    AbstractDashRepresentation::initRepresentation(mpd, adaptationSet, representation, baseUrls);
    mSegmentTemplate = DashUtil::getSegmentTemplate(mpd, adaptationSet, representation);
    DashUtil::throwIfTrue(mSegmentTemplate == nullptr, FAIL_INVALID_REP, "Unknown reason");
    mSegmentTimeline = mSegmentTemplate->GetSegmentTimeline();
    DashUtil::throwIfTrue(mSegmentTimeline == nullptr, FAIL_INVALID_REP, "Unknown reason");
    mTimescale = mSegmentTemplate->GetTimescale();
    DashUtil::throwIfTrue(mTimescale == 0, FAIL_INVALID_REP, "Timescale is 0");
    mOpenEnd = openEnd(mpd);
    initTimeline(mSegmentTimeline);
    mLocation->segmentNumber = 0;
}

uint64_t DashSegmentTimeline::openEnd(const std::shared_ptr<mpd::IMPD>& mpd) const {
    const std::vector<mpd::ITimeline*>& entries = mSegmentTimeline->GetTimelines();
    if (entries.empty() || entries.back() == nullptr || entries.back()->GetRepeatCount() >= 0) {
        return 0;
    }
    uint64_t endMs = 0;
    if (mLive) {
        const int64_t publishMs = DashUtil::getPublishTime(mpd);
        const uint64_t availabilityMs = DashUtil::getAvailabilityStartTime(mpd);
        if (publishMs < 0 || static_cast<uint64_t>(publishMs) < availabilityMs) {
            return 0;
        }
        endMs = static_cast<uint64_t>(publishMs) - availabilityMs;
    } else {
        const std::vector<mpd::IPeriod*>& periods = mpd->GetPeriods();
        const std::string& periodDuration =
            !periods.empty() && periods[0] != nullptr ? periods[0]->GetDuration() : std::string();
        const std::string& duration = periodDuration.empty() ? mpd->GetMediaPresentationDuration() : periodDuration;
        if (duration.empty()) {
            return 0;
        }
        endMs = DashUtil::convertISO8601DurationToMs(duration);
    }
    return DashUtil::saturatingAdd(mSegmentTemplate->GetPresentationTimeOffset(),
                         DashUtil::convertMsToScaledTime(endMs, mTimescale));
}

void DashSegmentTimeline::initTimeline(const mpd::ISegmentTimeline* timeline) {
    DashUtil::throwIfTrue(timeline == nullptr, FAIL_INVALID_REP, "Unknown reason");
    const std::vector<mpd::ITimeline*> entries(timeline->GetTimelines());
    uint64_t totalDuration = 0;
    uint32_t count = 0;
    std::set<DashTimelineItem> items = DashUtil::getTimeVectorFromTimelines(entries, totalDuration, count, mOpenEnd);
    mData->totalSegments = count;
    mData->totalDurationMs = DashUtil::convertScaledTimeToMs(totalDuration, mTimescale);
    mLocation->timeline = std::move(items);
    rebuildIndex();

    const std::set<DashTimelineItem>& current = mLocation->timeline;
    if (!current.empty()) {
        mData->firstSegmentTimeMs = DashUtil::convertScaledTimeToMs(current.begin()->startTime, mTimescale);
        mData->lastSegmentTimeMs = DashUtil::convertScaledTimeToMs(current.rbegin()->startTime, mTimescale);
        if (mLocation->segmentTime < current.begin()->startTime) {
            mLocation->segmentTime = current.begin()->startTime;
        }
        std::ostringstream text;
        text << "Total time-segments: " << count << " duration: " << mData->totalDurationMs;
        ZUN_LOG(0, "%s", text.str().c_str());
    } else if (!mLive) {
        ZUN_LOG(0, "Something is wrong. No segments.");
        DashUtil::throwException(FAIL_INVALID_REP, "Unknown reason");
    } else {
        ZUN_LOG(0, "No live timeline segments. waiting for next refresh.");
    }
}

void DashSegmentTimeline::rebuildIndex() const {
    std::vector<DashSegmentLocation::Reach>& entries = mLocation->timelineIndex;
    entries.clear();
    entries.reserve(mLocation->timeline.size());
    uint64_t reach = 0;
    for (const DashTimelineItem& item : mLocation->timeline) {
        uint64_t end = item.startTime + item.duration;
        if (end < item.startTime) {
            end = item.startTime;  // the 64-bit sum wrapped: the item covers no time
        }
        reach = std::max(reach, end);
        entries.push_back(DashSegmentLocation::Reach{item.startTime, reach, item.duration});
    }
}

bool DashSegmentTimeline::findCovering(uint64_t time, uint64_t& startTime, uint32_t& duration) const {
    if (mLocation->timelineIndex.size() != mLocation->timeline.size()) {
        rebuildIndex();
    }
    const std::vector<DashSegmentLocation::Reach>& entries = mLocation->timelineIndex;
    // Items before the first whose reach exceeds `time` all end at or before it; that item ends
    // after it and covers it unless it starts later (a gap: every later item starts later too).
    auto it = std::upper_bound(entries.begin(), entries.end(), time,
                               [](uint64_t t, const DashSegmentLocation::Reach& entry) { return t < entry.reach; });
    if (it == entries.end() || it->startTime > time) {
        return false;
    }
    startTime = it->startTime;
    duration = it->duration;
    return true;
}

std::shared_ptr<mpd::ISegment> DashSegmentTimeline::getInitSegment() const {
    if (mSegmentTemplate == nullptr) {
        return nullptr;
    }
    return std::shared_ptr<mpd::ISegment>(
        mSegmentTemplate->ToInitializationSegment(mData->baseUrls, mData->id, mData->bandwidth));
}

std::shared_ptr<mpd::ISegment> DashSegmentTimeline::getNextSegment(bool forward) {
    uint64_t startTime = 0;
    uint32_t duration = 0;
    std::shared_ptr<mpd::ISegment> segment;
    if (mSegmentTemplate != nullptr && findCovering(mLocation->segmentTime, startTime, duration)) {
        segment.reset(
            mSegmentTemplate->GetMediaSegmentFromTime(mData->baseUrls, mData->id, mData->bandwidth, startTime));
        DashUtil::throwIfTrue(segment == nullptr, FAIL_INVALID_REP, "Unknown reason");
        mData->currentSegmentTimeMs = DashUtil::convertScaledTimeToMs(startTime, mTimescale);
        mData->segmentDurationMs = DashUtil::convertScaledTimeToMs(duration, mTimescale);
        if (forward) {
            mLocation->segmentNumber += 1;
            mLocation->segmentTime = startTime + duration;
        } else {
            mLocation->segmentNumber -= 1;
            mLocation->segmentTime = startTime - 1;
        }
    }
    updateRepData(segment.get());
    return segment;
}

SeekPosition DashSegmentTimeline::findSegment(uint64_t& positionMs, uint64_t& scaledTime,
                                              uint64_t& segmentDurationMs) const {
    const uint64_t time = DashUtil::convertMsToScaledTime(positionMs, mTimescale);
    const std::set<DashTimelineItem>& timeline = mLocation->timeline;
    if (timeline.empty()) {
        scaledTime = time;
        segmentDurationMs = 0;
        return PastEnd;
    }
    const DashTimelineItem& first = *timeline.begin();
    const DashTimelineItem& last = *timeline.rbegin();
    SeekPosition result = InRange;
    uint64_t startTime = 0;
    uint32_t duration = 0;
    if (time < first.startTime) {
        startTime = first.startTime;
        duration = first.duration;
        result = BeforeStart;
    } else if (time >= last.startTime + last.duration) {
        startTime = last.startTime;
        duration = last.duration;
        result = PastEnd;
    } else if (!findCovering(time, startTime, duration)) {
        ZUN_LOG(0, "Something is wrong. Can't find the segment at %llu", ull(time));
        DashUtil::throwException(FAIL_UNKNOWN_ERROR, "Unknown reason");
    }
    scaledTime = startTime;
    positionMs = DashUtil::convertScaledTimeToMs(startTime, mTimescale);
    segmentDurationMs = DashUtil::convertScaledTimeToMs(duration, mTimescale);
    return result;
}

uint64_t DashSegmentTimeline::seek(uint64_t positionMs) {
    mLocation->endReached = false;
    mLocation->beginReached = false;
    uint64_t scaledTime = 0;
    uint64_t segmentDurationMs = 0;
    const SeekPosition result = findSegment(positionMs, scaledTime, segmentDurationMs);
    mLocation->segmentTime = scaledTime;
    if (const char* text = markSeekEnd(result)) {
        ZUN_LOG(0, "%s", text);
    }
    ZUN_LOG(0, "Seeked to segment %llu(%llums)", ull(mLocation->segmentNumber), ull(positionMs));
    return positionMs;
}

bool DashSegmentTimeline::findSegmentPosition(uint64_t& positionMs, uint64_t& segmentDurationMs) {
    uint64_t scaledTime = 0;
    return findSegment(positionMs, scaledTime, segmentDurationMs) == InRange;
}

}  // namespace dash
