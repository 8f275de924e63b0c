#include "avfile/AvFileDash.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <sys/types.h>
#include <utility>

#include "avfile/AvBaseException.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "dash/DashUtil.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvFileDash")

namespace avfile {

namespace {

const char* const kDashMimeType = "application/dash+xml";
const char* const kVideoMimeType = "video/mp4";
const char* const kAudioMimeType = "audio/mp4";

// End of a segment on the presentation time line (ms), saturating instead of wrapping.
uint64_t segmentEnd(uint64_t startMs, uint64_t durationMs) {
    return durationMs > UINT64_MAX - startMs ? UINT64_MAX : startMs + durationMs;
}

// Length (ms) of a loaded segment: the longest index span of its tracks. The container duration is
// not used: FFmpeg reports it for a fragment as its end on the presentation time line.
uint64_t segmentLength(const IAvFile& file) {
    uint64_t length = 0;
    for (const AvTrack& track : file.getTracks()) {
        length = std::max(length, track.durationMs);
    }
    return length != 0 ? length : file.getDuration();
}

// The text and exception of every failure this file cannot name.
[[noreturn]] void throwUnknownError() {
    ZUN_LOG(0, "An unknown error occured");
    throw AvBaseException("Unknown error");
}

unsigned long long ull(uint64_t value) { return static_cast<unsigned long long>(value); }

// The first record of `items` that `match` accepts, null when none does.
template <typename T, typename Match>
T* firstOf(std::vector<T>& items, Match match) {
    auto it = std::find_if(items.begin(), items.end(), match);
    return it == items.end() ? nullptr : &*it;
}

}  // namespace

AvFileDash::AvFileDash(std::shared_ptr<IAvFileFactory> factory,
                       std::shared_ptr<dash::IDashDownloadCommand> command)
    : mFactory(std::move(factory)), mCommand(std::move(command)) {
    if (!mFactory || !mCommand) {
        throw std::invalid_argument("AvFileDash needs a file factory and a download command");
    }
    try {
        open();
    } catch (...) {
        mCommand->cancel();
        throw;
    }
}

AvFileDash::~AvFileDash() {
    try {
        mCommand->cancel();
    } catch (...) {
        ZUN_LOG(0, "Cancelling the download command failed");
    }
}

void AvFileDash::open() {
    const bool started = mCommand->start();
    ZUN_LOG(0, "Dash download command %s", started ? "started" : "did not start");
    if (!started && !dash::DashUtil::isCompletedStatus(mCommand->getStatus())) {
        throwUnknownError();  // a command that never ran would be waited on for ever
    }
    if (waitForData() == AvStatus::EndOfFile) {
        throwUnknownError();
    }

    const dash::DashCapability capability = mCommand->getDashCapability();
    mActive = capability.live;
    std::vector<std::string> taken;
    for (size_t i = 0; i < capability.entries.size(); ++i) {
        const std::string& mimeType = capability.entries[i].mimeType;
        if (mimeType == kDashMimeType) {
            ZUN_LOG(0, "Skipping capability entry %zu of mimetype %s", i, mimeType.c_str());
            continue;
        }
        if (mFactory->supportedMimeType(mimeType) == AvTrackType::Unknown ||
            std::find(taken.begin(), taken.end(), mimeType) != taken.end()) {
            continue;
        }
        taken.push_back(mimeType);

        std::vector<uint8_t> bytes;
        uint64_t segmentStartMs = 0;
        if (!mCommand->getBufferedSegment(mimeType, bytes, segmentStartMs)) {
            throw std::runtime_error("Dash download is in wrong state");
        }
        std::shared_ptr<IAvFile> file = mFactory->openMemory(bytes, mimeType);
        const std::vector<AvTrack> descriptions = file ? file->getTracks() : std::vector<AvTrack>();
        if (descriptions.empty()) {
            ZUN_LOG(0, "Skipping mimetype %s: its first segment gives no track", mimeType.c_str());
            continue;
        }
        Track track;
        track.file = std::move(file);
        track.mimeType = mimeType;
        track.segmentStartMs = segmentStartMs;
        track.capabilityIndex = static_cast<int32_t>(i);
        AvTrack description = descriptions.front();
        description.id = static_cast<uint32_t>(mTracks.size());
        mTracks.push_back(std::move(track));
        mTrackDescriptions.push_back(std::move(description));
    }
}

AvStatus AvFileDash::convertDashStatus(bool waitWhileBuffering) const {
    switch (mCommand->getStatus()) {
        case dash::NO_SEGMENT:
            return AvStatus::NotEnoughData;
        case dash::BUFFERING:
            return waitWhileBuffering && mPlaybackRate == 1000 ? AvStatus::NotEnoughData : AvStatus::OK;
        case dash::READY:
            return AvStatus::OK;
        case dash::CANCELLED:
        case dash::COMPLETED:
            ZUN_LOG(0, "Dash stream is completed");
            return AvStatus::EndOfFile;
        case dash::FAIL_INVALID_URL:
            throw AvFileNotFoundException("Invalid URL");
        case dash::FAIL_INVALID_MPD:
            throw AvParseErrorException("Invalid MPD");
        case dash::FAIL_INVALID_ADAPTATION:
            throw AvBaseException("Invalid Adaptation");
        case dash::FAIL_INVALID_REP:
            throw AvBaseException("Invalid Representation");
        case dash::FAIL_BAD_CONNECTION:
            throw AvFileNotFoundException("Bad connection");
        default:
            throwUnknownError();
    }
}

AvStatus AvFileDash::waitForData() const {
    AvStatus status = convertDashStatus(true);
    while (status == AvStatus::NotEnoughData) {
        usleep(kPollMicroseconds);
        status = convertDashStatus(true);
    }
    return status;
}

bool AvFileDash::getNextSegment(Track& track) {
    std::vector<uint8_t> bytes;
    uint64_t segmentStartMs = 0;
    if (!mCommand->getBufferedSegment(track.mimeType, bytes, segmentStartMs)) {
        ZUN_LOG(0, "No buffer in dash for mimeType %s, probably at eof", track.mimeType.c_str());
        return false;
    }
    const ssize_t length = static_cast<ssize_t>(bytes.size());
    ZUN_LOG(0, "Got more data for mimeType:%s segmentMs %llu len:%zi", track.mimeType.c_str(),
            ull(segmentStartMs), length);
    std::shared_ptr<IAvFile> file = mFactory->openMemory(bytes, track.mimeType);
    if (!file) {
        ZUN_LOG(0, "Failed to load data for mimeType:%s len:%zi", track.mimeType.c_str(), length);
        throw AvParseErrorException("Ffmpeg failed to parse");
    }
    file->setSampleFilter(mFilter);
    track.file = std::move(file);
    track.segmentStartMs = segmentStartMs;
    return true;
}

bool AvFileDash::segmentsEnded(const std::string& mimeType) const {
    const dash::DashCapability capability = mCommand->getDashCapability();
    for (const dash::DashRepCapability& entry : capability.entries) {
        if (entry.mimeType == mimeType) {
            return entry.endOfSegments && entry.bufferedSegments == 0;
        }
    }
    return false;
}

AvStatus AvFileDash::tryLoadNextSegment(Track& track) {
    try {
        switch (convertDashStatus(false)) {
            case AvStatus::OK:
                if (getNextSegment(track)) {
                    return AvStatus::OK;
                }
                if (segmentsEnded(track.mimeType)) {
                    ZUN_LOG(0, "All segments of mimeType %s delivered, end of track", track.mimeType.c_str());
                    track.ended = true;
                    return AvStatus::OK;
                }
                return AvStatus::NotEnoughData;
            case AvStatus::EndOfFile:
                track.ended = true;
                return AvStatus::OK;
            default:
                return AvStatus::NotEnoughData;
        }
    } catch (...) {
        track.ended = true;
        throw;
    }
}

size_t AvFileDash::chooseTrack() const {
    for (size_t i = 0; i < mTracks.size(); ++i) {
        if (!mTracks[i].started) {
            return i;
        }
    }
    size_t chosen = 0;
    for (size_t i = 1; i < mTracks.size(); ++i) {
        if (!mTracks[i].ended && mTracks[i].lastDts <= mTracks[chosen].lastDts) {
            chosen = i;
        }
    }
    return chosen;
}

AvStatus AvFileDash::getNextSample(AvSample& sample) {
    for (;;) {
        if (mTracks.empty()) {
            return AvStatus::EndOfFile;
        }
        const size_t index = chooseTrack();
        Track& track = mTracks[index];
        if (track.ended) {
            return AvStatus::EndOfFile;
        }
        AvStatus status;
        do {
            status = track.file->getNextSample(sample);
        } while (status == AvStatus::OK && sample.track != 0);  // stream 0 only (see header)

        if (status == AvStatus::EndOfFile) {
            if (tryLoadNextSegment(track) == AvStatus::NotEnoughData) {
                return AvStatus::NotEnoughData;
            }
            continue;
        }
        if (status != AvStatus::OK) {
            track.ended = true;
            return status;
        }

        sample.track = static_cast<uint32_t>(index);
        sample.trackInfo.id = sample.track;
        const bool wasStarted = track.started;
        track.started = true;
        if (!sample.keyFrame) {
            mNonKeySeen = true;
        }
        if (sample.dts == kErroneousDts || (sample.dts >> 63) != 0) {
            ZUN_LOG(0, "Erronous sample dts of %llu", ull(sample.dts));
            return AvStatus::OK;
        }
        if (wasStarted) {
            // Low 32 bits only, as a signed 32-bit difference.
            const int32_t delta =
                static_cast<int32_t>(static_cast<uint32_t>(sample.dts) - static_cast<uint32_t>(mLastDts));
            const int64_t magnitude = delta < 0 ? -static_cast<int64_t>(delta) : delta;
            if (magnitude > mDiscontinuityThreshold) {
                ZUN_LOG(0, "Discontinuity on track %i, prev: %llu new: %llu", static_cast<int>(index),
                        ull(mLastDts), ull(sample.dts));
                for (Track& each : mTracks) {
                    each.started = false;
                }
            }
        }
        track.lastDts = sample.dts;
        mLastDts = sample.dts;
        return AvStatus::OK;
    }
}

bool AvFileDash::jumpToTime(uint32_t track, uint64_t positionMs) {
    if (track > mTrackDescriptions.size()) {
        return false;
    }
    std::vector<bool> outside(mTracks.size(), false);
    bool changed = false;
    for (size_t i = 0; i < mTracks.size(); ++i) {
        const Track& each = mTracks[i];
        const uint64_t end = segmentEnd(each.segmentStartMs, segmentLength(*each.file));
        if (positionMs >= each.segmentStartMs && positionMs <= end) {
            continue;
        }
        outside[i] = true;
        if (!mCommand->seek(each.mimeType, positionMs)) {
            ZUN_LOG(0, "Dash seek failed for pos: %llu", ull(positionMs));
            throw AvBaseException("Dash seek failed");
        }
        changed = true;
    }
    if (changed) {
        ZUN_LOG(0, "jumpToTime %i inputPos:%llu (dash segment changed)", static_cast<int>(track),
                ull(positionMs));
        waitForData();
    } else {
        ZUN_LOG(0, "jumpToTime %i inputPos:%llu (dash segment unchanged)", static_cast<int>(track),
                ull(positionMs));
    }

    bool result = true;
    uint64_t target = positionMs;
    for (size_t i = 0; i < mTracks.size(); ++i) {
        Track& each = mTracks[i];
        each.started = false;
        each.ended = false;
        if (changed && outside[i]) {
            getNextSegment(each);
        }
        if (!mNonKeySeen && mFilter == AvSampleFilter::KeyFramesOnly) {
            target = each.segmentStartMs;  // kept for the tracks after this one
        }
        const uint64_t start = each.segmentStartMs;
        const uint64_t duration = segmentLength(*each.file);
        const uint64_t end = segmentEnd(start, duration);
        bool jumped;
        if (target < start) {
            ZUN_LOG(0, "Seek request %llu is before start of segment, seeking to start of segment %llu",
                    ull(target), ull(start));
            jumped = each.file->jumpToTime(0, 0);
        } else if (target < end) {
            jumped = each.file->jumpToTime(0, target - start);
        } else {
            ZUN_LOG(0, "Seek request %llu is after end of segment, seeking to end of segment %llu",
                    ull(target), ull(end));
            jumped = each.file->jumpToTime(0, duration);
        }
        if (!jumped) {
            ZUN_LOG(0, "Jump to time failed for pos: %llu", ull(target));
            result = false;
        }
    }
    return result;
}

uint64_t AvFileDash::getIFramePosition(uint32_t track, uint64_t positionMs) const {
    if (track > mTrackDescriptions.size()) {
        return 0;
    }
    const Track& chosen = mTracks.at(track);
    const uint64_t start = chosen.segmentStartMs;
    if (!mNonKeySeen || positionMs < start || positionMs > segmentEnd(start, segmentLength(*chosen.file))) {
        uint64_t segmentPosition = positionMs;
        uint64_t segmentDurationMs = 0;
        if (!mCommand->findSegmentPosition(chosen.mimeType, segmentPosition, segmentDurationMs)) {
            segmentPosition = positionMs;
        }
        ZUN_LOG(0, "Dash inputPos: %llu segmentPosition: %llu", ull(positionMs), ull(segmentPosition));
        return segmentPosition;
    }
    const uint64_t position = chosen.file->getIFramePosition(0, positionMs - start) + start;
    ZUN_LOG(0, "ffmpeg inputPos: %llu segmentPosition: %llu", ull(positionMs), ull(position));
    return position;
}

void AvFileDash::updateMetadata() const {
    const dash::DashCapability capability = mCommand->getDashCapability();
    const std::vector<dash::DashRepCapability>& entries = capability.entries;
    if (capability.version != mMetadataVersion) {
        for (size_t i = 0; i < mTracks.size(); ++i) {
            const int32_t entry = mTracks[i].capabilityIndex;
            if (entry >= 0 && static_cast<size_t>(entry) < entries.size()) {
                mTrackDescriptions[i].durationMs = entries[static_cast<size_t>(entry)].durationMs;
            }
        }
        mMetadataVersion = capability.version;
        if (!entries.empty()) {
            mEarliestPositionMs = entries.front().earliestPositionMs;
        }
    }
    for (const dash::DashRepCapability& entry : entries) {
        if (entry.mimeType == kVideoMimeType) {
            if (AvTrack* video = firstOf(mTrackDescriptions,
                                         [](const AvTrack& t) { return t.type == AvTrackType::Video; })) {
                video->intList = entry.bandwidths;
                video->intValue = entry.currentBandwidth;
            }
            break;
        }
    }
    for (const dash::DashRepCapability& entry : entries) {
        if (entry.mimeType == kAudioMimeType) {
            if (AvTrack* audio = firstOf(mTrackDescriptions,
                                         [](const AvTrack& t) { return t.type == AvTrackType::Audio; })) {
                audio->stringList = entry.languages;
                audio->stringValue = entry.currentLanguage;
            }
            break;
        }
    }
}

uint64_t AvFileDash::getDuration() const {
    updateMetadata();
    return mTrackDescriptions.empty() ? 0 : mTrackDescriptions.front().durationMs;
}

bool AvFileDash::isActive() const { return mActive; }

uint64_t AvFileDash::getActiveDuration(uint32_t track) const {
    updateMetadata();
    if (track > mTrackDescriptions.size() || mTrackDescriptions.empty()) {
        return 0;
    }
    return mTrackDescriptions.front().durationMs;  // the first track's, whatever the track
}

uint64_t AvFileDash::getEarliestAvailablePosition() const {
    updateMetadata();
    return mEarliestPositionMs;
}

int64_t AvFileDash::getPositionFromPts(uint64_t pts) const {
    if (mTrackDescriptions.empty()) {
        return 0;
    }
    updateMetadata();
    // Modulo 2^64 throughout: a segment start before the earliest position gives a negative offset.
    const uint64_t offset = (mTracks.front().segmentStartMs - mEarliestPositionMs) * 90u;
    return static_cast<int64_t>(offset + static_cast<uint64_t>(mTracks.front().file->getPositionFromPts(pts)));
}

void AvFileDash::setSampleFilter(AvSampleFilter filter) {
    if (filter == mFilter) {
        return;
    }
    mFilter = filter;
    for (Track& track : mTracks) {
        track.file->setSampleFilter(filter);
    }
}

std::vector<AvTrack> AvFileDash::getTracks() const { return mTrackDescriptions; }

void AvFileDash::setPlaybackRate(int rate) {
    mCommand->setTrickMode(rate);
    mPlaybackRate = rate;
}

dash::DashCapability AvFileDash::getDashCapability() const { return mCommand->getDashCapability(); }

}  // namespace avfile
