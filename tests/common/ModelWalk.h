#pragma once

#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/Segment.h"

// Walks over the MPD model shared by the manifest tests: the addressing scheme of a
// Representation and its first media segment, made the way the DASH client makes them.
namespace manifest_test {

using namespace dash::mpd;

// The SegmentTemplate in force: the Representation's, else the AdaptationSet's, else the Period's.
inline const ISegmentTemplate* templateOf(const IPeriod& p, const IAdaptationSet& a, const IRepresentation& r) {
    return r.GetSegmentTemplate() ? r.GetSegmentTemplate()
                                  : a.GetSegmentTemplate() ? a.GetSegmentTemplate() : p.GetSegmentTemplate();
}

// "Timeline", "Template", "List", "Base" or "None", in the client's order of preference.
inline std::string schemeOf(const IPeriod& p, const IAdaptationSet& a, const IRepresentation& r) {
    if (const ISegmentTemplate* t = templateOf(p, a, r)) return t->GetSegmentTimeline() ? "Timeline" : "Template";
    if (r.GetSegmentList() || a.GetSegmentList() || p.GetSegmentList()) return "List";
    return r.GetSegmentBase() || a.GetSegmentBase() || p.GetSegmentBase() ? "Base" : "None";
}

// The first media segment of `r` against the base URLs of every level, outermost first; for
// SegmentBase the one request from the index to the end of the file ("834-"). Null when the
// model can make none.
inline std::unique_ptr<ISegment> firstMediaSegment(const IMPD& mpd, const IPeriod& p, const IAdaptationSet& a,
                                                   const IRepresentation& r) {
    std::vector<IBaseUrl*> bases = mpd.GetBaseURLs();
    for (const auto* level : {&p.GetBaseURLs(), &a.GetBaseURLs(), &r.GetBaseURLs()}) {
        bases.insert(bases.end(), level->begin(), level->end());
    }
    const std::string scheme = schemeOf(p, a, r);
    const ISegmentTemplate* t = templateOf(p, a, r);
    ISegment* s = nullptr;
    if (scheme == "Timeline") {
        s = t->GetMediaSegmentFromTime(bases, r.GetId(), r.GetBandwidth(),
                                       t->GetSegmentTimeline()->GetTimelines().at(0)->GetStartTime());
    } else if (scheme == "Template") {
        s = t->GetMediaSegmentFromNumber(bases, r.GetId(), r.GetBandwidth(), t->GetStartNumber());
    } else if (scheme == "List" && r.GetSegmentList() && !r.GetSegmentList()->GetSegmentURLs().empty()) {
        s = r.GetSegmentList()->GetSegmentURLs()[0]->ToMediaSegment(bases);
    } else if (scheme == "Base" && r.GetSegmentBase()) {
        const std::string& index = r.GetSegmentBase()->GetIndexRange();
        std::unique_ptr<Segment> whole(new Segment());
        if (whole->Init(bases, "", index.substr(0, index.find('-') + 1), TransactionType::MediaSegment)) {
            s = whole.release();
        }
    }
    return std::unique_ptr<ISegment>(s);
}

}  // namespace manifest_test
