#include "avfile/AvTrack.h"

#include <sstream>

namespace avfile {

std::string AvTrack::toString() const {
    std::ostringstream os;
    os << *this;
    return os.str();
}

std::ostream& operator<<(std::ostream& os, const AvTrack& track) {
    return os << "track:" << track.id << " type:" << avfile::toString(track.type)
              << " codec:" << track.codec << " durationMs:" << track.durationMs;
}

}  // namespace avfile
