#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace avfile {

// State of a streamer. Any value outside the table prints as "Unknown".
enum class AvStreamerState : uint32_t {
    Initializing = 0,
    Starting = 1,
    Buffering = 2,
    Playing = 3,
    EndOfFile = 4,
    Error = 5,
    Stopped = 6,
    KeyframeSent = 7,
};

std::string toString(const AvStreamerState& state);
std::ostream& operator<<(std::ostream& os, const AvStreamerState& state);

}  // namespace avfile
