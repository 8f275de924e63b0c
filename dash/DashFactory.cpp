#include "dash/DashFactory.h"

#include <sys/stat.h>
#include <tinyxml.h>

#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "dash/DashAdaptationSet.h"
#include "dash/DashConfiguration.h"
#include "dash/DashDownloader.h"
#include "dash/DashDownloadObserver.h"
#include "dash/DashSegmentBase.h"
#include "dash/DashSegmentList.h"
#include "dash/DashSegmentTemplate.h"
#include "dash/DashSegmentTimeline.h"
#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashFactory")

namespace dash {

DashFactory::DashFactory() : mManager(CreateDashManager()), mNotifier(std::make_shared<DashEventNotifier>()) {}

std::shared_ptr<IDashDownloader> DashFactory::createDashDownloader(std::string url) {
    return std::make_shared<DashDownloader>(std::move(url), mManager, DashDownloader::kDefaultUpdatePeriodMs);
}

std::shared_ptr<IDashAdaptationSet> DashFactory::createDashAdaptationSet(std::shared_ptr<mpd::IMPD> mpd,
                                                                         const std::vector<mpd::IBaseUrl*>& baseUrls,
                                                                         const std::string& mimeType) {
    return std::make_shared<DashAdaptationSet>(mpd, baseUrls, mimeType, shared_from_this());
}

std::shared_ptr<IDashRepresentation> DashFactory::createDashRepresentation(
    std::shared_ptr<mpd::IMPD> mpd, const mpd::IAdaptationSet& adaptationSet, const mpd::IRepresentation& representation,
    const std::vector<mpd::IBaseUrl*>& baseUrls, std::shared_ptr<DashSegmentLocation> location) {
    // The template may be inherited from the set or the Period; a SegmentList or SegmentBase
    // counts only when the Representation itself carries it.
    const mpd::ISegmentTemplate* segmentTemplate = DashUtil::getSegmentTemplate(mpd, adaptationSet, representation);
    std::shared_ptr<IDashRepresentation> created;
    if (segmentTemplate != nullptr && segmentTemplate->GetSegmentTimeline() != nullptr) {
        created = std::make_shared<DashSegmentTimeline>(location);
    } else if (segmentTemplate != nullptr) {
        created = std::make_shared<DashSegmentTemplate>(location);
    } else if (representation.GetSegmentList() != nullptr) {
        created = std::make_shared<DashSegmentList>(location);
    } else if (representation.GetSegmentBase() != nullptr) {
        created = std::make_shared<DashSegmentBase>(location);
    } else {
        DashUtil::throwException(FAIL_INVALID_MPD, "Can't find a supported representation in MPD");
    }
    created->initRepresentation(mpd, adaptationSet, representation, baseUrls);
    return created;
}

std::shared_ptr<IDashConfiguration> DashFactory::getDashConfiguration(std::string path) {
    std::lock_guard<std::mutex> lock(mConfigurationMutex);
    if (mConfiguration) {
        return mConfiguration;
    }
    struct stat info = {};
    TiXmlDocument document;
    const bool sizeOk = stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaxSettingsFileBytes;
    // TinyXML (2.6) steps over a UTF-8 sequence by the length its lead byte announces, also over
    // the terminating NUL: a file ending in a lead byte made it read past the end of its buffer.
    // So the text is handed to it with four NUL bytes behind it (the longest sequence's worth).
    bool loaded = false;
    if (sizeOk) {
        std::ifstream file(path, std::ios::binary);
        std::vector<char> text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        text.resize(text.size() + 4, '\0');
        document.Parse(text.data(), nullptr, TIXML_DEFAULT_ENCODING);
        loaded = !document.Error();  // an empty or unreadable file is an empty document: an error
    }
    if (!loaded) {
        ZUN_LOG(0, "Failed to load file : %s", path.c_str());
        DashUtil::throwException(FAIL_UNKNOWN_ERROR, "Invalid dash config file: " + path);
    }
    auto configuration = std::make_shared<DashConfiguration>();
    configuration->init(&document);
    mConfiguration = configuration;
    return mConfiguration;
}

std::shared_ptr<IDashDownloadObserver> DashFactory::getDashDownloadObserver(const IDashAdaptationSet* set) {
    return std::make_shared<DashDownloadObserver>(set);
}

std::shared_ptr<DashEventNotifier> DashFactory::getDashEventNotifier() {
    return mNotifier;
}

}  // namespace dash
