#include "tools/PlayerListener.h"

namespace velar_play {

void PlayerListener::onAvTracks() {}

void PlayerListener::onAvStateChanged(const avfile::AvStreamerState&) {
    std::lock_guard<std::mutex> lock(mMutex);
    ++mStateChanges;
}

void PlayerListener::onAvError(const avfile::AvBaseException& error) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mHasError) {
        mHasError = true;
        mErrorText = error.what();
    }
}

bool PlayerListener::hasError() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mHasError;
}

std::string PlayerListener::errorText() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mErrorText;
}

uint64_t PlayerListener::stateChanges() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mStateChanges;
}

}  // namespace velar_play
