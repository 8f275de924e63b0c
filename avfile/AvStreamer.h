#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "avfile/AvSample.h"
#include "avfile/AvSampleFilter.h"
#include "avfile/AvStreamerState.h"
#include "avfile/IAvFile.h"
#include "avfile/IAvPacketBuffer.h"
#include "avfile/IAvRouter.h"
#include "avfile/IAvStreamer.h"
#include "avfile/IAvStreamerListener.h"

namespace avfile {

// Drives the playback of one opened file: registers the file's tracks with the router, positions
// the file, and on every step() pulls one sample and pushes it through the router into the packet
// buffer, reporting state changes, the track list and errors to its listeners. It owns no thread:
// AvStreamerThread calls step() in a loop.
//
// States: Initializing -> (first setPosition) Starting -> Playing / Buffering / EndOfFile by
// step(); any later positioning goes to Buffering (through Starting from EndOfFile, Stopped or
// KeyframeSent); a failed positioning or a failing getNextSample gives Error; stop() gives Stopped
// from any state; under the key-frame filter a fed video sample gives KeyframeSent, where step()
// does nothing until the host positions again. Only Starting, Buffering and Playing make progress.
//
// The first setPosition ignores its position: playback starts where the file stands and
// jumpToTime is not called. Later ones seek the timing track with jumpToTime (milliseconds).
//
// Errors: exceptions of the file (getNextSample, jumpToTime) become the Error state, a log line and
// one onAvError per listener (AvBaseException) or only the log line "Hit unknown error" (anything
// else). Exceptions of the router and the feeders leave step() unchanged. Exceptions of listeners
// are caught and logged, never propagated.
//
// Threads: any host thread may call the public operations; they and step() are serialised by one
// recursive mutex that guards the state, the listeners, the filter and the router. step() feeds
// the sample outside the lock, so that stop() or setPosition() are not held up by a full ring;
// setPosition empties the ring, which frees a feeder blocked on it. setPlaybackRate goes straight
// to the file without the lock. Listener callbacks run with the lock held, on the calling thread,
// and may call back into the streamer.
//
// Decisions of this implementation:
// - Listeners are called from a snapshot of the list taken when the event happens, so a listener
//   may add or remove listeners from its callback; each hears the state the change went to.
// - A jumpToTime that answers false is logged ("jumpToTime to %llu ms failed"); the positioning
//   still succeeds and playback continues from wherever the file stands.
// - After feeding a video sample under the key-frame filter, KeyframeSent is entered only when the
//   state is still Playing: a stop() or setPosition() made by the host while the sample was being
//   fed is not overwritten (otherwise a stop could be lost and the thread would never end).
// - Null file, router or packet buffer: the constructor throws std::invalid_argument.
// - step() reads into one sample record that the streamer keeps and reuses (emptied before each
//   read, so the file sees a zeroed record as if it were new): its payload is reserved to
//   kSampleReserveBytes at construction and keeps the capacity of the largest sample, so a steady
//   stream allocates nothing per sample (only a sample larger than all before it and than the
//   reservation makes it grow, by doubling). The record is used
//   without the lock while it is fed, so step() must not run on two threads at once (the
//   streamer thread is its one caller). It holds the last sample's bytes and a reference to its
//   codec data until the next step().
class AvStreamer : public IAvStreamer {
public:
    // Payload bytes reserved once for step()'s sample record: a key frame of 720p H.264 at a few
    // Mbit/s fits.
    static const size_t kSampleReserveBytes = 256 * 1024;

    AvStreamer(std::shared_ptr<IAvFile> file, std::shared_ptr<IAvRouter> router,
               std::shared_ptr<IAvPacketBuffer> packetBuffer);
    ~AvStreamer() override;
    AvStreamer(const AvStreamer&) = delete;
    AvStreamer& operator=(const AvStreamer&) = delete;

    // First call: registers the tracks (false and Error when no track has a feeder), ignores
    // `positionMs`. Later calls: seek to `positionMs` (milliseconds) on the timing track. Both
    // then apply `filter` and empty the ring until the next step() resumes output with a pack
    // header.
    bool setPosition(uint64_t positionMs, AvSampleFilter filter) override;
    // Listeners are not owned and must stay alive while registered. No duplicate check.
    void addListener(IAvStreamerListener& listener) override;
    // Removes the first registration of `listener`; unknown listeners change nothing.
    void removeListener(IAvStreamerListener& listener) override;
    AvStreamerState getState() const override;
    void stop() override;
    // Milliseconds, from the timing track's last fed PTS.
    uint64_t getPosition() const override;
    uint32_t getTimingTrack() const override;
    void setPlaybackRate(int rate) override;
    void step() override;

protected:
    // The lock that serialises the public operations and step(); recursive.
    std::recursive_mutex& mutex() const { return mMutex; }
    IAvPacketBuffer& packetBuffer() const { return *mPacketBuffer; }
    // Caller holds the lock. Does nothing when `next` is the current state.
    void setState(AvStreamerState next);

private:
    void notifyTracks();
    void notifyError(const AvBaseException& error);

    std::shared_ptr<IAvFile> mFile;
    std::shared_ptr<IAvRouter> mRouter;
    std::shared_ptr<IAvPacketBuffer> mPacketBuffer;
    AvSampleFilter mFilter;
    std::vector<IAvStreamerListener*> mListeners;
    AvStreamerState mState;
    bool mResume;  // set by setPosition, consumed by step: resume output with a pack header
    AvSample mSample;  // step()'s sample record, reused (step() runs on one thread at a time)
    mutable std::recursive_mutex mMutex;
};

}  // namespace avfile
