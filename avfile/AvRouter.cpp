#include "avfile/AvRouter.h"

#include <stdexcept>
#include <utility>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvRouter")

namespace avfile {

AvRouter::AvRouter(std::shared_ptr<IAvFeederFactory> feederFactory)
    : mFeederFactory(std::move(feederFactory)), mTimingTrack(kNoTrack), mCurrentPts(0) {
    if (!mFeederFactory) {
        throw std::invalid_argument("AvRouter needs a feeder factory");
    }
}

AvRouter::~AvRouter() {}

void AvRouter::addTrack(unsigned int track, std::string codec) {
    std::shared_ptr<IAvFeeder> feeder = mFeederFactory->getFeeder(codec);
    if (!feeder) {
        return;
    }
    mFeeders.emplace(track, feeder);  // never replaces the feeder of a known id
    if (feeder->isTimingTrack() || mTimingTrack == kNoTrack) {
        mTimingTrack = track;
    }
}

void AvRouter::clearTracks() {
    mFeeders.clear();
    mTimingTrack = kNoTrack;
}

bool AvRouter::noTracks() const { return static_cast<bool>(mFeeders.size()); }

uint64_t AvRouter::getCurrentPtsMs() const { return mCurrentPts.load() / 90; }

uint32_t AvRouter::getTimingTrack() const { return mTimingTrack; }

void AvRouter::feedSample(const AvSample& sample) {
    IAvFeeder* feeder = nullptr;
    try {
        feeder = mFeeders.at(sample.track).get();
    } catch (const std::out_of_range&) {
        return;  // no feeder for this track: the sample is dropped
    }
    feeder->feedSample(sample);
    if (sample.track == mTimingTrack) {
        mCurrentPts.store(sample.pts);
    }
}

}  // namespace avfile
