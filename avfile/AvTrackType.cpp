#include "avfile/AvTrackType.h"

namespace avfile {

std::string toString(const AvTrackType& type) {
    switch (type) {
        case AvTrackType::Video:
            return "Video";
        case AvTrackType::Audio:
            return "Audio";
        case AvTrackType::Subtitle:
            return "Subtitle";
        default:
            return "Unknown";
    }
}

std::ostream& operator<<(std::ostream& os, const AvTrackType& type) { return os << toString(type); }

}  // namespace avfile
