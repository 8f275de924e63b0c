#include "avfile/AvStreamer.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "avfile/AvBaseException.h"
#include "avfile/AvSample.h"
#include "avfile/AvStatus.h"
#include "avfile/AvTrack.h"
#include "avfile/AvTrackType.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvStreamer")

namespace avfile {

AvStreamer::AvStreamer(std::shared_ptr<IAvFile> file, std::shared_ptr<IAvRouter> router,
                       std::shared_ptr<IAvPacketBuffer> packetBuffer)
    : mFile(std::move(file)),
      mRouter(std::move(router)),
      mPacketBuffer(std::move(packetBuffer)),
      mFilter(AvSampleFilter::AllSamples),
      mState(AvStreamerState::Initializing),
      mResume(false) {
    if (!mFile || !mRouter || !mPacketBuffer) {
        throw std::invalid_argument("AvStreamer needs a file, a router and a packet buffer");
    }
    mSample.data.reserve(kSampleReserveBytes);
    ZUN_LOG(0, "AvStreamer ready!");
}

AvStreamer::~AvStreamer() {}

void AvStreamer::setState(AvStreamerState next) {
    if (next == mState) {
        return;
    }
    ZUN_LOG(0, "Changing state from %s to %s", toString(mState).c_str(), toString(next).c_str());
    mState = next;
    const std::vector<IAvStreamerListener*> listeners = mListeners;
    for (IAvStreamerListener* listener : listeners) {
        try {
            listener->onAvStateChanged(next);
        } catch (...) {
            ZUN_LOG(0, "onAvStateChanged failed");
        }
    }
}

void AvStreamer::notifyTracks() {
    const std::vector<IAvStreamerListener*> listeners = mListeners;
    for (IAvStreamerListener* listener : listeners) {
        try {
            listener->onAvTracks();
        } catch (...) {
            ZUN_LOG(0, "onAvTracks failed");
        }
    }
}

void AvStreamer::notifyError(const AvBaseException& error) {
    const std::vector<IAvStreamerListener*> listeners = mListeners;
    for (IAvStreamerListener* listener : listeners) {
        try {
            listener->onAvError(error);
        } catch (...) {
            ZUN_LOG(0, "onAvError failed");
        }
    }
}

bool AvStreamer::setPosition(uint64_t positionMs, AvSampleFilter filter) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    const AvStreamerState old = mState;

    if (old == AvStreamerState::Initializing) {
        // First positioning: register the tracks; the position is not used.
        setState(AvStreamerState::Starting);
        for (const AvTrack& track : mFile->getTracks()) {
            ZUN_LOG(0, "Adding track %s", track.toString().c_str());
            mRouter->addTrack(track.id, track.codec);
        }
        if (!mRouter->noTracks()) {  // true when at least one track has a feeder
            setState(AvStreamerState::Error);
            return false;
        }
        notifyTracks();
        mFilter = filter;
    } else {
        if (old == AvStreamerState::EndOfFile || old == AvStreamerState::Stopped ||
            old == AvStreamerState::KeyframeSent) {
            setState(AvStreamerState::Starting);
        }
        mFilter = filter;
        setState(AvStreamerState::Buffering);
        try {
            if (!mFile->jumpToTime(mRouter->getTimingTrack(), positionMs)) {
                ZUN_LOG(0, "jumpToTime to %llu ms failed", static_cast<unsigned long long>(positionMs));
            }
        } catch (const AvBaseException& e) {
            ZUN_LOG(0, "Hit error %s", e.what());
            notifyError(e);
            setState(AvStreamerState::Error);
            return false;
        } catch (...) {
            ZUN_LOG(0, "Hit unknown error");
            setState(AvStreamerState::Error);
            return false;
        }
    }

    mFile->setSampleFilter(filter);
    mResume = true;
    mPacketBuffer->discardData(true);
    return true;
}

void AvStreamer::addListener(IAvStreamerListener& listener) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    mListeners.push_back(&listener);
}

void AvStreamer::removeListener(IAvStreamerListener& listener) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    auto it = std::find(mListeners.begin(), mListeners.end(), &listener);
    if (it != mListeners.end()) {
        mListeners.erase(it);
    }
}

AvStreamerState AvStreamer::getState() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mState;
}

void AvStreamer::stop() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    setState(AvStreamerState::Stopped);
}

uint64_t AvStreamer::getPosition() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mRouter->getCurrentPtsMs();
}

uint32_t AvStreamer::getTimingTrack() const {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    return mRouter->getTimingTrack();
}

void AvStreamer::setPlaybackRate(int rate) { mFile->setPlaybackRate(rate); }

void AvStreamer::step() {
    AvSample& sample = mSample;
    AvSampleFilter filter;
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        if (mState != AvStreamerState::Starting && mState != AvStreamerState::Buffering &&
            mState != AvStreamerState::Playing) {
            return;
        }
        if (mResume) {
            mPacketBuffer->discardData(false);  // empty the ring, pack header, accept data again
            mResume = false;
        }

        filter = mFilter;
        sample.clear();  // as a fresh record, keeping the payload's capacity
        AvStatus status;
        try {
            status = mFile->getNextSample(sample);
        } catch (const AvBaseException& e) {
            ZUN_LOG(0, "Hit error %s", e.what());
            notifyError(e);
            setState(AvStreamerState::Error);
            return;
        } catch (...) {
            ZUN_LOG(0, "Hit unknown error");
            setState(AvStreamerState::Error);
            return;
        }

        switch (status) {
            case AvStatus::OK:
                setState(AvStreamerState::Playing);
                break;
            case AvStatus::EndOfFile:
                setState(AvStreamerState::EndOfFile);
                return;
            case AvStatus::NotEnoughData:
                setState(AvStreamerState::Buffering);
                return;
            default:
                ZUN_LOG(0, "Unknown state %s", toString(status).c_str());
                return;
        }
    }

    // Outside the lock: this may block in the packet buffer while the host drains the ring.
    // Exceptions of the router and the feeders leave step() here.
    mRouter->feedSample(sample);

    if (filter == AvSampleFilter::KeyFramesOnly && sample.trackInfo.type == AvTrackType::Video) {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        if (mState == AvStreamerState::Playing) {
            setState(AvStreamerState::KeyframeSent);
            if (mFilter != AvSampleFilter::KeyFramesOnly) {
                setState(AvStreamerState::Playing);
            }
        }
    }
}

}  // namespace avfile
