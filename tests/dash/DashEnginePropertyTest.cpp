// Property checks of the addressing schemes over random MPDs: timelines (S with and without t,
// overlaps, gaps, open and huge repeats, thousands of entries), templates (any duration, timescale,
// start number, on demand and live with any publish and availability times) and lists. Each MPD
// goes through the real parser into a representation, then through random seeks, position
// queries and walks in both directions.
//
// Deterministic: the seed is printed; VELAR_PROPERTY_SEED=<n> repeats a run.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "RepresentationRig.h"
#include "dash/DashSegmentList.h"
#include "dash/DashSegmentTemplate.h"
#include "dash/DashSegmentTimeline.h"

namespace dash {
namespace {

using velar_test::representationMpd;

class Rng {
public:
    explicit Rng(uint64_t seed) : mEngine(seed) {}
    uint64_t below(uint64_t n) { return n == 0 ? 0 : mEngine() % n; }
    uint64_t between(uint64_t lo, uint64_t hi) { return lo + below(hi - lo + 1); }
    bool percent(unsigned p) { return below(100) < p; }
    uint64_t any() { return mEngine(); }

private:
    std::mt19937_64 mEngine;
};

uint64_t propertySeed() {
    static const uint64_t seed = [] {
        const char* env = std::getenv("VELAR_PROPERTY_SEED");
        const uint64_t value = env != nullptr ? std::strtoull(env, nullptr, 10) : 20240611;
        std::printf("DashEnginePropertyTest seed %llu (VELAR_PROPERTY_SEED repeats it)\n",
                    static_cast<unsigned long long>(value));
        return value;
    }();
    return seed;
}

std::string dateTime(int64_t epochSeconds) {
    const time_t t = static_cast<time_t>(epochSeconds);
    struct tm broken = {};
    gmtime_r(&t, &broken);
    char text[40];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &broken);
    return text;
}

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

// Well-formed ISO 8601 durations between 1 ms and about 68 years.
std::string randomDuration(Rng& rng) {
    switch (rng.below(4)) {
    case 0: return "PT" + std::to_string(rng.between(1, 600)) + "S";
    case 1: return "PT" + std::to_string(rng.between(1, 999)) + "." + std::to_string(rng.between(1, 999)) + "S";
    case 2: return "PT" + std::to_string(rng.between(1, 100000)) + "H";
    default: return "P" + std::to_string(rng.between(0, 68)) + "Y0M1DT" + std::to_string(rng.between(0, 23)) + "H0M1S";
    }
}

std::string randomTimescale(Rng& rng) {
    static const char* const kScales[] = {"1", "1000", "90000", "48000", "4294967295", "7"};
    return rng.percent(20) ? std::string() : kScales[rng.below(6)];
}

// MPD-level attributes: static with or without durations, or dynamic with random publish and
// availability times (publish before availability included), depth and update period.
std::string randomPresentation(Rng& rng, bool& live, uint64_t& liveEdgeSeconds) {
    live = rng.percent(40);
    if (!live) {
        return std::string("type=\"static\"") + (rng.percent(90) ? attribute("mediaPresentationDuration", randomDuration(rng)) : "");
    }
    const int64_t availability = static_cast<int64_t>(rng.between(0, 4000000000ull)) - (rng.percent(5) ? 100000 : 0);
    const int64_t publish = rng.percent(10) ? availability - static_cast<int64_t>(rng.between(1, 5000))
                                            : availability + static_cast<int64_t>(rng.between(0, rng.percent(50) ? 600 : 100000000));
    liveEdgeSeconds = publish > availability ? static_cast<uint64_t>(publish - availability) : 0;
    std::string text = "type=\"dynamic\"";
    if (rng.percent(90)) text += attribute("availabilityStartTime", dateTime(availability));
    if (rng.percent(90)) text += attribute("publishTime", dateTime(publish));
    if (rng.percent(70)) text += attribute("timeShiftBufferDepth", randomDuration(rng));
    if (rng.percent(70)) text += attribute("minimumUpdatePeriod", "PT" + std::to_string(rng.between(1, 60)) + "S");
    return text;
}

std::string representation() {
    return "<Representation id=\"r\" bandwidth=\"1000\"/>";
}

struct Cursor {
    uint64_t segmentNumber;
    uint64_t segmentTime;
    bool endReached;
    bool beginReached;
    bool operator==(const Cursor& o) const {
        return segmentNumber == o.segmentNumber && segmentTime == o.segmentTime && endReached == o.endReached &&
               beginReached == o.beginReached;
    }
};

Cursor snapshot(const DashSegmentLocation& location) {
    return Cursor{location.segmentNumber, location.segmentTime, location.endReached, location.beginReached};
}

// Runs `init`; true when the representation took the MPD. A refusal must be a DashException.
template <class Rig>
bool initAccepted(Rig& rig, const std::string& xml) {
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

// `big`: repeats and jumps that run into the expansion bound (DashUtil::kMaxTimelineItems).
// `running` follows the expansion's start of the last item, so that the t values written stay near
// the items made unless a jump is wanted.
std::string randomTimeline(Rng& rng, size_t entries, bool big) {
    std::string s;
    uint64_t running = rng.below(1000000);
    uint64_t forcedT = 0;  // non-zero: this S's t, closing the open repeat of the S before
    for (size_t i = 0; i < entries; ++i) {
        s += "<S";
        uint64_t start = running;
        if (forcedT != 0 || rng.percent(25)) {
            uint64_t t = forcedT;
            if (forcedT == 0) {
                switch (rng.below(big ? 4 : 3)) {
                case 0: t = running + rng.below(5000); break;                         // maybe leaving a gap
                case 1: t = running > 3000 ? running - rng.below(3000) : running; break;  // overlaps
                case 2: t = running; break;                                             // duplicate start
                default: t = rng.any(); break;                                          // anywhere
                }
            }
            forcedT = 0;
            s += attribute("t", std::to_string(t));
            if (t != 0) start = t;
        }
        uint64_t d = rng.between(1, 5000);
        if (rng.percent(3)) d = 0;                                      // dropped by the parser
        if (rng.percent(3)) d = rng.between(1, 4294967295ull);
        if (rng.percent(2)) d = 4294967296ull + rng.below(1000);       // beyond the 32-bit item duration
        const uint64_t itemDuration = d % 4294967296ull;
        if (d != 0) s += attribute("d", std::to_string(d));
        int64_t r = 0;
        if (rng.percent(40)) {
            r = static_cast<int64_t>(rng.between(1, 30));
            // Open-ended: up to the next S's t, the last S up to the period end or live edge.
            if (rng.percent(10) && (big || i + 1 < entries)) r = -1;
            if (big && rng.percent(20)) r = static_cast<int64_t>(rng.between(100000, 2147483647));
            s += attribute("r", std::to_string(r));
        }
        s += "/>";
        if (d == 0) continue;
        if (r == -1 && !big) {
            const uint64_t repeats = rng.between(1, 40);
            forcedT = start + itemDuration * repeats + 1;
            running = start + itemDuration * repeats;
        } else if (r >= 0) {
            running = start + itemDuration * static_cast<uint64_t>(r);
        } else {
            running = start;
        }
    }
    return s;
}

// The front-to-back walk the search must agree with: the first item in start order that covers t.
const DashTimelineItem* firstCovering(const std::set<DashTimelineItem>& timeline, uint64_t t) {
    for (const DashTimelineItem& item : timeline) {
        if (item.startTime <= t && t < item.startTime + item.duration) return &item;
    }
    return nullptr;
}

void checkTimeline(Rng& rng, const std::string& xml, uint32_t timescale, bool live) {
    using Rig = velar_test::RepresentationRig<DashSegmentTimeline>;
    Rig rig;
    if (!initAccepted(rig, xml)) return;
    const std::set<DashTimelineItem>& timeline = rig.location->timeline;
    ASSERT_LE(timeline.size(), DashUtil::kMaxTimelineItems);
    if (timeline.empty()) return;
    const DashTimelineItem& first = *timeline.begin();
    const DashTimelineItem& last = *timeline.rbegin();
    const uint64_t endMs = DashUtil::convertScaledTimeToMs(last.startTime + last.duration, timescale);
    const int queries = timeline.size() > 20000 ? 2 : 12;

    for (int q = 0; q < queries; ++q) {
        uint64_t requestMs = rng.below(endMs + 5000);
        if (rng.percent(50)) {
            auto it = timeline.begin();
            std::advance(it, rng.below(std::min<uint64_t>(timeline.size(), 2000)));
            requestMs = DashUtil::convertScaledTimeToMs(it->startTime, timescale) + rng.below(3) - 1;
        }
        const uint64_t t = DashUtil::convertMsToScaledTime(requestMs, timescale);
        const DashTimelineItem* expected = nullptr;
        SeekPosition where = InRange;
        if (t < first.startTime) {
            expected = &first;
            where = BeforeStart;
        } else if (t >= last.startTime + last.duration) {
            expected = &last;
            where = PastEnd;
        } else {
            expected = firstCovering(timeline, t);
        }
        const Cursor before = snapshot(*rig.location);
        uint64_t position = requestMs;
        uint64_t duration = 0;
        if (expected == nullptr) {  // a gap
            try {
                rig.rep->findSegmentPosition(position, duration);
                ADD_FAILURE() << "no refusal of the gap at " << t;
            } catch (const DashException& e) {
                EXPECT_EQ(e.getDownloadStatus(), FAIL_UNKNOWN_ERROR);
            }
            continue;
        }
        EXPECT_EQ(rig.rep->findSegmentPosition(position, duration), where == InRange);
        EXPECT_EQ(snapshot(*rig.location), before) << "findSegmentPosition moved the cursor";
        ASSERT_EQ(position, DashUtil::convertScaledTimeToMs(expected->startTime, timescale)) << "t=" << t;
        EXPECT_EQ(duration, DashUtil::convertScaledTimeToMs(expected->duration, timescale));
        EXPECT_EQ(rig.rep->seek(requestMs), position);
        EXPECT_EQ(rig.location->segmentTime, expected->startTime);
        EXPECT_EQ(rig.location->endReached, where == PastEnd && !live);
        EXPECT_EQ(rig.location->beginReached, where == BeforeStart);

        if (q % 4 != 0) continue;
        const bool forward = rng.percent(50);
        for (int step = 0; step < 8; ++step) {
            const uint64_t cursor = rig.location->segmentTime;
            const DashTimelineItem* item = firstCovering(timeline, cursor);
            std::shared_ptr<mpd::ISegment> segment = rig.rep->getNextSegment(forward);
            ASSERT_EQ(segment != nullptr, item != nullptr) << "cursor " << cursor;
            if (item == nullptr) {
                EXPECT_EQ(rig.location->segmentTime, cursor);
                break;
            }
            EXPECT_EQ(segment->GetUrl(), "http://cdn/v/t" + std::to_string(item->startTime) + ".m4s");
            EXPECT_EQ(rig.location->segmentTime, forward ? item->startTime + item->duration : item->startTime - 1);
        }
    }
}

TEST(DashEnginePropertyTest, RandomTimelines) {
    Rng rng(propertySeed());
    for (int i = 0; i < 200; ++i) {
        SCOPED_TRACE("seed " + std::to_string(propertySeed()) + " timeline MPD " + std::to_string(i));
        bool live = false;
        uint64_t edge = 0;
        const std::string presentation = randomPresentation(rng, live, edge);
        const std::string timescale = randomTimescale(rng);
        const size_t entries = rng.percent(10) ? rng.between(1000, 4000) : rng.percent(3) ? 0 : rng.below(200);
        const bool big = rng.percent(2);
        std::string templateAttributes = " media=\"t$Time$.m4s\"";
        if (!timescale.empty()) templateAttributes += attribute("timescale", timescale);
        if (rng.percent(20)) templateAttributes += attribute("presentationTimeOffset", std::to_string(rng.below(1000000)));
        const std::string periodDuration = rng.percent(20) ? attribute("duration", randomDuration(rng)) : "";
        const std::string xml = "<MPD " + presentation + "><BaseURL>http://cdn/v/</BaseURL><Period" + periodDuration +
                                "><AdaptationSet mimeType=\"video/mp4\"><SegmentTemplate" + templateAttributes +
                                "><SegmentTimeline>" + randomTimeline(rng, entries, big) +
                                "</SegmentTimeline></SegmentTemplate>" + representation() +
                                "</AdaptationSet></Period></MPD>";
        checkTimeline(rng, xml, timescale.empty() ? 1 : static_cast<uint32_t>(std::stoul(timescale)), live);
        if (HasFatalFailure()) return;
    }
}

// 50,000 S entries expand into as many items and are walked front to back without a search over
// the whole timeline per step (a per-step linear search would take minutes here).
TEST(DashEnginePropertyTest, FiftyThousandEntriesWalkForward) {
    constexpr uint64_t kEntries = 50000;
    std::string s;
    s.reserve(kEntries * 32);
    for (uint64_t i = 0; i < kEntries; ++i) s += "<S t=\"" + std::to_string(i * 2000) + "\" d=\"2000\"/>";
    const std::string xml = representationMpd("type=\"static\" mediaPresentationDuration=\"PT100000S\"",
                                              "<SegmentTemplate timescale=\"1000\" media=\"t$Time$.m4s\"><SegmentTimeline>" +
                                                  s + "</SegmentTimeline></SegmentTemplate>" + representation());
    velar_test::RepresentationRig<DashSegmentTimeline> rig;
    const auto start = std::chrono::steady_clock::now();
    rig.init(xml);
    ASSERT_EQ(rig.location->timeline.size(), kEntries);
    uint64_t walked = 0;
    while (!rig.location->endReached && walked <= kEntries) {
        ASSERT_NE(rig.rep->getNextSegment(true), nullptr);
        ++walked;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(walked, kEntries);
    EXPECT_EQ(rig.rep->getData()->currentSegmentTimeMs, (kEntries - 1) * 2000);
    EXPECT_LT(seconds, 10.0) << "expansion and walk of " << kEntries << " items";
}

// --- SegmentTemplate ---

TEST(DashEnginePropertyTest, RandomTemplates) {
    Rng rng(propertySeed() + 1);
    using Rig = velar_test::RepresentationRig<DashSegmentTemplate>;
    for (int i = 0; i < 400; ++i) {
        SCOPED_TRACE("seed " + std::to_string(propertySeed()) + " template MPD " + std::to_string(i));
        bool live = false;
        uint64_t edge = 0;
        const std::string presentation = randomPresentation(rng, live, edge);
        std::string attributes = " media=\"n$Number$.m4s\"";
        const std::string timescale = randomTimescale(rng);
        if (!timescale.empty()) attributes += attribute("timescale", timescale);
        if (rng.percent(95)) {
            attributes += attribute("duration", std::to_string(rng.percent(50) ? rng.between(0, 10) : rng.between(0, 4294967295ull)));
        }
        uint64_t startNumber = 1;
        if (rng.percent(60)) {
            startNumber = rng.percent(20) ? 4294967295ull : rng.below(100000);
            attributes += attribute("startNumber", std::to_string(startNumber));
        }
        Rig rig;
        // A cursor carried over from an earlier representation of the set.
        rig.location->segmentNumber = rng.percent(50) ? 0 : rng.any() >> rng.below(64);
        if (!initAccepted(rig, representationMpd(presentation, "<SegmentTemplate" + attributes + "/>" + representation()))) {
            continue;
        }
        std::shared_ptr<DashRepresentationData> data = rig.rep->getData();
        const uint64_t segmentMs = data->segmentDurationMs;
        ASSERT_GE(segmentMs, 1u);

        for (int q = 0; q < 10; ++q) {
            const uint64_t requestMs = rng.percent(20) ? rng.any() : rng.below(data->lastSegmentTimeMs + 3 * segmentMs);
            const Cursor before = snapshot(*rig.location);
            uint64_t position = requestMs;
            uint64_t duration = 0;
            const bool inRange = rig.rep->findSegmentPosition(position, duration);
            EXPECT_EQ(snapshot(*rig.location), before) << "findSegmentPosition moved the cursor";
            EXPECT_EQ(duration, segmentMs);
            EXPECT_EQ(position % segmentMs, 0u);
            if (inRange) {
                EXPECT_LE(position, requestMs);
                EXPECT_LT(requestMs - position, segmentMs);
            }
            EXPECT_EQ(rig.rep->seek(requestMs), position);
            EXPECT_EQ(rig.location->segmentNumber * segmentMs, position);

            const bool forward = rng.percent(50);
            for (int step = 0; step < 4; ++step) {
                const uint64_t index = rig.location->segmentNumber;
                const std::string url = rig.next(forward);
                if (url.empty()) {
                    EXPECT_EQ(rig.location->segmentNumber, index);
                    break;
                }
                EXPECT_EQ(url, "http://cdn/v/n" + std::to_string(startNumber + index) + ".m4s");
                EXPECT_EQ(rig.location->segmentNumber, forward ? index + 1 : index - 1);
            }
        }
        // A short presentation on demand ends within its segment count from the start.
        if (!live && data->totalSegments <= 2000) {
            rig.rep->seek(0);
            uint64_t steps = 0;
            while (!rig.location->endReached && steps < data->totalSegments) {
                EXPECT_NE(rig.next(), "");
                ++steps;
            }
            EXPECT_TRUE(rig.location->endReached);
        }
        if (HasFailure()) return;
    }
}

// --- SegmentList ---

TEST(DashEnginePropertyTest, RandomLists) {
    Rng rng(propertySeed() + 2);
    using Rig = velar_test::RepresentationRig<DashSegmentList>;
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE("seed " + std::to_string(propertySeed()) + " list MPD " + std::to_string(i));
        const uint64_t count = rng.percent(20) ? rng.between(1, 3) : rng.between(1, 300);
        std::string attributes;
        const std::string timescale = randomTimescale(rng);
        if (!timescale.empty()) attributes += attribute("timescale", timescale);
        if (rng.percent(80)) attributes += attribute("duration", std::to_string(rng.between(0, 4294967295ull >> rng.below(32))));
        std::string list = "<SegmentList" + attributes + ">";
        for (uint64_t n = 0; n < count; ++n) list += "<SegmentURL media=\"s" + std::to_string(n) + ".m4s\"/>";
        list += "</SegmentList>";
        Rig rig;
        rig.location->segmentNumber = rng.any();
        if (!initAccepted(rig, representationMpd("type=\"static\" mediaPresentationDuration=\"PT1S\"",
                                                 "<Representation id=\"r\" bandwidth=\"1\">" + list + "</Representation>"))) {
            continue;
        }
        const uint64_t segmentMs = rig.rep->getData()->segmentDurationMs;
        ASSERT_GE(segmentMs, 1u);

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
            const uint64_t requestMs = rng.percent(20) ? rng.any() : rng.below((count + 1) * segmentMs);
            const Cursor before = snapshot(*rig.location);
            uint64_t position = requestMs;
            uint64_t duration = 0;
            const bool inRange = rig.rep->findSegmentPosition(position, duration);
            EXPECT_EQ(snapshot(*rig.location), before) << "findSegmentPosition moved the cursor";
            EXPECT_EQ(inRange, requestMs / segmentMs < count);
            EXPECT_EQ(rig.rep->seek(requestMs), position);
            EXPECT_LT(rig.location->segmentNumber, count);
            EXPECT_EQ(rig.location->segmentNumber * segmentMs, position);
            EXPECT_EQ(rig.location->endReached, !inRange);
        }
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace dash
