#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dash/IDashFactory.h"
#include "manifest/IDASHManager.h"

namespace dash {

// The process's maker of DASH objects (reached through DashFactoryBuilder). Holds the manifest
// library's manager, the settings once loaded, and the one event notifier of all sessions.
// createDashDownloader makes a DashDownloader on that manager, with
// DashDownloader::kDefaultUpdatePeriodMs as its live update period until a live MPD gives its own.
// Thread-safe: the settings cache is guarded by a mutex, because the controlling thread (adaptation
// set construction) and a downloader thread (its buffer check) both ask for it.
// Settings files above 1 MiB are refused like unreadable ones, so a wrong path (a device node, a
// huge file) cannot make the load allocate without bound.
class DashFactory : public IDashFactory, public std::enable_shared_from_this<DashFactory> {
public:
    static constexpr long kMaxSettingsFileBytes = 1024 * 1024;

    DashFactory();

    std::shared_ptr<IDashDownloader> createDashDownloader(std::string url) override;
    std::shared_ptr<IDashAdaptationSet> createDashAdaptationSet(std::shared_ptr<mpd::IMPD> mpd,
                                                                const std::vector<mpd::IBaseUrl*>& baseUrls,
                                                                const std::string& mimeType) override;
    std::shared_ptr<IDashRepresentation> createDashRepresentation(std::shared_ptr<mpd::IMPD> mpd,
                                                                  const mpd::IAdaptationSet& adaptationSet,
                                                                  const mpd::IRepresentation& representation,
                                                                  const std::vector<mpd::IBaseUrl*>& baseUrls,
                                                                  std::shared_ptr<DashSegmentLocation> location) override;
    std::shared_ptr<IDashConfiguration> getDashConfiguration(std::string path) override;
    std::shared_ptr<IDashDownloadObserver> getDashDownloadObserver(const IDashAdaptationSet* set) override;
    std::shared_ptr<DashEventNotifier> getDashEventNotifier() override;

private:
    std::shared_ptr<IDASHManager> mManager;
    std::mutex mConfigurationMutex;
    std::shared_ptr<IDashConfiguration> mConfiguration;  // empty until first loaded
    std::shared_ptr<DashEventNotifier> mNotifier;
};

}  // namespace dash
