#include "tools/StateName.h"

namespace velar_play {

const char* stateName(avfile::AvStreamerState state) {
    switch (state) {
        case avfile::AvStreamerState::Initializing: return "Initializing";
        case avfile::AvStreamerState::Starting: return "Starting";
        case avfile::AvStreamerState::Buffering: return "Buffering";
        case avfile::AvStreamerState::Playing: return "Playing";
        case avfile::AvStreamerState::EndOfFile: return "EndOfFile";
        case avfile::AvStreamerState::Error: return "Error";
        case avfile::AvStreamerState::Stopped: return "Stopped";
        case avfile::AvStreamerState::KeyframeSent: return "KeyframeSent";
    }
    return "Unknown";
}

}  // namespace velar_play
