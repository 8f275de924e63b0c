#include "avfile/AvStreamerState.h"

namespace avfile {

std::string toString(const AvStreamerState& state) {
    switch (state) {
        case AvStreamerState::Initializing:
            return "Initializing";
        case AvStreamerState::Starting:
            return "Starting";
        case AvStreamerState::Buffering:
            return "Buffering";
        case AvStreamerState::Playing:
            return "Playing";
        case AvStreamerState::EndOfFile:
            return "EndOfFile";
        case AvStreamerState::Error:
            return "Error";
        case AvStreamerState::Stopped:
            return "Stopped";
        case AvStreamerState::KeyframeSent:
            return "KeyframeSent";
        default:
            return "Unknown";
    }
}

std::ostream& operator<<(std::ostream& os, const AvStreamerState& state) {
    return os << toString(state);
}

}  // namespace avfile
