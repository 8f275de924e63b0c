#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "MpdText.h"
#include "dash/DashException.h"
#include "dash/DashRepresentationData.h"
#include "dash/DashSegmentLocation.h"
#include "dash/DashUtil.h"

namespace velar_test {

// An MPD with the BaseURL http://cdn/v/ and one Period whose one AdaptationSet holds `setContent`.
inline std::string representationMpd(const std::string& mpdAttributes, const std::string& setContent,
                                      const std::string& setAttributes = "") {
    return "<MPD " + mpdAttributes + "><BaseURL>http://cdn/v/</BaseURL><Period><AdaptationSet" + setAttributes + ">" +
           setContent + "</AdaptationSet></Period></MPD>";
}

// "<status> <text>" of the DashException that `f` throws, "" when it throws none.
template <class F>
std::string thrown(F&& f) {
    try {
        f();
        return "";
    } catch (const dash::DashException& e) {
        return std::string(e.what()).substr(std::string("Dash Download Error: ").size());
    }
}

using Figures = std::vector<uint64_t>;
using Strings = std::vector<std::string>;

// A representation of scheme `Rep` on its own cursor, initialised from MPD texts (earlier ones stay
// alive) with the base URLs an adaptation set hands it: MPD, Period and AdaptationSet merged.
template <class Rep>
struct RepresentationRig {
    std::shared_ptr<dash::DashSegmentLocation> location = std::make_shared<dash::DashSegmentLocation>();
    std::shared_ptr<Rep> rep = std::make_shared<Rep>(location);
    std::vector<std::shared_ptr<dash::mpd::IMPD>> mpds;

    RepresentationRig() = default;
    explicit RepresentationRig(const std::string& xml) { init(xml); }
    void init(const std::string& xml) {
        mpds.push_back(parseMpd(xml));
        ASSERT_NE(mpds.back(), nullptr);
        const dash::mpd::IPeriod* period = mpds.back()->GetPeriods().at(0);
        const dash::mpd::IAdaptationSet* set = period->GetAdaptationSets().at(0);
        const auto urls = dash::DashUtil::addBaseURLs(mpds.back()->GetBaseURLs(), period->GetBaseURLs());
        rep->initRepresentation(mpds.back(), *set, *set->GetRepresentation().at(0),
                                dash::DashUtil::addBaseURLs(urls, set->GetBaseURLs()));
    }
    std::string next(bool forward = true) {
        std::shared_ptr<dash::mpd::ISegment> segment = rep->getNextSegment(forward);
        return segment ? segment->GetUrl() : std::string();  // "" for none
    }
    // "B" and "E" for the cursor's begin and end flags; `text` followed by them.
    std::string flags() const {
        return std::string(location->beginReached ? "B" : "") + (location->endReached ? "E" : "");
    }
    std::string flagged(const std::string& text) const { return flags().empty() ? text : text + " " + flags(); }
    // `steps` calls of getNextSegment: each URL without "http://cdn/v/" ("null" for none), flagged.
    Strings walk(size_t steps, bool forward = true) {
        Strings out;
        while (out.size() < steps) {
            const std::string url = next(forward);
            out.push_back(flagged(url.empty() ? "null" : url.compare(0, 13, "http://cdn/v/") ? url : url.substr(13)));
        }
        return out;
    }
    // totalSegments, firstSegmentTimeMs, lastSegmentTimeMs, totalDurationMs, segmentDurationMs.
    Figures figures() const {
        const dash::DashRepresentationData& d = *rep->getData();
        return {d.totalSegments, d.firstSegmentTimeMs, d.lastSegmentTimeMs, d.totalDurationMs, d.segmentDurationMs};
    }
    // findSegmentPosition(ms), which must leave the cursor alone, then seek(ms), which must agree:
    // "<segment start>+<its duration>", " out" unless in range, flagged.
    std::string seekTo(uint64_t ms) {
        const auto cursor = [this] { return std::make_tuple(location->segmentNumber, location->segmentTime, flags()); };
        const auto before = cursor();
        uint64_t start = ms, duration = 0;
        const bool inRange = rep->findSegmentPosition(start, duration);
        EXPECT_EQ(cursor(), before) << "findSegmentPosition moved the cursor";
        EXPECT_EQ(rep->seek(ms), start) << "seek and findSegmentPosition disagree";
        return flagged(std::to_string(start) + "+" + std::to_string(duration) + (inRange ? "" : " out"));
    }
};

}  // namespace velar_test
