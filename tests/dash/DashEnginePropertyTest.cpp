// The addressing schemes on random MPDs (real parser): seeks, queries and walks; only DashException may escape.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include "RepresentationRig.h"
#include "dash/DashSegmentList.h"
#include "dash/DashSegmentTemplate.h"
#include "dash/DashSegmentTimeline.h"

namespace dash {
namespace {

using namespace velar_test;
using std::to_string;

// Random numbers from the printed seed (VELAR_PROPERTY_SEED or a fixed one) plus `stream`.
struct Rng {
    explicit Rng(uint64_t stream) {
        const char* env = std::getenv("VELAR_PROPERTY_SEED");
        const uint64_t seed = env != nullptr ? std::strtoull(env, nullptr, 10) : 20240611;
        std::cout << "DashEnginePropertyTest seed " << seed << std::endl;
        engine.seed(seed + stream);
    }
    std::mt19937_64 engine;
    uint64_t below(uint64_t n) { return n == 0 ? 0 : engine() % n; }
    uint64_t between(uint64_t lo, uint64_t hi) { return lo + below(hi - lo + 1); }
    bool percent(unsigned p) { return below(100) < p; }
};

// The cases of a random test: at least `minimum`, then more until about two seconds have passed.
struct Budget {
    explicit Budget(int minimum) : minimum(minimum), end(std::chrono::steady_clock::now() + std::chrono::seconds(2)) {}
    bool more(int done) const {
        return done < minimum || (done < 50 * minimum && std::chrono::steady_clock::now() < end);
    }
    int minimum;
    std::chrono::steady_clock::time_point end;
};

std::string attr(const char* name, const std::string& value) { return std::string(" ") + name + "=\"" + value + "\""; }
std::string attr(const char* name, uint64_t value) { return attr(name, to_string(value)); }

// ISO 8601 durations from 0 (refused) to about 136 years.
std::string duration(Rng& rng) {
    return "PT" + to_string(rng.below(1ull << rng.below(33))) + "." + to_string(rng.below(1000)) + "S";
}

const uint32_t kTimescales[] = {1, 7, 1000, 48000, 90000, 4294967295u};
const char* const kTimelineEnd = "</SegmentTimeline></SegmentTemplate><Representation id=\"r\"/>";
// Epoch seconds -1, 0, 1700000000 (+599 s, +1 day) and 2^32 - 1.
const char* const kTimes[] = {"1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z", "2023-11-14T22:13:20Z",
                              "2023-11-14T22:23:19Z", "2023-11-15T22:13:20Z", "2106-02-07T06:28:15Z"};

// On demand with or without duration; live with availability and publish time (before the availability
// too), time-shift depth and update period, each sometimes absent.
std::string presentation(Rng& rng, bool& live) {
    if (!(live = rng.percent(40))) {
        return "type=\"static\"" + (rng.percent(90) ? attr("mediaPresentationDuration", duration(rng)) : "");
    }
    std::string text = "type=\"dynamic\"";
    if (rng.percent(90)) text += attr("availabilityStartTime", kTimes[rng.below(6)]);
    if (rng.percent(90)) text += attr("publishTime", kTimes[rng.below(6)]);
    if (rng.percent(70)) text += attr("timeShiftBufferDepth", duration(rng));
    return text + (rng.percent(70) ? attr("minimumUpdatePeriod", "PT" + to_string(rng.between(1, 60)) + "S") : "");
}

// S entries near the items before (gaps, overlaps, duplicates; t 0 reads as absent), d 0 or past 32 bits, r -1;
// `big`: t anywhere and repeats beyond DashUtil::kMaxTimelineItems.
std::string timeline(Rng& rng, size_t entries, bool big) {
    std::string s;
    for (uint64_t i = 0, last = rng.below(1000000); i < entries; ++i) {  // `last`: about the last item's start
        const uint64_t d = rng.percent(3) ? 0 : rng.percent(5) ? rng.below((1ull << 32) + 9) : rng.between(1, 5000);
        const uint64_t r = rng.percent(60) ? 0 : big && rng.percent(10) ? rng.below(1u << 31) : rng.below(30);
        const uint64_t t = rng.percent(70) ? 0 : big && rng.percent(30) ? rng.engine()
                                                   : std::max<uint64_t>(last, 3000) - 3000 + rng.below(8000);
        const bool open = rng.percent(4) && (big || i + 1 < entries);
        s += "<S" + (t != 0 ? attr("t", t) : "") + (d != 0 ? attr("d", d) : "") +
             (open ? attr("r", "-1") : r != 0 ? attr("r", r) : "") + "/>";
        last = d == 0 ? last : (t != 0 ? t : last) + d % (1ull << 32) * (open ? 1 : r);
    }
    return s;
}

// At most kMaxTimelineItems items. A time is answered by the first item in start order that holds it (as a
// front-to-back walk finds it; a gap is refused), else the first or last item; walks agree with that search.
TEST(DashEnginePropertyTest, RandomTimelines) {
    Rng rng(0);
    const Budget budget(200);
    for (int i = 0; budget.more(i) && !HasFailure(); ++i) {
        SCOPED_TRACE("MPD " + to_string(i));
        bool live = false;
        const uint32_t scale = kTimescales[rng.below(6)];
        const size_t entries = rng.percent(10) ? rng.between(1000, 4000) : rng.percent(6) ? 0 : rng.below(200);
        const std::string mpd = presentation(rng, live), s = timeline(rng, entries, rng.percent(2));
        const std::string xml = representationMpd(mpd, "<SegmentTemplate media=\"t$Time$\"" + attr("timescale", scale) +
                                                           "><SegmentTimeline>" + s + kTimelineEnd);
        RepresentationRig<DashSegmentTimeline> rig;
        if (!thrown([&] { rig.init(xml); }).empty()) continue;
        const std::set<DashTimelineItem>& items = rig.location->timeline;
        ASSERT_LE(std::max<uint64_t>(items.size(), rig.rep->getData()->totalSegments), DashUtil::kMaxTimelineItems);
        auto ms = [scale](uint64_t t) { return DashUtil::convertScaledTimeToMs(t, scale); };
        auto holding = [&items](uint64_t t) {
            return std::find_if(items.begin(), items.end(), [t](const DashTimelineItem& item) {
                return item.startTime <= t && t < item.startTime + item.duration;
            });
        };
        for (int q = 0; !items.empty() && q < (items.size() > 20000 ? 3 : 12); ++q) {
            const DashTimelineItem &first = *items.begin(), &last = *items.rbegin();
            const auto near = std::next(items.begin(), rng.below(std::min<uint64_t>(items.size(), 2000)));
            const uint64_t requestMs = rng.percent(50) ? rng.below(ms(last.startTime + last.duration) + 5000)
                                                       : ms(near->startTime) + rng.below(3) - 1;
            const uint64_t t = DashUtil::convertMsToScaledTime(requestMs, scale);
            const bool before = t < first.startTime, past = !before && t >= last.startTime + last.duration;
            const auto item = before ? items.begin() : past ? std::prev(items.end()) : holding(t);
            if (item == items.end()) {
                EXPECT_EQ(thrown([&] { rig.seekTo(requestMs); }), "FAIL_UNKNOWN_ERROR Unknown reason") << t;
                continue;
            }
            ASSERT_EQ(rig.seekTo(requestMs), to_string(ms(item->startTime)) + "+" + to_string(ms(item->duration)) +
                                                 (before ? " out B" : !past ? "" : live ? " out" : " out E"));
            EXPECT_EQ(rig.location->segmentTime, item->startTime);
            for (int step = 0, forward = rng.percent(50); q % 3 == 0 && step < 6; ++step) {
                const auto at = holding(rig.location->segmentTime);
                ASSERT_EQ(rig.next(forward), at == items.end() ? "" : "http://cdn/v/t" + to_string(at->startTime));
            }
        }
    }
}

// 50,000 S entries expanded and walked front to back in about a second under ASan; the bound is generous.
TEST(DashEnginePropertyTest, FiftyThousandEntriesWalkForward) {
    const auto start = std::chrono::steady_clock::now();
    std::string s = "<SegmentTemplate timescale=\"1000\" media=\"t$Time$\"><SegmentTimeline>";
    for (uint64_t i = 0; i < 50000; ++i) s += "<S" + attr("t", i * 2000) + " d=\"2000\"/>";
    RepresentationRig<DashSegmentTimeline> rig(representationMpd("", s + kTimelineEnd));
    for (int n = 0; n < 50000 && !rig.location->endReached; ++n) ASSERT_NE(rig.rep->getNextSegment(true), nullptr);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0);
    EXPECT_EQ(rig.rep->getData()->currentSegmentTimeMs, 49999u * 2000);
}

// Templates and lists: a time is answered by the start of the segment holding it once clamped to the first
// and last segment; a walk hands out the segment numbered by the cursor (the template perhaps none).
TEST(DashEnginePropertyTest, RandomTemplatesAndLists) {
    Rng rng(1);
    const Budget budget(500);
    for (int i = 0; budget.more(i) && !HasFailure(); ++i) {
        SCOPED_TRACE("MPD " + to_string(i));
        bool live = false, list = rng.percent(15);
        const std::string mpd = list ? "type=\"static\"" : presentation(rng, live);
        const uint64_t startNumber = list ? 0 : rng.percent(40) ? 1 : rng.percent(20) ? 4294967295u : rng.below(99999);
        std::string xml = list ? "<Representation id=\"r\"><SegmentList" : "<SegmentTemplate media=\"n$Number$.m4s\"";
        xml += attr("timescale", kTimescales[rng.below(6)]) + attr("startNumber", startNumber);
        xml += rng.percent(90) ? attr("duration", rng.below(rng.percent(50) ? 10 : 1ull << 32)) : "";
        xml += list ? ">" : "/><Representation id=\"r\"/>";
        for (uint64_t n = 0, count = list ? rng.between(1, rng.percent(20) ? 3 : 300) : 0; n < count; ++n) {
            xml += "<SegmentURL media=\"n" + to_string(n) + ".m4s\"/>";
        }
        xml += list ? "</SegmentList></Representation>" : "";
        auto check = [&](auto&& rig) {
            if (!thrown([&] { rig.init(representationMpd(mpd, xml)); }).empty()) return;
            const uint64_t first = rig.rep->getData()->firstSegmentTimeMs, last = rig.rep->getData()->lastSegmentTimeMs;
            const uint64_t size = rig.rep->getData()->segmentDurationMs;
            ASSERT_GE(size, 1u);
            for (int q = 0; q < 10; ++q) {
                const uint64_t requestMs = rng.percent(20) ? rng.engine() : rng.below(last + 3 * size);
                const uint64_t clamped = std::max(requestMs, first);
                const bool past = clamped > last && clamped - last >= size;
                const std::string flags = past ? (live ? " out" : " out E") : requestMs < first ? " out B" : "";
                const uint64_t start = (past ? last : clamped) / size * size;
                ASSERT_EQ(rig.seekTo(requestMs), to_string(start) + "+" + to_string(size) + flags);
                for (int step = 0, forward = rng.percent(50);
                     step < 4 && !(forward ? rig.location->endReached : rig.location->beginReached); ++step) {
                    const uint64_t index = rig.location->segmentNumber;
                    const std::string got = rig.next(forward), number = to_string(startNumber + index);
                    EXPECT_EQ(got.empty() && !list ? "" : "http://cdn/v/n" + number + ".m4s", got);
                    EXPECT_EQ(rig.location->segmentNumber, got.empty() ? index : forward ? index + 1 : index - 1);
                }
            }
        };
        list ? check(RepresentationRig<DashSegmentList>()) : check(RepresentationRig<DashSegmentTemplate>());
    }
}

}  // namespace
}  // namespace dash
