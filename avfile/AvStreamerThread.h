#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "avfile/AvStreamer.h"

namespace avfile {

// The streamer handed to the host: an AvStreamer with one worker thread that calls step() over
// and over. The worker is started by the first successful setPosition and, after it has ended
// (stop()), by the next successful setPosition; a failed setPosition starts none.
//
// Pacing of the worker after each step(): 1 s (usleep 1000000) in Buffering, EndOfFile and Error;
// 100 us in every other state. A playing stream is thus paced by the packet buffer's wait on the
// host's ring. The worker ends only through Stopped.
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

    // The worker's body: step() until the state is Stopped.
    void run();

    // True from the start of a worker until its loop has ended.
    bool isRunning() const { return mRunning.load(); }

private:
    std::thread mWorker;
    std::atomic<bool> mRunning;
};

}  // namespace avfile
