#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dash/DashRepresentationData.h"
#include "dash/DashSegmentLocation.h"
#include "dash/IDashRepresentation.h"
#include "dash/SeekPosition.h"

namespace dash {

// What the four addressing schemes share: the representation's DashRepresentationData, the cursor
// shared with the adaptation set (DashSegmentLocation), whether the MPD is live, and the end-of-list
// bookkeeping after each segment handed out.
//
// Ownership: the data record is created here and handed out by shared pointer; the cursor belongs
// to the adaptation set and to all its representations; the base URL pointers belong to the MPD
// object, which must outlive this representation's use of them.
//
// Threads: no lock of its own. Only the owning adaptation set calls it, under the set's lock.
class AbstractDashRepresentation : public IDashRepresentation {
public:
    // `location` is the adaptation set's cursor (not null).
    explicit AbstractDashRepresentation(std::shared_ptr<DashSegmentLocation> location);

    std::shared_ptr<DashRepresentationData> getData() const override;

    // Reads id, height, bandwidth and lang, merges the Representation's BaseURLs onto `baseUrls`
    // (the list inherited from MPD, Period and AdaptationSet) and notes whether the MPD is live.
    // Throws DashException FAIL_INVALID_REP "Unknown reason" for an empty MPD pointer. Each scheme
    // calls this first from its own initRepresentation.
    void initRepresentation(std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
                            const mpd::IRepresentation& representation,
                            const std::vector<mpd::IBaseUrl*>& baseUrls) override;

    // Copies the downloaded initialisation segment; a later call replaces it.
    void setInitBuffer(const std::vector<uint8_t>& buffer) override;

    // End-of-list flags after a segment was produced (or not: `segment` null), from
    // currentSegmentTimeMs against the first and last segment start. Running off the end of a live
    // list only logs: the list grows with the next MPD refresh.
    virtual void updateRepData(const mpd::ISegment* segment);

protected:
    // The end flag a seek's search result raises: PastEnd sets endReached on demand only (a live
    // edge moves on), BeforeStart sets beginReached live or not. Returns the line the caller logs
    // for it ("Attempted to seek/find ..."), null when no flag is raised.
    const char* markSeekEnd(SeekPosition result);

    std::shared_ptr<DashRepresentationData> mData;
    std::shared_ptr<DashSegmentLocation> mLocation;
    bool mLive;
};

}  // namespace dash
