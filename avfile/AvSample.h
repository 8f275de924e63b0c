#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "avfile/AvTrack.h"

namespace avfile {

// One demuxed access unit, filled by IAvFile::getNextSample into a record the caller owns and
// reuses (every field is overwritten on each OK). Reusing one record is what keeps the hot path
// free of allocations: `data` keeps the capacity of the largest sample seen, so a steady stream
// reallocates nothing.
struct AvSample {
    uint32_t track = 0;               // id of the sample's AvTrack
    std::vector<uint8_t> data;        // payload as the container stores it (AVC: length-prefixed NALs)
    uint64_t dts = 0;                 // decode time stamp, 90 kHz ticks
    uint64_t pts = 0;                 // presentation time stamp, 90 kHz ticks
    bool firstSample = false;         // first sample of its track after opening or a jump
    bool keyFrame = false;            // random access point
    AvTrack trackInfo;                // copy of the description of the sample's track

    // "track:<t> datalen:<n> dts:<d> pts:<p> firstSample:<0|1> trackCodec:<track type text>".
    // The label "trackCodec:" is followed by the track type, not the codec name: log readers match
    // on that pairing.
    std::string toString() const;

    // Makes the record equal to a default-constructed one (zero numbers, false flags, empty
    // payload, lists and texts, no codec data) while keeping the capacity of its containers, so
    // that refilling it allocates nothing. Allocates nothing itself.
    void clear();
};

std::ostream& operator<<(std::ostream& os, const AvSample& sample);

}  // namespace avfile
