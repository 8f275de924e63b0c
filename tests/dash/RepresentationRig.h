#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "MpdText.h"
#include "dash/DashException.h"
#include "dash/DashSegmentLocation.h"
#include "dash/DashUtil.h"

namespace velar_test {

// An MPD with the BaseURL http://cdn/v/ and one Period whose one AdaptationSet holds `setContent`.
inline std::string representationMpd(const std::string& mpdAttributes, const std::string& setContent,
                                      const std::string& setAttributes = "") {
    return "<MPD " + mpdAttributes + "><BaseURL>http://cdn/v/</BaseURL><Period><AdaptationSet" + setAttributes + ">" +
           setContent + "</AdaptationSet></Period></MPD>";
}

// A representation of scheme `Rep` with its own cursor (or one shared with another rig), initialised
// from MPD texts with the base URLs an adaptation set hands it (MPD, Period, AdaptationSet merged).
template <class Rep>
struct RepresentationRig {
    explicit RepresentationRig(std::shared_ptr<dash::DashSegmentLocation> shared = nullptr)
        : location(shared ? shared : std::make_shared<dash::DashSegmentLocation>()),
          rep(std::make_shared<Rep>(location)) {}

    // (Re)initialises with the first Representation; earlier MPDs stay alive.
    void init(const std::string& xml) {
        mpds.push_back(parseMpd(xml));
        ASSERT_NE(mpds.back(), nullptr);
        const dash::mpd::IPeriod* period = mpds.back()->GetPeriods().at(0);
        const dash::mpd::IAdaptationSet* set = period->GetAdaptationSets().at(0);
        std::vector<dash::mpd::IBaseUrl*> urls = dash::DashUtil::addBaseURLs(mpds.back()->GetBaseURLs(),
                                                                             period->GetBaseURLs());
        urls = dash::DashUtil::addBaseURLs(urls, set->GetBaseURLs());
        rep->initRepresentation(mpds.back(), *set, *set->GetRepresentation().at(0), urls);
    }

    // The status of the DashException that init throws, its text in `what`.
    dash::DashDownloadStatus initFailure(const std::string& xml, std::string* what = nullptr) {
        try {
            init(xml);
        } catch (const dash::DashException& e) {
            if (what != nullptr) *what = e.what();
            return e.getDownloadStatus();
        }
        ADD_FAILURE() << "accepted: " << xml;
        return dash::NO_SEGMENT;
    }

    // The next segment's URL, "" for none.
    std::string next(bool forward = true) {
        std::shared_ptr<dash::mpd::ISegment> segment = rep->getNextSegment(forward);
        return segment ? segment->GetUrl() : std::string();
    }

    std::shared_ptr<dash::DashSegmentLocation> location;
    std::shared_ptr<Rep> rep;
    std::vector<std::shared_ptr<dash::mpd::IMPD>> mpds;
};

}  // namespace velar_test
