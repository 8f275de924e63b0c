#include "tools/Player.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>

#include "avfile/AvTrack.h"
#include "avfile/AvTrackType.h"
#include "avfile/IAvDashInfo.h"
#include "tools/KeyFrameStepper.h"
#include "tools/ProgressLine.h"
#include "tools/RingDrainer.h"
#include "tools/StatsWriter.h"

namespace velar_play {

using avfile::AvStreamerState;
using Clock = std::chrono::steady_clock;

namespace {

const char* const kDashMimeType = "application/dash+xml";
constexpr int kThreadSettleMs = 500;  // see release()

const char* trackTypeName(avfile::AvTrackType type) {
    switch (type) {
        case avfile::AvTrackType::Video: return "video";
        case avfile::AvTrackType::Audio: return "audio";
        case avfile::AvTrackType::Subtitle: return "subtitle";
        default: return "unknown";
    }
}

}  // namespace

Player::Player(const PlayerOptions& options, velar::IMp4Service& service, OutputStream& output)
    : mOptions(options), mService(service), mOutput(output) {}

Player::~Player() = default;

void Player::run() {
    mProgress.reset(new ProgressLine());
    if (!mOptions.statsPath.empty()) {
        mStats.reset(new StatsWriter(mOptions.statsPath));
    }
    open();
    checkTracks();
    start();
    loop();
}

void Player::open() {
    bool dashType = mOptions.mimeType == kDashMimeType;
    if (mOptions.releaseCheck) {
        mBeforeOpen = ProcessCounts::take();
    }
    mOpenStart = Clock::now();
    try {
        mFile = mService.openPath(mOptions.input, mOptions.mimeType);
    } catch (const std::exception& e) {
        // The DASH file's texts ("Invalid MPD", "Bad connection") do not name the input.
        throw PlayError(dashType ? mOptions.input + ": " + e.what() : std::string(e.what()));
    }
    if (!mFile) {
        if (dashType) {
            throw PlayError("cannot open " + mOptions.input + " as a DASH presentation");
        }
        throw PlayError("cannot open " + mOptions.input + ": MIME type \"" + mOptions.mimeType +
                        "\" is not supported");
    }
    // A cross cast to an interface of the library's file object: the type information of the
    // header-only interface is compared by name, so it works across dlopen.
    mDashInfo = dynamic_cast<avfile::IAvDashInfo*>(mFile.get());
}

void Player::checkTracks() {
    // The duration first: a DASH file brings its track descriptions up to date with it.
    mDurationMs = mFile->getDuration();
    std::vector<avfile::AvTrack> tracks = mFile->getTracks();
    for (const avfile::AvTrack& track : tracks) {
        bool video = track.type == avfile::AvTrackType::Video;
        bool audio = track.type == avfile::AvTrackType::Audio;
        if ((video || audio) && track.codec.empty()) {
            throw PlayError(mOptions.input + ": track " + std::to_string(track.id) + " is " +
                            trackTypeName(track.type) +
                            " in a codec velar cannot play (H.264 video and AAC audio only)");
        }
        if (video && !mHasVideo) {
            mHasVideo = true;
            mVideoEndMs = track.durationMs;
        }
    }
    if (mVideoEndMs == 0) {
        mVideoEndMs = mDurationMs;
    }
}

void Player::start() {
    mRing = std::make_shared<ContigMemBuffer>(mOptions.ringBytes);
    mStreamer = mService.createStreamer(mFile, mRing);
    if (!mStreamer) {
        throw PlayError("cannot create a streamer for " + mOptions.input);
    }
    mStreamer->addListener(mListener);
    mDrainer.reset(new RingDrainer(mRing, mOutput));

    mFilter = mOptions.keyFramesOnly ? avfile::AvSampleFilter::KeyFramesOnly
                                     : avfile::AvSampleFilter::AllSamples;
    bool backwards = mOptions.hasRate && mOptions.rate < 0;
    // Trick play starts at --seek, else at 0 forwards and at the end backwards.
    uint64_t firstTarget = mOptions.hasSeek ? mOptions.seekMs : (backwards ? mVideoEndMs : 0);
    if (mOptions.keyFramesOnly && mHasVideo) {
        if (mOptions.rate != 1000) {
            mStepper.reset(new KeyFrameStepper(
                KeyFrameStepper::byRate(mOptions.rate, firstTarget, mVideoEndMs)));
        } else {
            mStepper.reset(new KeyFrameStepper(backwards, mVideoEndMs));
        }
        mDrainer->setHolding(true);
    }
    if (mOptions.hasRate) {
        mStreamer->setPlaybackRate(mOptions.rate);
    }

    mStart = Clock::now();
    mLastReport = mStart;
    mLastActivity = mStart;

    // The first positioning starts the streamer thread where the file stands; its position is not
    // used.
    if (!mStreamer->setPosition(0, mFilter)) {
        if (mListener.hasError()) {
            throw PlayError(mListener.errorText());
        }
        throw PlayError(mOptions.input + ": no track velar can play");
    }
    // Trick play backwards without --seek starts from the end.
    bool seek = mOptions.hasSeek || (mStepper && backwards);
    if (seek) {
        if (!mStreamer->setPosition(firstTarget, mFilter)) {
            failWithStreamerError();
        }
        mDrainer->skipToPackHeader();
    }
}

void Player::loop() {
    for (;;) {
        size_t drained = mDrainer->drainOnce(kReadWaitMs);
        AvStreamerState state = mStreamer->getState();
        report(state, false);

        if (state == AvStreamerState::Error || mListener.hasError()) {
            failWithStreamerError();
        }
        if (state == AvStreamerState::EndOfFile && drained == 0 && mDrainer->ringEmpty()) {
            // Everything the streamer will ever write is in the output now.
            mDrainer->commitHeld();
            break;
        }
        if (mStepper && state == AvStreamerState::KeyframeSent && drained == 0 &&
            mDrainer->ringEmpty()) {
            if (!trickStep()) {
                break;
            }
            continue;
        }
        if (mOptions.hasDuration && mStreamer->getPosition() > mOptions.durationMs) {
            stopAndDrain();
            break;
        }
        if (stalled(state, drained)) {
            throw PlayError(mOptions.input + ": the file ends before the end its index announces "
                            "and has not grown for " + std::to_string(kStallMs / 1000) +
                            " s (truncated?)");
        }
    }
    report(mStreamer->getState(), true, true);
    mProgress->finish();
    if (mOptions.verbose && mDrainer->skippedBytes() > 0) {
        std::fprintf(stderr, "velar-play: skipped %llu bytes of an old position before a pack "
                     "header\n", static_cast<unsigned long long>(mDrainer->skippedBytes()));
    }
}

bool Player::trickStep() {
    // The streamer does nothing in KeyframeSent, so the file may be asked here.
    int64_t fromStart = mFile->getPositionFromPts(mStreamer->getPosition() * 90);
    uint64_t positionMs = fromStart > 0 ? static_cast<uint64_t>(fromStart) / 90 : 0;
    if (mStepper->onKeyFrame(positionMs)) {
        mDrainer->commitHeld();
    } else {
        mDrainer->dropHeld();
    }
    uint64_t target = 0;
    if (!mStepper->nextTarget(target)) {
        return false;
    }
    if (!mStreamer->setPosition(target, mFilter)) {
        failWithStreamerError();
    }
    mDrainer->skipToPackHeader();
    return true;
}

void Player::stopAndDrain() {
    mStreamer->stop();
    // The streamer thread finishes the sample it is feeding (possibly waiting for ring space), then
    // sees Stopped. Drain until the ring has been quiet for a while.
    Clock::time_point quietSince = Clock::now();
    while (Clock::now() - quietSince < std::chrono::milliseconds(kQuietMs)) {
        if (mDrainer->drainOnce(kReadWaitMs) > 0) {
            quietSince = Clock::now();
        }
    }
    if (mStepper) {
        mDrainer->dropHeld();
    }
}

void Player::failWithStreamerError() {
    // Keep what the streamer produced before the failure.
    while (mDrainer->drainOnce(0) > 0) {
    }
    mDrainer->dropHeld();
    report(mStreamer->getState(), true, true);
    mProgress->finish();
    if (mListener.hasError()) {
        // The DASH file's texts ("Bad connection") do not name the input.
        throw PlayError(mDashInfo != nullptr ? mOptions.input + ": " + mListener.errorText()
                                             : mListener.errorText());
    }
    throw PlayError(mOptions.input + ": the streamer stopped with an error");
}

bool Player::stalled(AvStreamerState state, size_t drained) {
    Clock::time_point now = Clock::now();
    // A DASH presentation in Buffering waits for the network; its own statuses end it.
    if (mDashInfo != nullptr || state != AvStreamerState::Buffering || drained > 0) {
        mLastActivity = now;
        mLastSize = -1;
        return false;
    }
    int64_t size = inputSize();
    if (size < 0 || size != mLastSize) {
        mLastActivity = now;
        mLastSize = size;
        return false;
    }
    return now - mLastActivity >= std::chrono::milliseconds(kStallMs);
}

int64_t Player::inputSize() const {
    struct stat info;
    if (::stat(mOptions.input.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return -1;  // not a local file: no stall check
    }
    return static_cast<int64_t>(info.st_size);
}

void Player::release() {
    if (!mOptions.releaseCheck || mReleased) {
        return;
    }
    mReleased = true;
    PlaybackFigures f;
    if (mHasLastFigures) {
        f = mLastFigures;
    } else if (mStreamer && mDrainer) {
        f = figures(mStreamer->getState(), true);
    } else {
        f.last = true;  // ended before playback started: no reading was taken
    }
    Clock::time_point begin = Clock::now();
    mDashInfo = nullptr;
    mStreamer.reset();
    mFile.reset();
    mStepper.reset();
    mDrainer.reset();
    mRing.reset();
    f.releaseMs = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count());
    // A joined thread can stay listed in /proc/self/task for a moment after pthread_join returned
    // (the kernel wakes the joiner before it has removed the task), longer on a loaded machine; the
    // count is read again for up to kThreadSettleMs before a surplus is reported.
    f.afterRelease = ProcessCounts::take();
    for (const Clock::time_point settle = Clock::now();
         f.afterRelease.threads > mBeforeOpen.threads &&
         Clock::now() - settle < std::chrono::milliseconds(kThreadSettleMs);) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        f.afterRelease = ProcessCounts::take();
    }
    f.beforeOpen = mBeforeOpen;
    f.hasRelease = true;
    if (mStats) {
        mStats->write(f);
    }
}

uint64_t Player::elapsedMs() const {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mStart).count());
}

PlaybackFigures Player::figures(AvStreamerState state, bool last) const {
    PlaybackFigures f;
    f.elapsedMs = elapsedMs();
    f.state = state;
    f.positionMs = mStreamer->getPosition();
    f.durationMs = mDurationMs;
    f.bytesOut = mDrainer->bytesOut();
    if (mDashInfo != nullptr && mStats) {
        f.hasDash = true;
        f.dash = mDashInfo->getDashCapability();
    }
    f.last = last;
    Clock::time_point firstByte;
    if (last && mDrainer->firstByteTime(firstByte)) {
        f.firstByteMs = std::chrono::duration_cast<std::chrono::milliseconds>(firstByte - mOpenStart)
                            .count();
    }
    return f;
}

void Player::report(AvStreamerState state, bool force, bool last) {
    Clock::time_point now = Clock::now();
    if (!force && now - mLastReport < std::chrono::milliseconds(kReportEveryMs)) {
        return;
    }
    mLastReport = now;
    if (!mStats && !mProgress->active()) {
        return;
    }
    PlaybackFigures f = figures(state, last);
    if (last && mOptions.releaseCheck) {
        mLastFigures = f;  // written by release()
        mHasLastFigures = true;
    } else if (mStats) {
        mStats->write(f);
    }
    mProgress->show(f);
}

}  // namespace velar_play
