#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace avfile {

// Kind of a track. Values are fixed; any value outside the table prints as "Unknown".
enum class AvTrackType : int32_t {
    Video = 0,
    Audio = 1,
    Subtitle = 2,
    Unknown = 3,
};

std::string toString(const AvTrackType& type);
std::ostream& operator<<(std::ostream& os, const AvTrackType& type);

}  // namespace avfile
