#pragma once

namespace dash {

// Where a time lies in a representation's list of available segments.
enum SeekPosition {
    BeforeStart = 0,  // before the first available segment
    InRange = 1,      // a segment holds it
    PastEnd = 2,      // after the last available segment
};

}  // namespace dash
