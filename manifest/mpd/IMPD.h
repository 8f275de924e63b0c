#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IDescriptor.h"
#include "manifest/mpd/IPeriod.h"

namespace dash {
namespace mpd {

// A parsed MPD (ISO/IEC 23009-1 5.3.1). Owns every model object reached from it; pointers into
// the model stay valid while this object lives. Read-only and safe to read from several threads.
//
// Date-times and durations are kept as the texts written in the document (white space trimmed);
// callers parse them. Attributes absent from the document read as empty texts, except @type,
// which reads "static" (its schema default).
class IMPD {
public:
    virtual ~IMPD() {}
    virtual const std::string& GetId() const = 0;
    virtual const std::string& GetType() const = 0;  // "static" or "dynamic"
    virtual const std::string& GetProfiles() const = 0;
    virtual const std::string& GetAvailabilityStarttime() const = 0;
    virtual const std::string& GetAvailabilityEndtime() const = 0;
    virtual const std::string& GetPublishTime() const = 0;
    virtual const std::string& GetMediaPresentationDuration() const = 0;
    virtual const std::string& GetMinimumUpdatePeriod() const = 0;
    virtual const std::string& GetMinBufferTime() const = 0;
    virtual const std::string& GetTimeShiftBufferDepth() const = 0;
    virtual const std::string& GetSuggestedPresentationDelay() const = 0;
    virtual const std::string& GetMaxSegmentDuration() const = 0;
    virtual const std::string& GetMaxSubsegmentDuration() const = 0;
    virtual const std::vector<IBaseUrl*>& GetBaseURLs() const = 0;
    // Location elements (where to refetch the MPD), texts trimmed.
    virtual const std::vector<std::string>& GetLocations() const = 0;
    virtual const std::vector<IDescriptor*>& GetUTCTimings() const = 0;
    virtual const std::vector<IPeriod*>& GetPeriods() const = 0;
    // When the document was fetched, seconds since the Unix epoch (UTC).
    virtual uint32_t GetFetchTime() const = 0;
    // Absolute URL the document was read from ("http://host/live/manifest.mpd",
    // "file:///srv/a.mpd").
    virtual const std::string& GetDocumentUrl() const = 0;
    // A base URL standing for the directory of the document itself: put it first in a base URL
    // list when the MPD carries no BaseURL of its own.
    virtual IBaseUrl* GetMPDPathBaseUrl() const = 0;
};

}  // namespace mpd
}  // namespace dash
