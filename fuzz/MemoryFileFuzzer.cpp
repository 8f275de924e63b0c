// Fuzz target: an MP4 image in memory (AvFileFfmpegMemory), as the DASH client opens every
// downloaded segment: libavformat reads the bytes through the file's memory callbacks. Every
// sample is read (up to a bound), then the file is positioned with jumpToTime at a few places
// (start, middle, past the end) on every track number up to the stream count, reading a few
// samples after each.
//
// Expected outcomes: std::runtime_error "Data is zero sized" and the AvBaseException family
// (the demuxer refused the bytes). Checked: a sample belongs to a listed track, and the memory
// file never calls itself active. FFmpeg's own log is silenced.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavutil/log.h>
}

#include "avfile/AvBaseException.h"
#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "fuzz/FuzzCheck.h"

namespace {

constexpr size_t kMaxSamples = 4096;
constexpr size_t kSamplesAfterJump = 8;

size_t readSamples(avfile::IAvFile& file, size_t limit, size_t trackCount) {
    avfile::AvSample sample;
    size_t count = 0;
    while (count < limit && file.getNextSample(sample) == avfile::AvStatus::OK) {
        FUZZ_CHECK(sample.track < trackCount);
        ++count;
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    av_log_set_level(AV_LOG_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const auto codecData = std::make_shared<avfile::AvCodecDataFactory>();
    const std::vector<unsigned char> bytes(data, data + size);
    std::unique_ptr<avfile::AvFileFfmpegMemory> file;
    try {
        file = std::make_unique<avfile::AvFileFfmpegMemory>(codecData, bytes);
    } catch (const std::runtime_error&) {  // AvBaseException derives from it
        return 0;
    }
    FUZZ_CHECK(!file->isActive());
    const std::vector<avfile::AvTrack> tracks = file->getTracks();
    const uint64_t duration = file->getDuration();
    readSamples(*file, kMaxSamples, tracks.size());

    for (uint32_t track = 0; track <= tracks.size(); ++track) {
        file->getActiveDuration(track);
        for (uint64_t position : {uint64_t{0}, duration / 2, duration + 1000}) {
            file->getIFramePosition(track, position);
            if (file->jumpToTime(track, position)) {
                readSamples(*file, kSamplesAfterJump, tracks.size());
            }
        }
    }
    file->setSampleFilter(avfile::AvSampleFilter::KeyFramesOnly);
    readSamples(*file, kSamplesAfterJump, tracks.size());
    return 0;
}
