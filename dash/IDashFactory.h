#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dash/DashEventNotifier.h"
#include "dash/DashSegmentLocation.h"
#include "dash/IDashAdaptationSet.h"
#include "dash/IDashConfiguration.h"
#include "dash/IDashDownloadObserver.h"
#include "dash/IDashRepresentation.h"
#include "manifest/mpd/IAdaptationSet.h"
#include "manifest/mpd/IBaseUrl.h"
#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/IRepresentation.h"

namespace dash {

class IDashDownloader;

// Makes every object of the DASH client; one per process (DashFactoryBuilder). Owns the cached
// settings and the event notifier.
class IDashFactory {
public:
    virtual ~IDashFactory() {}
    virtual std::shared_ptr<IDashDownloader> createDashDownloader(std::string url) = 0;
    virtual std::shared_ptr<IDashAdaptationSet> createDashAdaptationSet(std::shared_ptr<mpd::IMPD> mpd,
                                                                        const std::vector<mpd::IBaseUrl*>& baseUrls,
                                                                        const std::string& mimeType) = 0;
    // Picks the addressing scheme (SegmentTimeline, SegmentTemplate, SegmentList, SegmentBase),
    // creates the representation on the set's shared location and runs initRepresentation.
    // Throws DashException (FAIL_INVALID_MPD when no scheme applies, or what the scheme throws).
    virtual std::shared_ptr<IDashRepresentation> createDashRepresentation(
        std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet,
        const mpd::IRepresentation& representation, const std::vector<mpd::IBaseUrl*>& baseUrls,
        std::shared_ptr<DashSegmentLocation> location) = 0;
    // Loads the settings file on the first successful call and caches it for the process; later
    // calls return the cached object whatever the path. Throws DashException FAIL_UNKNOWN_ERROR
    // "Invalid dash config file: <path>" when the file cannot be loaded (nothing cached then).
    virtual std::shared_ptr<IDashConfiguration> getDashConfiguration(std::string path) = 0;
    // A new observer for the set on every call.
    virtual std::shared_ptr<IDashDownloadObserver> getDashDownloadObserver(const IDashAdaptationSet* set) = 0;
    virtual std::shared_ptr<DashEventNotifier> getDashEventNotifier() = 0;
};

}  // namespace dash
