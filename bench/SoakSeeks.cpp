// The seeking half of the long run (scripts/long-run.sh): a host that positions one streamer over
// a local MP4 again and again for a given time, so that the script can watch the process's memory,
// threads and descriptors stay flat.
//
//   SoakSeeks MP4 SECONDS [SEED]
//
// Opens MP4 through the service (linked in, as the tests do), creates a streamer over a 256 KiB
// ContigMemBuffer ring and drains the ring at full speed on a reader thread. Until SECONDS of wall
// time have passed it repeats, chosen by a 64-bit Mersenne Twister seeded with SEED (default: the
// clock; printed on the first line so that a run can be repeated):
//   70 %  a seek to a random position (milliseconds in [0, duration)), all samples, rate 1000;
//   15 %  trick play: a rate of +-2000, +-4000 or +-8000 thousandths, key frames only, 3 to 10
//         positionings |rate| ms apart, each awaited until its key frame is out (KeyframeSent) or
//         the file has ended;
//   15 %  play-through: back to 0, the whole file drained until EndOfFile with an empty ring, then
//         back to 0 once more;
// with a pause of 100 to 500 ms after each seek.
//
// Checked after every positioning: the first unit the reader takes from the ring is an MPEG-2 pack
// header (ISO/IEC 13818-1, 2.5.3.3). The host parks the reader while it positions the streamer, and
// each read takes everything in the ring (the chunk is as large as the ring, which only ever holds
// whole units), so every read is a run of whole units. Whole PES packets (2.4.3.6: 00 00 01, stream
// id E0 or C0, 16-bit length) in front of that pack header are allowed and counted: the streamer
// thread feeds outside the streamer's lock and may commit one last packet of the old position
// after the ring was emptied. Anything else before the pack header, a pack header that does not come
// within kPackTimeoutMs, a failed positioning, an error reported to the listener, or a wait that
// times out fails the run.
//
// Every read is also parsed as a run of pack headers and PES packets. One irregularity is expected
// and only counted ("stale PES headers"): the packet buffer keeps the bytes it has staged when a
// seek makes it drop data, so a seek that lands between the header and the payload of a packet
// leaves that header in front of the first packet after the pack header. It is recognised by a PES
// header whose payload starts with another PES start code (a real payload starts with an H.264
// start code and a NAL header below 0x80, or an ADTS sync word). Any other framing fault fails the
// run; the bytes are shown.
//
// Output: the seed line, one progress line a minute, one summary line; exit status 0 when nothing
// failed, 1 otherwise (the first failure on standard error), 2 for a usage error.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "avfile/IAvStreamer.h"
#include "avfile/IAvStreamerListener.h"
#include "bench/BenchHost.h"
#include "tests/common/WaitFor.h"

namespace {

using Clock = std::chrono::steady_clock;
using avfile::AvSampleFilter;
using avfile::AvStreamerState;

const size_t kRingBytes = 256 * 1024;
const uint32_t kReadWaitMs = 20;
const std::chrono::milliseconds kPackTimeoutMs(5000);      // the streamer polls once a second at most
const std::chrono::milliseconds kKeyFrameTimeoutMs(5000);
const std::chrono::milliseconds kPlayThroughTimeoutMs(120000);
const std::chrono::seconds kProgressEvery(60);
const int kTrickRates[] = {2000, 4000, 8000, -2000, -4000, -8000};

std::string hexBytes(const uint8_t* data, size_t size) {
    std::string text;
    char byte[4];
    for (size_t i = 0; i < size; ++i) {
        std::snprintf(byte, sizeof(byte), "%s%02x", i ? " " : "", data[i]);
        text += byte;
    }
    return text;
}

// The reader side of the ring: drains it on a thread of its own and checks the framing. Counters
// are atomics read by the main thread; park/resume are called by the main thread only.
class RingChecker {
public:
    explicit RingChecker(std::shared_ptr<ContigMemBuffer> ring)
        : mRing(std::move(ring)), mChunk(mRing->capacity()), mThread([this] { run(); }) {}

    ~RingChecker() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mStop = true;
        }
        mWake.notify_all();
        mThread.join();
    }

    // Waits until the reader is parked outside read(); it stays there until resume().
    void park() {
        std::unique_lock<std::mutex> lock(mMutex);
        mParkWanted = true;
        mWake.wait(lock, [this] { return mParked; });
    }

    // Lets the reader go on; the next unit it takes must be a pack header (after stale packets).
    void resumeExpectingPack() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mParkWanted = false;
            mExpectPack = true;
        }
        mWake.notify_all();
    }

    uint64_t packFirstCount() const { return mPackFirst.load(); }
    uint64_t staleBeforePack() const { return mStaleBeforePack.load(); }
    uint64_t staleHeaders() const { return mStaleHeaders.load(); }
    uint64_t bytes() const { return mBytes.load(); }
    uint64_t faults() const { return mFaults.load(); }
    std::string firstFault() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mFirstFault;
    }

private:
    void run() {
        for (;;) {
            {
                std::unique_lock<std::mutex> lock(mMutex);
                if (mParkWanted) {
                    mParked = true;
                    mWake.notify_all();
                    mWake.wait(lock, [this] { return !mParkWanted || mStop; });
                    mParked = false;
                }
                if (mStop) {
                    return;
                }
            }
            size_t n = mRing->read(mChunk.data(), mChunk.size(), kReadWaitMs);
            if (n > 0) {
                mBytes += n;
                parse(mChunk.data(), n);
            }
        }
    }

    void fault(const std::string& what, const uint8_t* at, size_t left) {
        if (mFaults++ == 0) {
            std::lock_guard<std::mutex> lock(mMutex);
            mFirstFault = what + ": " + hexBytes(at, left < 24 ? left : 24);
        }
    }

    static bool isPesStart(const uint8_t* p, size_t left) {
        return left >= 6 && p[0] == 0 && p[1] == 0 && p[2] == 1 && (p[3] == 0xE0 || p[3] == 0xC0);
    }

    // `data` holds whole units (see the file comment); mExpectPack is only written by the main
    // thread while this thread is parked.
    void parse(const uint8_t* data, size_t size) {
        size_t off = 0;
        while (off < size) {
            const uint8_t* p = data + off;
            const size_t left = size - off;
            if (left >= 14 && p[0] == 0 && p[1] == 0 && p[2] == 1 && p[3] == 0xBA) {
                const size_t length = 14 + (p[13] & 7);
                if (length > left) {
                    return fault("pack header cut off", p, left);
                }
                if (mExpectPack) {
                    mExpectPack = false;
                    ++mPackFirst;
                }
                off += length;
            } else if (isPesStart(p, left)) {
                const size_t length = 6 + ((static_cast<size_t>(p[4]) << 8) | p[5]);
                if (length > left) {
                    return fault("PES packet cut off", p, left);
                }
                if (mExpectPack) {
                    ++mStaleBeforePack;
                } else if (left >= 9 && 9 + static_cast<size_t>(p[8]) < length &&
                           isPesStart(p + 9 + p[8], left - 9 - p[8])) {
                    // A header staged before a seek, in front of the next packet: skip the header.
                    ++mStaleHeaders;
                    off += 9 + p[8];
                    continue;
                }
                off += length;
            } else {
                return fault(mExpectPack ? "not a pack header after a positioning"
                                         : "neither a pack header nor a PES packet",
                             p, left);
            }
        }
    }

    std::shared_ptr<ContigMemBuffer> mRing;
    std::vector<uint8_t> mChunk;
    mutable std::mutex mMutex;
    std::condition_variable mWake;
    bool mParkWanted = false;
    bool mParked = false;
    bool mStop = false;
    bool mExpectPack = true;  // the first positioning also starts with a pack header
    std::string mFirstFault;
    std::atomic<uint64_t> mPackFirst{0};
    std::atomic<uint64_t> mStaleBeforePack{0};
    std::atomic<uint64_t> mStaleHeaders{0};
    std::atomic<uint64_t> mBytes{0};
    std::atomic<uint64_t> mFaults{0};
    std::thread mThread;  // last: started once everything above is constructed
};

class ErrorListener : public avfile::IAvStreamerListener {
public:
    void onAvTracks() override {}
    void onAvStateChanged(const AvStreamerState&) override {}
    void onAvError(const avfile::AvBaseException& error) override {
        if (mErrors++ == 0) {
            std::lock_guard<std::mutex> lock(mMutex);
            mFirst = error.what();
        }
    }
    uint64_t errors() const { return mErrors.load(); }
    std::string first() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mFirst;
    }

private:
    std::atomic<uint64_t> mErrors{0};
    mutable std::mutex mMutex;
    std::string mFirst;
};

[[noreturn]] void fail(const std::string& message) { velar_bench::fail("SoakSeeks", message); }

class Soak {
public:
    Soak(std::shared_ptr<avfile::IAvStreamer> streamer, std::shared_ptr<ContigMemBuffer> ring,
         uint64_t durationMs, uint64_t seed)
        : mStreamer(std::move(streamer)), mRing(std::move(ring)), mDurationMs(durationMs),
          mRandom(seed), mChecker(mRing) {
        mStreamer->addListener(mListener);
    }
    // The streamer goes first: its destructor empties the ring, stops and joins its thread while
    // the reader still runs; the reader is joined after it.
    ~Soak() {
        mStreamer->removeListener(mListener);
        mStreamer.reset();
    }

    void run(std::chrono::seconds length) {
        const Clock::time_point start = Clock::now();
        Clock::time_point nextProgress = start + kProgressEvery;
        position(0, AvSampleFilter::AllSamples);
        while (Clock::now() - start < length) {
            const uint32_t action = static_cast<uint32_t>(mRandom() % 100);
            if (action < 70) {
                mStreamer->setPlaybackRate(1000);
                position(mRandom() % mDurationMs, AvSampleFilter::AllSamples);
                ++mSeeks;
                std::this_thread::sleep_for(std::chrono::milliseconds(100 + mRandom() % 401));
            } else if (action < 85) {
                trickPlay();
            } else {
                playThrough();
            }
            if (Clock::now() >= nextProgress && Clock::now() - start < length) {
                nextProgress += kProgressEvery;
                report("progress", Clock::now() - start);
            }
        }
        report("summary", Clock::now() - start);
        if (mChecker.faults() > 0) {
            std::fprintf(stderr, "SoakSeeks: %s\n", mChecker.firstFault().c_str());
        }
    }

    bool failed() const { return mChecker.faults() > 0; }

private:
    // One positioning with the reader parked, then the pack-header check.
    void position(uint64_t ms, AvSampleFilter filter) {
        const uint64_t before = mChecker.packFirstCount();
        mChecker.park();
        const bool ok = mStreamer->setPosition(ms, filter);
        mChecker.resumeExpectingPack();
        ++mPositionings;
        if (!ok) {
            fail("setPosition(" + std::to_string(ms) + ") failed: " + mListener.first());
        }
        if (!velar_test::waitFor([&] { return mChecker.packFirstCount() > before ||
                                              mChecker.faults() > 0; },
                                 kPackTimeoutMs)) {
            fail("no pack header within 5 s after setPosition(" + std::to_string(ms) + ")");
        }
        if (mChecker.faults() > 0) {
            fail("after setPosition(" + std::to_string(ms) + "): " + mChecker.firstFault());
        }
        if (mListener.errors() > 0) {
            fail("streamer error: " + mListener.first());
        }
    }

    void trickPlay() {
        const int rate = kTrickRates[mRandom() % (sizeof(kTrickRates) / sizeof(kTrickRates[0]))];
        const uint32_t steps = 3 + static_cast<uint32_t>(mRandom() % 8);
        uint64_t target = mRandom() % mDurationMs;
        mStreamer->setPlaybackRate(rate);
        for (uint32_t i = 0; i < steps; ++i) {
            position(target, AvSampleFilter::KeyFramesOnly);
            ++mTrickPositionings;
            if (!velar_test::waitFor([&] {
                    AvStreamerState state = mStreamer->getState();
                    return state == AvStreamerState::KeyframeSent ||
                           state == AvStreamerState::EndOfFile;
                }, kKeyFrameTimeoutMs)) {
                fail("no key frame within 5 s at " + std::to_string(target) + " ms, rate " +
                     std::to_string(rate) + ", state " + toString(mStreamer->getState()));
            }
            const uint64_t step = static_cast<uint64_t>(rate < 0 ? -rate : rate);
            if (rate < 0) {
                target = target > step ? target - step : 0;
            } else {
                target = target + step < mDurationMs ? target + step : 0;
            }
        }
        mStreamer->setPlaybackRate(1000);
    }

    void playThrough() {
        mStreamer->setPlaybackRate(1000);
        position(0, AvSampleFilter::AllSamples);
        if (!velar_test::waitFor([&] {
                return mStreamer->getState() == AvStreamerState::EndOfFile && mRing->size() == 0;
            }, kPlayThroughTimeoutMs)) {
            fail("the file was not played to its end within 120 s, state " +
                 toString(mStreamer->getState()));
        }
        position(0, AvSampleFilter::AllSamples);
        ++mPlayThroughs;
    }

    void report(const char* what, Clock::duration elapsed) {
        std::printf("SoakSeeks %s: %.0f s, %llu positionings (%llu seeks, %llu trick play, "
                    "%llu play-throughs), %llu MiB read, %llu pack headers first, %llu stale "
                    "packets before them, %llu stale PES headers, %llu framing faults\n",
                    what, std::chrono::duration<double>(elapsed).count(),
                    static_cast<unsigned long long>(mPositionings),
                    static_cast<unsigned long long>(mSeeks),
                    static_cast<unsigned long long>(mTrickPositionings),
                    static_cast<unsigned long long>(mPlayThroughs),
                    static_cast<unsigned long long>(mChecker.bytes() >> 20),
                    static_cast<unsigned long long>(mChecker.packFirstCount()),
                    static_cast<unsigned long long>(mChecker.staleBeforePack()),
                    static_cast<unsigned long long>(mChecker.staleHeaders()),
                    static_cast<unsigned long long>(mChecker.faults()));
        std::fflush(stdout);
    }

    std::shared_ptr<avfile::IAvStreamer> mStreamer;
    std::shared_ptr<ContigMemBuffer> mRing;
    uint64_t mDurationMs;
    std::mt19937_64 mRandom;
    ErrorListener mListener;
    RingChecker mChecker;
    uint64_t mPositionings = 0;
    uint64_t mSeeks = 0;
    uint64_t mTrickPositionings = 0;
    uint64_t mPlayThroughs = 0;
};

bool parseNumber(const char* text, uint64_t& value) {
    char* end = nullptr;
    value = std::strtoull(text, &end, 10);
    return text[0] >= '0' && text[0] <= '9' && *end == '\0';
}

}  // namespace

int main(int argc, char* argv[]) {
    uint64_t seconds = 0;
    uint64_t seed = static_cast<uint64_t>(Clock::now().time_since_epoch().count());
    if (argc < 3 || argc > 4 || !parseNumber(argv[2], seconds) || seconds == 0 ||
        (argc == 4 && !parseNumber(argv[3], seed))) {
        std::fprintf(stderr, "usage: SoakSeeks MP4 SECONDS [SEED]\n");
        return 2;
    }
    std::printf("SoakSeeks: seed %llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);

    velar_bench::BenchHost host("SoakSeeks", argv[1], "video/mp4", kRingBytes);
    if (host.file->getDuration() == 0) {
        fail(std::string(argv[1]) + " has no duration");
    }

    bool failed = false;
    {
        Soak soak(std::move(host.streamer), host.ring, host.file->getDuration(), seed);
        soak.run(std::chrono::seconds(seconds));
        failed = soak.failed();
    }
    return failed ? 1 : 0;
}
