#include "dash/DashDownloadCommand.h"

#include <utility>

#include "dash/DashFactoryBuilder.h"
#include "dash/DashQueuedSegment.h"
#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashDownloadCommand")

namespace dash {

DashDownloadCommand::DashDownloadCommand(const std::string& url)
    : mFactory(DashFactoryBuilder::getInstance()->getDashFactory()) {
    DashUtil::throwIfTrue(mFactory == nullptr, FAIL_UNKNOWN_ERROR, "No DASH factory");
    mDownloader = mFactory->createDashDownloader(url);
    DashUtil::throwIfTrue(mDownloader == nullptr, FAIL_UNKNOWN_ERROR, "No downloader for " + url);
}

bool DashDownloadCommand::start() {
    if (!mDownloader->init()) {
        ZUN_LOG(0, "Downloader init failed");
        return false;
    }
    if (!mDownloader->startDownload()) {
        ZUN_LOG(0, "Can't start dash streaming, please check downloader status");
        return false;
    }
    return true;
}

bool DashDownloadCommand::cancel() {
    return mDownloader->cancel();
}

bool DashDownloadCommand::seek(std::string mimeType, uint64_t ms) {
    return mDownloader->seek(std::move(mimeType), ms);
}

DashDownloadStatus DashDownloadCommand::getStatus() {
    return mDownloader->getStatus();
}

bool DashDownloadCommand::getBufferedSegment(std::string mimeType, std::vector<uint8_t>& data, uint64_t& positionMs) {
    std::shared_ptr<IDashAdaptationSet> set = mDownloader->getAdaptationSet(mimeType);
    if (set == nullptr) {
        ZUN_LOG(0, "No adaptationSet found for %s", mimeType.c_str());
        return false;
    }
    DashQueuedSegment segment;
    if (!set->getBufferedSegment(segment) || segment.data.empty()) {
        ZUN_LOG(0, "No buffer segment for %s, status is %s", mimeType.c_str(), toString(getStatus()).c_str());
        return false;
    }
    if (segment.representation != nullptr) {
        const std::vector<uint8_t>& init = segment.representation->initBuffer;
        data.insert(data.end(), init.begin(), init.end());
    }
    data.insert(data.end(), segment.data.begin(), segment.data.end());
    positionMs = segment.posMs;
    return true;
}

DashCapability DashDownloadCommand::getDashCapability() {
    return mDownloader->getCapability();
}

void DashDownloadCommand::setDashConfig(DashConfig /*config*/) {}

void DashDownloadCommand::registerListener(const DashDownloadEvent& event, std::function<void()> listener) {
    mFactory->getDashEventNotifier()->registerListener(event, std::move(listener));
}

void DashDownloadCommand::setTrickMode(int rate) {
    ZUN_LOG(0, "Set trick mode: %d", rate);
    mDownloader->setTrickMode(rate);
}

bool DashDownloadCommand::findSegmentPosition(std::string mimeType, uint64_t& positionMs, uint64_t& segmentDurationMs) {
    std::shared_ptr<IDashAdaptationSet> set = mDownloader->getAdaptationSet(mimeType);
    if (set == nullptr) {
        return false;
    }
    try {
        return set->findSegmentPosition(positionMs, segmentDurationMs);
    } catch (const std::exception& e) {
        ZUN_LOG(0, "end, Segment position of %s not found: %s", mimeType.c_str(), e.what());
        return false;
    }
}

}  // namespace dash
