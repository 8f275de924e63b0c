#include "dash/AbstractDashRepresentation.h"

#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/AbstractDashRepresentation")

namespace dash {

AbstractDashRepresentation::AbstractDashRepresentation(std::shared_ptr<DashSegmentLocation> location)
    : mData(std::make_shared<DashRepresentationData>()), mLocation(std::move(location)), mLive(false) {}

std::shared_ptr<DashRepresentationData> AbstractDashRepresentation::getData() const {
    return mData;
}

void AbstractDashRepresentation::initRepresentation(std::shared_ptr<mpd::IMPD> mpd,
                                                    const mpd::IAdaptationSet& adaptationSet,
                                                    const mpd::IRepresentation& representation,
                                                    const std::vector<mpd::IBaseUrl*>& baseUrls) {
    DashUtil::throwIfTrue(mpd == nullptr, FAIL_INVALID_REP, "Unknown reason");
    mData->id = representation.GetId();
    mData->resolution = representation.GetHeight();
    mData->bandwidth = representation.GetBandwidth();
    mData->baseUrls = DashUtil::addBaseURLs(baseUrls, representation.GetBaseURLs());
    const std::string& lang = adaptationSet.GetLang();
    mData->language = lang.empty() ? "eng" : lang;
    mLive = DashUtil::isMPDLive(mpd);
}

void AbstractDashRepresentation::setInitBuffer(const std::vector<uint8_t>& buffer) {
    mData->initBuffer = buffer;
    mData->hasInitBuffer = true;
}

void AbstractDashRepresentation::updateRepData(const mpd::ISegment* segment) {
    mLocation->endReached = false;
    mLocation->beginReached = false;
    if (mData->currentSegmentTimeMs >= mData->lastSegmentTimeMs) {
        if (mLive) {
            ZUN_LOG(0, "Slow network, all segments consumed");
        } else {
            mLocation->endReached = true;
        }
    }
    if (mData->currentSegmentTimeMs <= mData->firstSegmentTimeMs) {
        mLocation->beginReached = true;
    }
    if (segment == nullptr) {
        ZUN_LOG(0, "Possible error or slow network, segment is nullptr");
    }
}

const char* AbstractDashRepresentation::markSeekEnd(SeekPosition result) {
    if (result == PastEnd && !mLive) {
        mLocation->endReached = true;
        return "Attempted to seek/find past end of segment list";
    }
    if (result == BeforeStart) {
        mLocation->beginReached = true;
        return "Attempted to seek/find before start of segment list";
    }
    return nullptr;
}

}  // namespace dash
