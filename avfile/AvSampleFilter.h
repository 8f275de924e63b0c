#pragma once

#include <cstdint>

namespace avfile {

// Which samples IAvFile::getNextSample delivers.
enum class AvSampleFilter : int32_t {
    AllSamples = 0,     // every sample (a newly opened file)
    KeyFramesOnly = 1,  // samples without the key-frame flag are skipped (trick play)
};

}  // namespace avfile
