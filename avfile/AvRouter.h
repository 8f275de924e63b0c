#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "avfile/IAvFeederFactory.h"
#include "avfile/IAvRouter.h"

namespace avfile {

// Hands each sample to the feeder of its track and follows the presentation time of one chosen
// track, the timing track.
//
// Timing track: a track whose feeder says isTimingTrack() (video) always takes the role, the last
// one added winning; any other track takes it only while no track holds it. Samples of tracks that
// got no feeder (subtitles, unknown codecs) are dropped silently.
//
// noTracks() answers true when at least one track HAS a feeder: the name says the opposite of the
// answer, and the streamer relies on exactly this answer. Keep both as they are.
//
// Threads: used by the streamer under the streamer's lock, except feedSample, which the streamer
// thread calls outside that lock while host threads may read getCurrentPtsMs(). The track table
// is only changed before the streamer thread starts; the current PTS is atomic so that the
// position can be read while a sample is being fed.
class AvRouter : public IAvRouter {
public:
    // Track id meaning "no timing track".
    static const uint32_t kNoTrack = 0xFFFFFFFFu;

    // Throws std::invalid_argument for an empty factory.
    explicit AvRouter(std::shared_ptr<IAvFeederFactory> feederFactory);
    ~AvRouter() override;

    // Registers `track` with a feeder for `codec`; ignored when the factory has none. A track id
    // already present keeps its first feeder.
    void addTrack(unsigned int track, std::string codec) override;
    // Forgets every track and the timing track; the current PTS stays.
    void clearTracks() override;
    bool noTracks() const override;
    // Timing track's last fed PTS in milliseconds (90 kHz ticks / 90, truncated).
    uint64_t getCurrentPtsMs() const override;
    uint32_t getTimingTrack() const override;
    // Feeds the sample to its track's feeder (the feeder's exceptions pass through); then, for the
    // timing track, takes the sample's PTS as the current PTS.
    void feedSample(const AvSample& sample) override;

private:
    std::shared_ptr<IAvFeederFactory> mFeederFactory;
    std::map<uint32_t, std::shared_ptr<IAvFeeder>> mFeeders;
    uint32_t mTimingTrack;
    std::atomic<uint64_t> mCurrentPts;  // 90 kHz ticks
};

}  // namespace avfile
