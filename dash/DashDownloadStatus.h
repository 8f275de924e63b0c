#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace dash {

// The condition of a DASH session and the reason carried by every DashException.
// 0 to 2 are running statuses, computed on demand and never stored; 3 and above are final: a
// session that has stored one of them is over (see DashUtil::isCompletedStatus).
enum DashDownloadStatus : int32_t {
    NO_SEGMENT = 0,              // running; an unfinished adaptation set has nothing buffered
    BUFFERING = 1,               // running; fewer buffered segments than the configured minimum
    READY = 2,                   // running; enough segments buffered to consume
    CANCELLED = 3,               // cancelled or aborted
    COMPLETED = 4,               // every segment downloaded and consumed
    FEATURE_NOT_SUPPORTED = 5,   // the MPD uses something the client does not handle
    FAIL_INVALID_URL = 6,        // the MPD address is unusable
    FAIL_INVALID_MPD = 7,        // the MPD could not be fetched or parsed, or lacks required parts
    FAIL_INVALID_ADAPTATION = 8, // no usable adaptation set
    FAIL_INVALID_REP = 9,        // no usable representation
    FAIL_BAD_CONNECTION = 10,    // a segment or MPD download failed
    FAIL_UNKNOWN_ERROR = 11,     // anything else
};

// The enumerator's name ("READY"); every value outside 0..10 gives "FAIL_UNKNOWN_ERROR".
std::string toString(const DashDownloadStatus& status);

// Writes toString(status).
std::ostream& operator<<(std::ostream& os, const DashDownloadStatus& status);

}  // namespace dash
