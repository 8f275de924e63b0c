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

// An MPD text with one Period and one AdaptationSet whose content (segment information and
// Representation elements) the caller writes out.
inline std::string representationMpd(const std::string& mpdAttributes, const std::string& setContent,
                                      const std::string& setAttributes = "mimeType=\"video/mp4\"",
                                      const std::string& mpdChildren = "<BaseURL>http://cdn/v/</BaseURL>") {
    return "<MPD " + mpdAttributes + ">" + mpdChildren + "<Period><AdaptationSet " + setAttributes + ">" +
           setContent + "</AdaptationSet></Period></MPD>";
}

// One representation object of scheme `Rep` over the first AdaptationSet of an MPD parsed from a
// string, with its own cursor (or one shared with another rig). The base URL list handed to it is
// what the adaptation set passes: the MPD's BaseURLs (else the MPD's own location), with the
// Period's and AdaptationSet's merged on.
template <class Rep>
struct RepresentationRig {
    explicit RepresentationRig(std::shared_ptr<dash::DashSegmentLocation> shared = nullptr)
        : location(shared ? shared : std::make_shared<dash::DashSegmentLocation>()),
          rep(std::make_shared<Rep>(location)) {}

    // Parses `xml` and (re)initialises the representation with its Representation `index`; the
    // MPDs of earlier calls stay alive (the representation may hold pointers into them).
    void init(const std::string& xml, size_t index = 0) {
        auto parsed = parseMpd(xml);
        ASSERT_NE(parsed, nullptr);
        mpds.push_back(parsed);
        const dash::mpd::IPeriod* period = parsed->GetPeriods().at(0);
        const dash::mpd::IAdaptationSet* set = period->GetAdaptationSets().at(0);
        std::vector<dash::mpd::IBaseUrl*> urls = parsed->GetBaseURLs();
        if (urls.empty()) urls.push_back(parsed->GetMPDPathBaseUrl());
        urls = dash::DashUtil::addBaseURLs(urls, period->GetBaseURLs());
        urls = dash::DashUtil::addBaseURLs(urls, set->GetBaseURLs());
        rep->initRepresentation(parsed, *set, *set->GetRepresentation().at(index), urls);
    }

    // The status of the DashException that init throws (NO_SEGMENT when it throws none).
    dash::DashDownloadStatus initFailure(const std::string& xml, std::string* what = nullptr) {
        try {
            init(xml);
        } catch (const dash::DashException& e) {
            if (what != nullptr) *what = e.what();
            return e.getDownloadStatus();
        }
        return dash::NO_SEGMENT;
    }

    // The next segment's URL ("" for a null segment).
    std::string next(bool forward = true) {
        std::shared_ptr<dash::mpd::ISegment> segment = rep->getNextSegment(forward);
        return segment ? segment->GetUrl() : std::string();
    }

    std::shared_ptr<dash::DashSegmentLocation> location;
    std::shared_ptr<Rep> rep;
    std::vector<std::shared_ptr<dash::mpd::IMPD>> mpds;
};

}  // namespace velar_test
