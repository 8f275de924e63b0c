// Properties of the addressing schemes over random MPDs (timelines with and without t, overlaps,
// gaps, open and huge repeats, thousands of S; templates with any duration, timescale, start
// number, on demand and live with any publish and availability times; lists), each parsed by the
// real manifest library and then seeked, queried and walked both ways. Only DashException may
// refuse an MPD. Deterministic: the seed is printed; VELAR_PROPERTY_SEED=<n> repeats a run.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <typeinfo>

#include "RepresentationRig.h"
#include "dash/DashSegmentList.h"
#include "dash/DashSegmentTemplate.h"
#include "dash/DashSegmentTimeline.h"

namespace dash {
namespace {

using velar_test::representationMpd;
using velar_test::RepresentationRig;

uint64_t seed() {
    static const uint64_t value = [] {
        const char* env = std::getenv("VELAR_PROPERTY_SEED");
        const uint64_t v = env != nullptr ? std::strtoull(env, nullptr, 10) : 20240611;
        std::printf("DashEnginePropertyTest seed %llu\n", static_cast<unsigned long long>(v));
        return v;
    }();
    return value;
}

struct Rng {
    std::mt19937_64 engine;
    uint64_t below(uint64_t n) { return n == 0 ? 0 : engine() % n; }
    uint64_t between(uint64_t lo, uint64_t hi) { return lo + below(hi - lo + 1); }
    bool percent(unsigned p) { return below(100) < p; }
};

std::string attribute(const char* name, uint64_t value) {
    return std::string(" ") + name + "=\"" + std::to_string(value) + "\"";
}
std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

std::string dateTime(int64_t epochSeconds) {
    const time_t t = static_cast<time_t>(epochSeconds);
    struct tm broken = {};
    gmtime_r(&t, &broken);
    char text[40];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &broken);
    return text;
}

// Well-formed ISO 8601 durations from 1 ms to about 68 years.
std::string randomDuration(Rng& rng) {
    switch (rng.below(3)) {
    case 0: return "PT" + std::to_string(rng.between(1, 600)) + "." + std::to_string(rng.below(999)) + "S";
    case 1: return "PT" + std::to_string(rng.between(1, 100000)) + "H";
    default: return "P" + std::to_string(rng.below(68)) + "Y0M1DT" + std::to_string(rng.below(23)) + "H0M1S";
    }
}

std::string randomTimescale(Rng& rng, uint32_t& timescale) {
    static const uint32_t kScales[] = {1, 7, 1000, 48000, 90000, 4294967295u};
    timescale = rng.percent(20) ? 1 : kScales[rng.below(6)];
    return rng.percent(20) && timescale == 1 ? "" : attribute("timescale", timescale);
}

// Static with or without duration, or dynamic with random times (publish before availability
// and before 1970 included), time-shift depth and update period.
std::string randomPresentation(Rng& rng, bool& live) {
    live = rng.percent(40);
    if (!live) {
        return "type=\"static\"" + (rng.percent(90) ? attribute("mediaPresentationDuration", randomDuration(rng)) : "");
    }
    const int64_t availability = static_cast<int64_t>(rng.below(4000000000ull)) - (rng.percent(5) ? 100000 : 0);
    const uint64_t after = rng.below(rng.percent(50) ? 600 : 100000000);
    const int64_t publish = availability + (rng.percent(10) ? -static_cast<int64_t>(rng.between(1, 5000))
                                                            : static_cast<int64_t>(after));
    std::string text = "type=\"dynamic\"";
    if (rng.percent(90)) text += attribute("availabilityStartTime", dateTime(availability));
    if (rng.percent(90)) text += attribute("publishTime", dateTime(publish));
    if (rng.percent(70)) text += attribute("timeShiftBufferDepth", randomDuration(rng));
    if (rng.percent(70)) text += attribute("minimumUpdatePeriod", "PT" + std::to_string(rng.between(1, 60)) + "S");
    return text;
}

const char* const kRepresentation = "<Representation id=\"r\" bandwidth=\"1000\"/>";

auto cursorOf(const DashSegmentLocation& l) {
    return std::make_tuple(l.segmentNumber, l.segmentTime, l.endReached, l.beginReached);
}

// True when the representation took the MPD; a refusal must be a DashException.
template <class Rig>
bool accepted(Rig& rig, const std::string& xml) {
    try {
        rig.init(xml);
        return true;
    } catch (const DashException&) {
        return false;
    } catch (const std::exception& e) {
        ADD_FAILURE() << typeid(e).name() << ": " << e.what() << "\n" << xml.substr(0, 2000);
        return false;
    }
}

// --- SegmentTimeline ---

// `running` follows the expansion's start of the last item, so written t values stay near the
// items unless a jump is drawn. `big` allows jumps and repeats that hit DashUtil::kMaxTimelineItems.
std::string randomTimeline(Rng& rng, size_t entries, bool big) {
    std::string s;
    uint64_t running = rng.below(1000000);
    uint64_t forcedT = 0;  // closes the open repeat (r -1) of the S before
    for (size_t i = 0; i < entries; ++i) {
        uint64_t start = running;
        s += "<S";
        if (forcedT != 0 || rng.percent(25)) {
            const uint64_t choice = rng.below(big ? 4 : 3);
            uint64_t t = choice == 0 ? running + rng.below(5000)                     // maybe leaving a gap
                         : choice == 1 ? running - std::min<uint64_t>(running, rng.below(3000))  // overlapping
                         : choice == 2 ? running                                    // duplicate start
                                       : rng.engine();                              // anywhere
            t = forcedT != 0 ? forcedT : t;
            forcedT = 0;
            s += attribute("t", t);
            start = t != 0 ? t : start;
        }
        uint64_t d = rng.percent(3) ? 0 : rng.between(1, 5000);  // d 0: dropped by the parser
        d = rng.percent(3) ? rng.between(1, 4294967295ull) : rng.percent(2) ? (1ull << 32) + rng.below(9) : d;
        int64_t r = rng.percent(60) ? 0 : static_cast<int64_t>(rng.between(1, 30));
        r = rng.percent(4) && (big || i + 1 < entries) ? -1 : r;
        r = big && rng.percent(10) ? static_cast<int64_t>(rng.between(100000, 2147483647)) : r;
        s += (d != 0 ? attribute("d", d) : "") + (r != 0 ? attribute("r", std::to_string(r)) : "") + "/>";
        const uint64_t item = d % (1ull << 32);  // the expansion keeps 32 bits of d
        const uint64_t repeats = r >= 0 ? static_cast<uint64_t>(r) : big ? 0 : rng.between(1, 40);
        if (d != 0) running = start + item * repeats;
        if (d != 0 && r < 0 && !big) forcedT = running + 1;
    }
    return s;
}

// The front-to-back walk the search must agree with: the first item in start order covering t.
const DashTimelineItem* firstCovering(const std::set<DashTimelineItem>& timeline, uint64_t t) {
    for (const DashTimelineItem& item : timeline) {
        if (item.startTime <= t && t < item.startTime + item.duration) return &item;
    }
    return nullptr;
}

void checkTimeline(Rng& rng, const std::string& xml, uint32_t timescale, bool live) {
    RepresentationRig<DashSegmentTimeline> rig;
    if (!accepted(rig, xml)) return;
    const std::set<DashTimelineItem>& timeline = rig.location->timeline;
    ASSERT_LE(timeline.size(), DashUtil::kMaxTimelineItems);
    if (timeline.empty()) return;
    const DashTimelineItem& first = *timeline.begin();
    const DashTimelineItem& last = *timeline.rbegin();
    auto ms = [timescale](uint64_t t) { return DashUtil::convertScaledTimeToMs(t, timescale); };

    for (int q = 0; q < (timeline.size() > 20000 ? 2 : 12); ++q) {
        auto near = timeline.begin();
        std::advance(near, rng.below(std::min<uint64_t>(timeline.size(), 2000)));
        const uint64_t requestMs = rng.percent(50) ? rng.below(ms(last.startTime + last.duration) + 5000)
                                                   : ms(near->startTime) + rng.below(3) - 1;
        const uint64_t t = DashUtil::convertMsToScaledTime(requestMs, timescale);
        const SeekPosition where = t < first.startTime ? BeforeStart
                                   : t >= last.startTime + last.duration ? PastEnd : InRange;
        const DashTimelineItem* expected = where == BeforeStart ? &first
                                           : where == PastEnd   ? &last
                                                                : firstCovering(timeline, t);

        const auto before = cursorOf(*rig.location);
        uint64_t position = requestMs;
        uint64_t duration = 0;
        if (expected == nullptr) {  // a gap
            try {
                rig.rep->findSegmentPosition(position, duration);
                ADD_FAILURE() << "gap at " << t << " not refused";
            } catch (const DashException& e) {
                EXPECT_EQ(e.getDownloadStatus(), FAIL_UNKNOWN_ERROR);
            }
            continue;
        }
        EXPECT_EQ(rig.rep->findSegmentPosition(position, duration), where == InRange);
        EXPECT_EQ(cursorOf(*rig.location), before) << "findSegmentPosition moved the cursor";
        ASSERT_EQ(position, ms(expected->startTime)) << "t=" << t;
        EXPECT_EQ(duration, ms(expected->duration));
        EXPECT_EQ(rig.rep->seek(requestMs), position);
        EXPECT_EQ(rig.location->segmentTime, expected->startTime);
        EXPECT_EQ(rig.location->endReached, where == PastEnd && !live);
        EXPECT_EQ(rig.location->beginReached, where == BeforeStart);

        const bool forward = rng.percent(50);
        for (int step = 0; q % 4 == 0 && step < 8; ++step) {
            const uint64_t cursor = rig.location->segmentTime;
            const DashTimelineItem* item = firstCovering(timeline, cursor);
            ASSERT_EQ(rig.next(forward), item ? "http://cdn/v/t" + std::to_string(item->startTime) + ".m4s" : "");
            if (item == nullptr) break;
            EXPECT_EQ(rig.location->segmentTime, forward ? item->startTime + item->duration : item->startTime - 1);
        }
    }
}

TEST(DashEnginePropertyTest, RandomTimelines) {
    Rng rng{std::mt19937_64(seed())};
    for (int i = 0; i < 200 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed()) + ", timeline MPD " + std::to_string(i));
        bool live = false;
        uint32_t timescale = 1;
        const std::string presentation = randomPresentation(rng, live);
        std::string attributes = " media=\"t$Time$.m4s\"" + randomTimescale(rng, timescale);
        if (rng.percent(20)) attributes += attribute("presentationTimeOffset", rng.below(1000000));
        const size_t entries = rng.percent(10) ? rng.between(1000, 4000) : rng.percent(6) ? 0 : rng.below(200);
        const std::string period = rng.percent(20) ? attribute("duration", randomDuration(rng)) : "";
        checkTimeline(rng,
                      "<MPD " + presentation + "><BaseURL>http://cdn/v/</BaseURL><Period" + period +
                          "><AdaptationSet><SegmentTemplate" + attributes + "><SegmentTimeline>" +
                          randomTimeline(rng, entries, rng.percent(2)) + "</SegmentTimeline></SegmentTemplate>" +
                          kRepresentation + "</AdaptationSet></Period></MPD>",
                      timescale, live);
    }
}

// 50,000 S entries are expanded and walked front to back in well under a second; a search over the
// whole timeline per step would take minutes. The bound is ten times generous.
TEST(DashEnginePropertyTest, FiftyThousandEntriesWalkForward) {
    constexpr uint64_t kEntries = 50000;
    std::string s;
    for (uint64_t i = 0; i < kEntries; ++i) s += "<S" + attribute("t", i * 2000) + " d=\"2000\"/>";
    RepresentationRig<DashSegmentTimeline> rig;
    const std::string xml =
        representationMpd("type=\"static\" mediaPresentationDuration=\"PT100000S\"",
                          "<SegmentTemplate timescale=\"1000\" media=\"t$Time$.m4s\"><SegmentTimeline>" + s +
                              "</SegmentTimeline></SegmentTemplate>" + kRepresentation);
    const auto start = std::chrono::steady_clock::now();
    rig.init(xml);
    uint64_t walked = 0;
    while (!rig.location->endReached && walked++ < kEntries) ASSERT_NE(rig.rep->getNextSegment(true), nullptr);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0);
    EXPECT_EQ(walked, kEntries);
    EXPECT_EQ(rig.rep->getData()->currentSegmentTimeMs, (kEntries - 1) * 2000);
}

// --- SegmentTemplate ---

TEST(DashEnginePropertyTest, RandomTemplates) {
    Rng rng{std::mt19937_64(seed() + 1)};
    for (int i = 0; i < 400 && !HasFailure(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed()) + ", template MPD " + std::to_string(i));
        bool live = false;
        uint32_t timescale = 1;
        const std::string presentation = randomPresentation(rng, live);
        std::string attributes = " media=\"n$Number$.m4s\"" + randomTimescale(rng, timescale);
        const uint64_t duration = rng.percent(50) ? rng.below(10) : rng.below(1ull << 32);
        if (rng.percent(95)) attributes += attribute("duration", duration);
        const uint64_t startNumber = rng.percent(40) ? 1 : rng.percent(20) ? 4294967295u : rng.below(100000);
        attributes += attribute("startNumber", startNumber);
        RepresentationRig<DashSegmentTemplate> rig;
        rig.location->segmentNumber = rng.percent(50) ? 0 : rng.engine() >> rng.below(64);  // carried over
        if (!accepted(rig, representationMpd(presentation, "<SegmentTemplate" + attributes + "/>" + kRepresentation))) {
            continue;
        }
        std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
        const uint64_t segmentMs = data->segmentDurationMs;
        ASSERT_GE(segmentMs, 1u);

        for (int q = 0; q < 10; ++q) {
            const uint64_t requestMs =
                rng.percent(20) ? rng.engine() : rng.below(data->lastSegmentTimeMs + 3 * segmentMs);
            const auto before = cursorOf(*rig.location);
            uint64_t position = requestMs;
            uint64_t duration = 0;
            const bool inRange = rig.rep->findSegmentPosition(position, duration);
            EXPECT_EQ(cursorOf(*rig.location), before) << "findSegmentPosition moved the cursor";
            EXPECT_EQ(duration, segmentMs);
            EXPECT_EQ(position % segmentMs, 0u);
            EXPECT_TRUE(!inRange || (position <= requestMs && requestMs - position < segmentMs));
            EXPECT_EQ(rig.rep->seek(requestMs), position);
            EXPECT_EQ(rig.location->segmentNumber * segmentMs, position);

            const bool forward = rng.percent(50);
            for (int step = 0; step < 4; ++step) {
                const uint64_t index = rig.location->segmentNumber;
                const std::string url = rig.next(forward);
                const std::string expected = "http://cdn/v/n" + std::to_string(startNumber + index) + ".m4s";
                EXPECT_TRUE(url.empty() || url == expected) << url;
                EXPECT_EQ(rig.location->segmentNumber, url.empty() ? index : forward ? index + 1 : index - 1);
            }
        }
        // On demand a walk from the start ends within the segment count.
        if (!live && data->totalSegments <= 2000) {
            rig.rep->seek(0);
            for (uint64_t steps = 0; !rig.location->endReached && steps < data->totalSegments; ++steps) {
                EXPECT_NE(rig.next(), "");
            }
            EXPECT_TRUE(rig.location->endReached);
        }
    }
}

// --- SegmentList ---

TEST(DashEnginePropertyTest, RandomLists) {
    Rng rng{std::mt19937_64(seed() + 2)};
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed()) + ", list MPD " + std::to_string(i));
        const uint64_t count = rng.percent(20) ? rng.between(1, 3) : rng.between(1, 300);
        uint32_t timescale = 1;
        std::string list = "<SegmentList" + randomTimescale(rng, timescale);
        if (rng.percent(80)) list += attribute("duration", rng.below(4294967296ull >> rng.below(32)));
        list += ">";
        for (uint64_t n = 0; n < count; ++n) list += "<SegmentURL media=\"s" + std::to_string(n) + ".m4s\"/>";
        RepresentationRig<DashSegmentList> rig;
        rig.location->segmentNumber = rng.engine();
        if (!accepted(rig, representationMpd("type=\"static\"", "<Representation id=\"r\">" + list +
                                                                    "</SegmentList></Representation>"))) {
            continue;
        }
        const uint64_t segmentMs = rig.rep->getData()->segmentDurationMs;
        for (uint64_t n = 0; n < count; ++n) {
            ASSERT_EQ(rig.next(), "http://cdn/v/s" + std::to_string(n) + ".m4s");
            ASSERT_EQ(rig.location->endReached, n + 1 == count);
        }
        rig.location->segmentNumber = count - 1;
        for (uint64_t n = count; n-- > 0;) {
            ASSERT_EQ(rig.next(false), "http://cdn/v/s" + std::to_string(n) + ".m4s");
            ASSERT_EQ(rig.location->beginReached, n == 0);
        }
        EXPECT_THROW(rig.next(false), std::out_of_range);

        for (int q = 0; q < 10; ++q) {
            const uint64_t requestMs = rng.percent(20) ? rng.engine() : rng.below((count + 1) * segmentMs);
            const auto before = cursorOf(*rig.location);
            uint64_t position = requestMs;
            uint64_t duration = 0;
            const bool inRange = rig.rep->findSegmentPosition(position, duration);
            EXPECT_EQ(cursorOf(*rig.location), before) << "findSegmentPosition moved the cursor";
            EXPECT_EQ(inRange, requestMs / segmentMs < count);
            EXPECT_EQ(rig.rep->seek(requestMs), position);
            EXPECT_LT(rig.location->segmentNumber, count);
            EXPECT_EQ(rig.location->segmentNumber * segmentMs, position);
            EXPECT_EQ(rig.location->endReached, !inRange);
        }
    }
}

}  // namespace
}  // namespace dash
