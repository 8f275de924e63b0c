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

const char* dashStatusName(dash::DashDownloadStatus status) {
    switch (status) {
        case dash::NO_SEGMENT: return "NO_SEGMENT";
        case dash::BUFFERING: return "BUFFERING";
        case dash::READY: return "READY";
        case dash::CANCELLED: return "CANCELLED";
        case dash::COMPLETED: return "COMPLETED";
        case dash::FEATURE_NOT_SUPPORTED: return "FEATURE_NOT_SUPPORTED";
        case dash::FAIL_INVALID_URL: return "FAIL_INVALID_URL";
        case dash::FAIL_INVALID_MPD: return "FAIL_INVALID_MPD";
        case dash::FAIL_INVALID_ADAPTATION: return "FAIL_INVALID_ADAPTATION";
        case dash::FAIL_INVALID_REP: return "FAIL_INVALID_REP";
        case dash::FAIL_BAD_CONNECTION: return "FAIL_BAD_CONNECTION";
        case dash::FAIL_UNKNOWN_ERROR: return "FAIL_UNKNOWN_ERROR";
    }
    return "FAIL_UNKNOWN_ERROR";
}

}  // namespace velar_play
