#pragma once

namespace dash {
namespace mpd {

// What a segment request fetches (ISO/IEC 23009-1 5.3.9: Initialization, RepresentationIndex,
// media Segment, BitstreamSwitching). The values are fixed: callers store and compare them.
enum class TransactionType {
    Unknown = 0,
    MPD = 1,
    InitializationSegment = 2,
    IndexSegment = 3,
    MediaSegment = 4,
    BitstreamSwitchingSegment = 5,
};

}  // namespace mpd
}  // namespace dash
