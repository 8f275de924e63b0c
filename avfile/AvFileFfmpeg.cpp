#include "avfile/AvFileFfmpeg.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

#include "avfile/AvBaseException.h"
#include "avfile/AvFileNotFoundException.h"
#include "avfile/AvParseErrorException.h"
#include "avfile/FfmpegLogBridge.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvFileFfmpeg")

namespace avfile {

namespace {

constexpr AVRational kMilliseconds = {1, 1000};
constexpr AVRational k90kHz = {1, 90000};

// The old AVFMT_FLAG_KEEP_SIDE_DATA bit. libavformat 59 always keeps side data and no longer
// names the flag; the bit is still set so that the context flags read 0x40020 as before.
constexpr int kFlagKeepSideData = 0x40000;

const char* const kNoIndex = "Index entries is null, probably mov file corruption";

int indexCount(const AVStream* stream) {
    return stream == nullptr ? 0 : avformat_index_get_entries_count(stream);
}

const AVIndexEntry* indexEntry(AVStream* stream, int index) {
    return avformat_index_get_entry(stream, index);
}

AvTrackType trackTypeOf(AVMediaType type) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            return AvTrackType::Video;
        case AVMEDIA_TYPE_AUDIO:
            return AvTrackType::Audio;
        case AVMEDIA_TYPE_SUBTITLE:
            return AvTrackType::Subtitle;
        default:
            return AvTrackType::Unknown;
    }
}

std::string codecNameOf(AVCodecID id) {
    switch (id) {
        case AV_CODEC_ID_H264:
            return "avc1";
        case AV_CODEC_ID_AAC:
            return "aac";
        default:
            return std::string();
    }
}

}  // namespace

AvFileFfmpeg::AvFileFfmpeg(std::shared_ptr<IAvCodecDataFactory> codecDataFactory)
    : mCodecDataFactory(std::move(codecDataFactory)) {}

AvFileFfmpeg::AvFileFfmpeg(std::shared_ptr<IAvCodecDataFactory> codecDataFactory,
                           const std::string& path)
    : mPath(path), mCodecDataFactory(std::move(codecDataFactory)) {
    if (access(mPath.c_str(), F_OK) != 0) {
        ZUN_LOG(0, "File is not present '%s'", mPath.c_str());
        throw AvFileNotFoundException("Failed to open file " + mPath);
    }
    open();
}

AvFileFfmpeg::~AvFileFfmpeg() = default;

void AvFileFfmpeg::open() {
    FfmpegLogBridge::install();
    mTracks.clear();
    mTrackStates.clear();
    mLastDts.clear();
    mStalled = false;
    mSkipDelivered = false;

    if (mFormatContext.openInput(mPath) < 0) {
        ZUN_LOG(0, "end, Failed to open file: '%s'", mPath.c_str());
        mFormatContext.reset();
        throw AvParseErrorException("Ffmpeg failed to open file " + mPath);
    }
    AVFormatContext* context = mFormatContext.get();
    context->flags |= AVFMT_FLAG_NOPARSE | kFlagKeepSideData;

    if (avformat_find_stream_info(context, nullptr) < 0) {
        mFormatContext.reset();
        throw AvParseErrorException("Could not get stream info for " + mPath);
    }

    // Container duration is in AV_TIME_BASE units (microseconds).
    mDuration = context->duration > 0 ? static_cast<uint64_t>(context->duration / 1000) : 0;
    mExpectedSize = 0;

    for (unsigned int i = 0; i < context->nb_streams; ++i) {
        AVStream* stream = context->streams[i];
        int64_t length = 0;  // stream time base
        const int entries = indexCount(stream);
        if (entries > 0) {
            ZUN_LOG(0, "Track %i %i", static_cast<int>(i), entries);
            const AVIndexEntry* first = indexEntry(stream, 0);
            const AVIndexEntry* last = indexEntry(stream, entries - 1);
            const int64_t end = last->pos + last->size;
            if (end > mExpectedSize) {
                mExpectedSize = end;
            }
            length = last->timestamp - first->timestamp;
        } else {
            ZUN_LOG(0, "%s", kNoIndex);
            length = stream->duration == AV_NOPTS_VALUE ? 0 : stream->duration;
        }

        AvTrack track;
        track.id = i;
        track.type = trackTypeOf(stream->codecpar->codec_type);
        track.codec = codecNameOf(stream->codecpar->codec_id);
        const int64_t durationMs = av_rescale_q(length, stream->time_base, kMilliseconds);
        track.durationMs = durationMs > 0 ? static_cast<uint64_t>(durationMs) : 0;
        if (track.durationMs > mDuration) {
            mDuration = track.durationMs;
        }

        const uint8_t* extra = stream->codecpar->extradata;
        const int extraSize = stream->codecpar->extradata_size;
        std::vector<unsigned char> extraData;
        if (extra != nullptr && extraSize > 0) {
            extraData.assign(extra, extra + extraSize);
        }
        if (mCodecDataFactory) {
            track.codecData = mCodecDataFactory->getCodecData(track.codec, extraData);
        }

        mTracks.push_back(track);
        mTrackStates.push_back(Track());
        mLastDts.push_back(AV_NOPTS_VALUE);
    }
}

int64_t AvFileFfmpeg::getDifferenceBetweenPts(uint64_t a, uint64_t b) {
    constexpr uint64_t kWrap = uint64_t(1) << 33;
    constexpr uint64_t kHalf = uint64_t(1) << 32;
    const int64_t difference = static_cast<int64_t>(a - b);
    const uint64_t magnitude = difference < 0 ? uint64_t(0) - static_cast<uint64_t>(difference)
                                              : static_cast<uint64_t>(difference);
    int64_t reduced = static_cast<int64_t>(magnitude % kWrap);
    if ((static_cast<uint64_t>(reduced) & kHalf) != 0) {
        reduced -= static_cast<int64_t>(kWrap);
    }
    return difference < 0 ? -reduced : reduced;
}

uint64_t AvFileFfmpeg::getDuration() const { return mDuration; }

bool AvFileFfmpeg::isActive() const {
    if (!mFormatContext) {
        return false;
    }
    return getInputSize() < mExpectedSize;
}

uint64_t AvFileFfmpeg::getActiveDuration(uint32_t track) const {
    if (!mFormatContext || track > getStreamCount()) {
        return 0;
    }
    const int64_t size = getInputSize();
    ZUN_LOG(0, "Size is %llu expected %llu", static_cast<unsigned long long>(size),
            static_cast<unsigned long long>(mExpectedSize));
    AVStream* stream = streamAt(track);
    if (stream == nullptr) {
        return 0;
    }
    const int entries = indexCount(stream);
    if (size < mExpectedSize && entries > 0) {
        const AVIndexEntry* first = indexEntry(stream, 0);
        for (int i = 0; i < entries; ++i) {
            const AVIndexEntry* entry = indexEntry(stream, i);
            if (entry->pos + entry->size >= size) {
                const int64_t ms =
                    av_rescale_q(entry->timestamp - first->timestamp, stream->time_base,
                                 kMilliseconds);
                return ms > 0 ? static_cast<uint64_t>(ms) : 0;
            }
        }
        return 0;
    }
    return mTracks[track].durationMs;
}

uint64_t AvFileFfmpeg::getEarliestAvailablePosition() const { return 0; }

int64_t AvFileFfmpeg::getPositionFromPts(uint64_t pts) const {
    if (!mFormatContext || getStreamCount() == 0) {
        return 0;
    }
    AVStream* stream = streamAt(0);
    if (indexCount(stream) == 0) {
        ZUN_LOG(0, "%s", kNoIndex);
        return 0;
    }
    const int64_t start = av_rescale_q(indexEntry(stream, 0)->timestamp, stream->time_base, k90kHz);
    return getDifferenceBetweenPts(pts, static_cast<uint64_t>(start));
}

uint64_t AvFileFfmpeg::getIFramePosition(uint32_t track, uint64_t positionMs) const {
    if (!mFormatContext || track > getStreamCount()) {
        return 0;
    }
    AVStream* stream = streamAt(track);
    if (indexCount(stream) == 0) {
        ZUN_LOG(0, "%s", kNoIndex);
        return 0;
    }
    const int64_t firstTimestamp = indexEntry(stream, 0)->timestamp;
    const int64_t target =
        av_rescale_q(static_cast<int64_t>(positionMs), kMilliseconds, stream->time_base) +
        firstTimestamp;
    const int found = av_index_search_timestamp(stream, target, AVSEEK_FLAG_BACKWARD);
    if (found < 0) {
        ZUN_LOG(0, "getIFramePosition could not find for pos:%llu",
                static_cast<unsigned long long>(positionMs));
        return 0;
    }
    const int64_t ms = av_rescale_q(indexEntry(stream, found)->timestamp - firstTimestamp,
                                    stream->time_base, kMilliseconds);
    const uint64_t answer = ms > 0 ? static_cast<uint64_t>(ms) : 0;
    ZUN_LOG(0, "getIFramePosition %i pos: %llu ffmpeg: %llu", static_cast<int>(track),
            static_cast<unsigned long long>(positionMs), static_cast<unsigned long long>(answer));
    return answer;
}

bool AvFileFfmpeg::jumpToTime(uint32_t track, uint64_t positionMs) {
    if (!mFormatContext || track > getStreamCount()) {
        return false;
    }
    AVStream* stream = streamAt(track);
    const int64_t seek =
        stream == nullptr
            ? 0
            : av_rescale_q(static_cast<int64_t>(positionMs), kMilliseconds, stream->time_base);
    ZUN_LOG(0, "jumpToTime %i inputPos:%llu seekPos:%llu", static_cast<int>(track),
            static_cast<unsigned long long>(positionMs), static_cast<unsigned long long>(seek));
    if (indexCount(stream) == 0) {
        ZUN_LOG(0, "%s", kNoIndex);
        return false;
    }
    const int64_t target = indexEntry(stream, 0)->timestamp + seek;
    const int result =
        av_seek_frame(mFormatContext.get(), static_cast<int>(track), target, AVSEEK_FLAG_BACKWARD);
    // Only -1 counts as a failure; other negative results are taken as success on purpose.
    if (result == -1) {
        ZUN_LOG(0, "Seek failed with %i", result);
        return false;
    }
    for (Track& state : mTrackStates) {
        state.firstSamplePending = true;
    }
    // A jump replaces any pending resume: delivery starts afresh at the new position.
    mStalled = false;
    mSkipDelivered = false;
    for (int64_t& dts : mLastDts) {
        dts = AV_NOPTS_VALUE;
    }
    return true;
}

AvStatus AvFileFfmpeg::getNextSample(AvSample& sample) {
    if (!mFormatContext) {
        throw AvBaseException("Format context is null");
    }
    AVFormatContext* context = mFormatContext.get();
    AVPacket* packet = mPacket.get();

    if (mStalled) {
        if (getInputSize() == mStallSize) {
            return endOfReadableData();  // nothing new arrived: the same answer as before
        }
        resumeAfterStall();
    }

    for (;;) {
        if (av_read_frame(context, packet) < 0) {
            mPacket.unref();
            return endOfReadableData();
        }
        const bool known = packet->stream_index >= 0 &&
                           static_cast<size_t>(packet->stream_index) < mTracks.size();
        const bool wanted = mFilter != AvSampleFilter::KeyFramesOnly ||
                            (packet->flags & AV_PKT_FLAG_KEY) != 0;
        const bool delivered = known && mSkipDelivered &&
                               mLastDts[packet->stream_index] != AV_NOPTS_VALUE &&
                               packet->dts != AV_NOPTS_VALUE &&
                               packet->dts <= mLastDts[packet->stream_index];
        if (known && wanted && !delivered) {
            break;
        }
        mPacket.unref();
    }
    if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
        mPacket.unref();
        return endOfReadableData();
    }

    const uint32_t index = static_cast<uint32_t>(packet->stream_index);
    const AVRational timeBase = context->streams[index]->time_base;
    const int64_t dts = av_rescale_q(packet->dts, timeBase, k90kHz);
    const int64_t pts =
        packet->pts == AV_NOPTS_VALUE ? dts : av_rescale_q(packet->pts, timeBase, k90kHz);
    sample.dts = static_cast<uint64_t>(dts);
    sample.pts = static_cast<uint64_t>(pts);
    sample.track = index;
    if (packet->data != nullptr && packet->size > 0) {
        // The caller's record is reused: grow its capacity by doubling, so a stream whose samples
        // keep getting larger reallocates a few times, not at every new largest sample.
        const size_t size = static_cast<size_t>(packet->size);
        if (sample.data.capacity() < size) {
            sample.data.reserve(std::max(size, 2 * sample.data.capacity()));
        }
        sample.data.assign(packet->data, packet->data + size);
    } else {
        sample.data.clear();
    }
    sample.firstSample = false;
    sample.trackInfo = mTracks[index];
    sample.keyFrame = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    mLastDts[index] = packet->dts;

    if (mTrackStates[index].firstSamplePending) {
        mTrackStates[index].firstSamplePending = false;
        sample.firstSample = true;
        ZUN_LOG(0, "first sample %s", sample.toString().c_str());
    }
    mPacket.unref();
    return AvStatus::OK;
}

AvStatus AvFileFfmpeg::endOfReadableData() {
    AVIOContext* io = mFormatContext->pb;
    const int64_t position = io == nullptr ? 0 : avio_tell(io);
    if (mExpectedSize <= position) {
        return AvStatus::EndOfFile;
    }
    ZUN_LOG(0, "Hit partial-EOF: Current position %llu expected:%llu",
            static_cast<unsigned long long>(position),
            static_cast<unsigned long long>(mExpectedSize));
    if (isActive()) {
        mStalled = true;
        mStallSize = getInputSize();
        return AvStatus::NotEnoughData;
    }
    ZUN_LOG(0, "Inactive file is incomplete!");
    return AvStatus::EndOfFile;
}

void AvFileFfmpeg::resumeAfterStall() {
    mStalled = false;
    AVFormatContext* context = mFormatContext.get();
    // The byte reader keeps its end-of-file mark until a seek: a seek to where it stands clears
    // it without moving.
    if (context->pb != nullptr) {
        avio_seek(context->pb, avio_tell(context->pb), SEEK_SET);
    }
    const int reference = av_find_default_stream_index(context);
    if (reference < 0 || static_cast<unsigned int>(reference) >= context->nb_streams) {
        return;
    }
    AVStream* referenceStream = context->streams[reference];
    // Earliest last-delivered time over all streams, in the reference stream's time base, rounded
    // down so that no stream is placed after its last delivered sample.
    int64_t target = AV_NOPTS_VALUE;
    for (unsigned int i = 0; i < context->nb_streams && i < mLastDts.size(); ++i) {
        if (mLastDts[i] == AV_NOPTS_VALUE) {
            continue;
        }
        const int64_t t = av_rescale_q_rnd(mLastDts[i], context->streams[i]->time_base,
                                           referenceStream->time_base, AV_ROUND_DOWN);
        if (target == AV_NOPTS_VALUE || t < target) {
            target = t;
        }
    }
    if (target == AV_NOPTS_VALUE) {
        // Nothing delivered yet: back to the first indexed sample (or the start).
        target = indexCount(referenceStream) > 0 ? indexEntry(referenceStream, 0)->timestamp : 0;
    }
    const int result = av_seek_frame(context, reference, target, AVSEEK_FLAG_BACKWARD);
    ZUN_LOG(0, "Resuming growing file at %lld (stream %i): %i", static_cast<long long>(target),
            reference, result);
    mSkipDelivered = true;
}

void AvFileFfmpeg::setSampleFilter(AvSampleFilter filter) { mFilter = filter; }

std::vector<AvTrack> AvFileFfmpeg::getTracks() const { return mTracks; }

void AvFileFfmpeg::setPlaybackRate(int /*rate*/) {}

uint32_t AvFileFfmpeg::getStreamCount() const {
    return mFormatContext ? mFormatContext->nb_streams : 0;
}

void AvFileFfmpeg::setFormatContext(FfmpegFormatContext&& context) {
    mFormatContext = std::move(context);
}

void AvFileFfmpeg::closeFormatContext() { mFormatContext.reset(); }

int64_t AvFileFfmpeg::getInputSize() const {
    if (!mFormatContext || mFormatContext->pb == nullptr) {
        return 0;
    }
    return avio_size(mFormatContext->pb);
}

AVStream* AvFileFfmpeg::streamAt(uint32_t track) const {
    if (!mFormatContext || track >= mFormatContext->nb_streams) {
        return nullptr;
    }
    return mFormatContext->streams[track];
}

}  // namespace avfile
