#include "avfile/AvStreamerThread.h"

#include <unistd.h>

#include <utility>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvStreamerThread")

namespace avfile {

namespace {
const useconds_t kSlowPollUs = 1000000;  // Buffering, EndOfFile, Error
const useconds_t kFastPollUs = 100;      // every other state
}  // namespace

AvStreamerThread::AvStreamerThread(std::shared_ptr<IAvFile> file,
                                   std::shared_ptr<IAvRouter> router,
                                   std::shared_ptr<IAvPacketBuffer> packetBuffer)
    : AvStreamer(std::move(file), std::move(router), std::move(packetBuffer)), mRunning(false) {}

AvStreamerThread::~AvStreamerThread() {
    {
        std::lock_guard<std::recursive_mutex> lock(mutex());
        packetBuffer().discardData(true);
        stop();
    }
    if (mWorker.joinable()) {
        mWorker.join();
    }
}

bool AvStreamerThread::setPosition(uint64_t positionMs, AvSampleFilter filter) {
    std::lock_guard<std::recursive_mutex> lock(mutex());
    if (!AvStreamer::setPosition(positionMs, filter)) {
        return false;
    }
    if (mRunning.load()) {
        return true;  // the running worker picks up the new position
    }
    if (mWorker.joinable()) {
        mWorker.join();  // has cleared the flag under the lock; nothing left but returning
    }
    mRunning.store(true);
    mWorker = std::thread(&AvStreamerThread::run, this);
    return true;
}

void AvStreamerThread::run() {
    ZUN_LOG(0, "Thread start");
    for (;;) {
        {
            std::lock_guard<std::recursive_mutex> lock(mutex());
            if (getState() == AvStreamerState::Stopped) {
                ZUN_LOG(0, "Thread end");
                mRunning.store(false);
                return;
            }
        }
        step();
        const AvStreamerState state = getState();
        if (state == AvStreamerState::Buffering || state == AvStreamerState::EndOfFile ||
            state == AvStreamerState::Error) {
            usleep(kSlowPollUs);
        } else {
            usleep(kFastPollUs);
        }
    }
}

}  // namespace avfile
