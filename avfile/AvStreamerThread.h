#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "avfile/AvStreamer.h"

namespace avfile {

// The streamer handed to the host: an AvStreamer with one worker thread that calls step() over
// and over. The worker is started by the first successful setPosition and, after it has ended
// (stop()), by the next successful setPosition; a failed setPosition starts none.
//
// Pacing of the worker after each step(): 1 s in Buffering, EndOfFile and Error; 100 us (usleep)
// in every other state. A playing stream is thus paced by the packet buffer's wait on the
// host's ring. The worker ends only through Stopped. Decision: the one-second pause is a wait that
// stop() cuts short (the 100 us one is a plain usleep), so that stop() and destruction of a
// buffering or finished stream return at once instead of after up to a second; nothing else
// wakes it, so the polling rate of a starving or finished stream is unchanged.
//
// Exceptions escaping step() (a feeder's or the router's) are not caught by the worker: by the
// standard thread rules they end the process. This is intended; hosts that want a last word
// install a terminate handler.
//
// Destruction empties the ring and drops all further output (which frees a worker blocked on a
// full ring), stops and joins the worker. It must not run on the worker itself (from a listener
// callback).
//
// Threads: setPosition and the destructor run on host threads; run() on the worker. The running
// flag is written by both and is atomic. The worker checks for Stopped and clears the running flag
// in one step under the streamer's lock, and setPosition checks the flag under the same lock, so a
// positioning that races with the end of the worker either keeps the old worker going or starts a
// new one, never neither.
class AvStreamerThread : public AvStreamer {
public:
    AvStreamerThread(std::shared_ptr<IAvFile> file, std::shared_ptr<IAvRouter> router,
                     std::shared_ptr<IAvPacketBuffer> packetBuffer);
    ~AvStreamerThread() override;

    bool setPosition(uint64_t positionMs, AvSampleFilter filter) override;
    // Stopped, and a worker in its one-second pause wakes up to end.
    void stop() override;

    // The worker's body: step() until the state is Stopped.
    void run();

    // True from the start of a worker until its loop has ended.
    bool isRunning() const { return mRunning.load(); }

private:
    // The one-second pause; returns early when stop() was called since `stops` was read.
    void pauseUntilStopped(unsigned stops);

    std::thread mWorker;
    std::atomic<bool> mRunning;
    // Wakes the worker's one-second pause. Taken after the streamer's lock, never before it.
    std::mutex mPauseMutex;
    std::condition_variable mPauseWake;
    unsigned mStops = 0;  // stop() calls so far, under mPauseMutex
};

}  // namespace avfile
