#include "dash/DashUtil.h"

#include <cmath>
#include <limits>
#include <sstream>

#include "dash/DashException.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashUtil")

namespace dash {

namespace {

constexpr uint64_t kDefaultPeriodMs = 6000;

void requireMpd(const std::shared_ptr<mpd::IMPD>& mpd) {
    DashUtil::throwIfTrue(mpd == nullptr, FAIL_INVALID_MPD, "No MPD");
}

// Number of items of `duration` from `start` that cover [start, end), at least 1.
uint64_t itemsCovering(uint64_t start, uint64_t end, uint32_t duration) {
    if (duration == 0 || end <= start) {
        return 1;
    }
    return (end - start + duration - 1) / duration;
}

// Number of items of `duration` from `start` that end by `end`, at least 1.
uint64_t itemsEndingBy(uint64_t start, uint64_t end, uint32_t duration) {
    if (duration == 0 || end <= start || (end - start) / duration == 0) {
        return 1;
    }
    return (end - start) / duration;
}

void logTimelines(const char* heading, const std::vector<mpd::ITimeline*>& timelines, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
        const mpd::ITimeline* s = timelines[i];
        if (s == nullptr) {
            continue;
        }
        std::ostringstream line;
        line << heading << " index: " << i << " startTime: " << s->GetStartTime()
             << " repeat: " << s->GetRepeatCount() << " duration: " << s->GetDuration();
        ZUN_LOG(0, "%s", line.str().c_str());
    }
}

}  // namespace

void DashUtil::throwIfTrue(bool condition, DashDownloadStatus status, const std::string& text) {
    if (condition) {
        throw DashException(status, text);
    }
}

void DashUtil::throwException(DashDownloadStatus status, const std::string& text) {
    throw DashException(status, text);
}

bool DashUtil::isCompletedStatus(DashDownloadStatus status) {
    return static_cast<uint32_t>(status) >= static_cast<uint32_t>(CANCELLED);
}

uint64_t DashUtil::convertISO8601DurationToMs(const std::string& duration) {
    const size_t p = duration.find('P');
    throwIfTrue(p == std::string::npos, FAIL_INVALID_MPD, "invalid ISO8601");
    const size_t t = duration.find('T');
    throwIfTrue(t == std::string::npos, FAIL_INVALID_MPD, "invalid ISO8601");

    // A "T" before the "P" leaves no date part.
    const std::string date = t > p ? duration.substr(p + 1, t - p - 1) : std::string();
    const std::string time = duration.substr(t + 1);

    uint32_t years = 0;
    uint32_t months = 0;
    uint32_t days = 0;
    if (!date.empty()) {
        size_t pos = 0;
        const size_t y = date.find('Y');
        if (y != std::string::npos) {
            years = static_cast<uint32_t>(std::stoi(date.substr(0, y)));
            pos = y + 1;
        }
        const size_t m = date.find('M');
        if (m != std::string::npos) {
            months = static_cast<uint32_t>(std::stoi(date.substr(pos, m - pos)));
            pos = m + 1;
        }
        const size_t d = date.find('D');
        if (d != std::string::npos) {
            // Length d - 1, not d - pos: without a year or month the last digit of the day count
            // is cut off. Kept as it is.
            days = static_cast<uint32_t>(std::stoi(date.substr(pos, d - 1)));
        }
    }

    uint32_t hours = 0;
    uint32_t minutes = 0;
    float seconds = 0.0f;
    if (!time.empty()) {
        size_t pos = 0;
        const size_t h = time.find('H');
        if (h != std::string::npos) {
            hours = static_cast<uint32_t>(std::stoi(time.substr(0, h)));
            pos = h + 1;
        }
        const size_t m = time.find('M');
        if (m != std::string::npos) {
            minutes = static_cast<uint32_t>(std::stoi(time.substr(pos, m - pos)));
            pos = m + 1;
        }
        const size_t s = time.find('S');
        if (s != std::string::npos) {
            seconds = std::stof(time.substr(pos, s - pos));
        }
    }

    // 32-bit products (unsigned, so an overflow wraps instead of being undefined), then doubles.
    const double total = static_cast<double>(years * 31556926u) + static_cast<double>(months) * 2629743.83 +
                         static_cast<double>(days * 86400u) + static_cast<double>(hours * 3600u) +
                         static_cast<double>(minutes * 60u) + static_cast<double>(seconds);
    const double ms = total * 1000.0;
    // Negative, infinite or NaN seconds ("-5", "inf", "nan" pass std::stof) and sums beyond
    // 64 bits have no millisecond value.
    throwIfTrue(!std::isfinite(ms) || ms <= -1.0 || ms >= 18446744073709551616.0, FAIL_INVALID_MPD,
                "invalid ISO8601");
    const uint64_t result = static_cast<uint64_t>(ms < 0.0 ? 0.0 : ms);
    throwIfTrue(result == 0, FAIL_INVALID_MPD, "Duration is 0");
    return result;
}

time_t DashUtil::convertISO8601DateTimeToTime(const std::string& dateTime) {
    struct tm broken = {};
    strptime(dateTime.c_str(), "%FT%T%z", &broken);
    return timegm(&broken);
}

bool DashUtil::isMPDLive(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    return mpd->GetType() == "dynamic";
}

uint64_t DashUtil::getUpdatePeriodMs(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    const std::string& period = mpd->GetMinimumUpdatePeriod();
    return period.empty() ? kDefaultPeriodMs : convertISO8601DurationToMs(period);
}

uint64_t DashUtil::getMinBufferTimeMs(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    const std::string& minBuffer = mpd->GetMinBufferTime();
    return minBuffer.empty() ? kDefaultPeriodMs : convertISO8601DurationToMs(minBuffer);
}

uint64_t DashUtil::getPresentationDelay(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    const std::string& delay = mpd->GetSuggestedPresentationDelay();
    if (!delay.empty()) {
        return convertISO8601DurationToMs(delay);
    }
    (void)getUpdatePeriodMs(mpd);  // evaluated for its check of a malformed update period
    const uint64_t minBuffer = getMinBufferTimeMs(mpd);
    return minBuffer > kDefaultPeriodMs ? minBuffer : kDefaultPeriodMs;
}

int64_t DashUtil::getPublishTime(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    const std::string& publish = mpd->GetPublishTime();
    if (publish.empty()) {
        return static_cast<int64_t>(mpd->GetFetchTime()) * 1000;
    }
    int64_t ms = 0;
    if (__builtin_mul_overflow(static_cast<int64_t>(convertISO8601DateTimeToTime(publish)), int64_t{1000}, &ms)) {
        return std::numeric_limits<int64_t>::max();
    }
    return ms;
}

uint64_t DashUtil::getAvailabilityStartTime(std::shared_ptr<mpd::IMPD> mpd) {
    requireMpd(mpd);
    const std::string& start = mpd->GetAvailabilityStarttime();
    if (start.empty()) {
        return 0;
    }
    // Unsigned arithmetic: a date before 1970 wraps (defined); callers check the order of times.
    return static_cast<uint64_t>(convertISO8601DateTimeToTime(start)) * 1000u;
}

const mpd::ISegmentTemplate* DashUtil::getSegmentTemplate(std::shared_ptr<mpd::IMPD> mpd,
                                                          const mpd::IAdaptationSet& adaptationSet,
                                                          const mpd::IRepresentation& representation) {
    if (representation.GetSegmentTemplate() != nullptr) {
        return representation.GetSegmentTemplate();
    }
    if (adaptationSet.GetSegmentTemplate() != nullptr) {
        return adaptationSet.GetSegmentTemplate();
    }
    requireMpd(mpd);
    const mpd::IPeriod* period = mpd->GetPeriods().at(0);
    return period != nullptr ? period->GetSegmentTemplate() : nullptr;
}

uint64_t DashUtil::saturatingMultiply(uint64_t a, uint64_t b) {
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? std::numeric_limits<uint64_t>::max() : product;
}

uint64_t DashUtil::saturatingAdd(uint64_t a, uint64_t b) {
    uint64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<uint64_t>::max() : sum;
}

uint64_t DashUtil::saturatingToU64(double value) {
    if (!(value >= 0.0)) {
        return 0;
    }
    if (value >= 18446744073709551616.0) {
        return std::numeric_limits<uint64_t>::max();
    }
    return static_cast<uint64_t>(value);
}

uint64_t DashUtil::convertScaledTimeToMs(uint64_t time, uint32_t timescale) {
    throwIfTrue(timescale == 0, FAIL_INVALID_REP, "Timescale is 0");
    const double factor = 1000.0 / static_cast<double>(timescale);
    return saturatingToU64(std::ceil(static_cast<double>(time) * factor));
}

uint64_t DashUtil::convertMsToScaledTime(uint64_t ms, uint32_t timescale) {
    return saturatingToU64(static_cast<double>(ms) * (static_cast<double>(timescale) / 1000.0));
}

std::vector<mpd::IBaseUrl*> DashUtil::addBaseURLs(const std::vector<mpd::IBaseUrl*>& parent,
                                                   const std::vector<mpd::IBaseUrl*>& child) {
    std::vector<mpd::IBaseUrl*> result(parent);
    for (mpd::IBaseUrl* url : child) {
        if (url == nullptr) {
            continue;
        }
        const std::string& text = url->GetUrl();
        if (text.compare(0, 7, "http://") == 0 || text.compare(0, 8, "https://") == 0) {
            result.clear();
        }
        result.push_back(url);
    }
    return result;
}

std::set<DashTimelineItem> DashUtil::getTimeVectorFromTimelines(const std::vector<mpd::ITimeline*>& timelines,
                                                                uint64_t& totalDuration, uint32_t& count,
                                                                uint64_t openEnd) {
    std::set<DashTimelineItem> items;
    totalDuration = 0;
    count = 0;
    uint64_t running = 0;
    uint64_t made = 0;  // items made, duplicates included

    for (size_t i = 0; i < timelines.size() && made < kMaxTimelineItems; ++i) {
        const mpd::ITimeline* s = timelines[i];
        if (s == nullptr) {
            continue;
        }
        uint64_t t = s->GetStartTime();
        const uint32_t d = static_cast<uint32_t>(s->GetDuration());
        const int32_t r = s->GetRepeatCount();
        if (t == 0) {
            t = running;  // an explicit t="0" cannot be told from an absent one
        }

        uint64_t repeats = 0;
        if (r >= 0) {
            repeats = static_cast<uint64_t>(r);
        } else {
            // Open-ended repeat: up to the next S's own start, else (last S) up to openEnd.
            if (i + 1 < timelines.size()) {
                const uint64_t next = timelines[i + 1] != nullptr ? timelines[i + 1]->GetStartTime() : 0;
                repeats = itemsCovering(t, next, d) - 1;
            } else {
                repeats = itemsEndingBy(t, openEnd, d) - 1;
            }
        }
        if (repeats > kMaxTimelineItems - made - 1) {
            ZUN_LOG(0, "Timeline truncated to %u items", kMaxTimelineItems);
            repeats = kMaxTimelineItems - made - 1;
        }

        items.emplace_hint(items.end(), DashTimelineItem{t, 0, d});
        count += static_cast<uint32_t>(1 + repeats);
        totalDuration += d;
        for (uint64_t k = 0; k < repeats; ++k) {
            t += d;
            totalDuration += d;
            items.emplace_hint(items.end(), DashTimelineItem{t, 0, d});
        }
        made += 1 + repeats;
        // The next S without its own start begins at this S's last item (its start, not its end).
        running = t;
    }

    if (items.empty()) {
        ZUN_LOG(0, "Time lines is empty");
        const size_t n = timelines.size();
        logTimelines("Timelines from begining", timelines, 0, n < 10 ? n : 10);
        logTimelines("Timelines from end", timelines, n > 10 ? n - 10 : 0, n);
    }
    return items;
}

}  // namespace dash
