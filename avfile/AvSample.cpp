#include "avfile/AvSample.h"

#include <sstream>

namespace avfile {

std::string AvSample::toString() const {
    std::ostringstream os;
    os << *this;
    return os.str();
}

void AvSample::clear() {
    track = 0;
    data.clear();
    dts = 0;
    pts = 0;
    firstSample = false;
    keyFrame = false;
    trackInfo.id = 0;
    trackInfo.type = AvTrackType::Unknown;
    trackInfo.codec.clear();
    trackInfo.durationMs = 0;
    trackInfo.codecData.reset();
    trackInfo.intList.clear();
    trackInfo.stringList.clear();
    trackInfo.stringList2.clear();
    trackInfo.intValue = 0;
    trackInfo.stringValue.clear();
    trackInfo.stringValue2.clear();
}

std::ostream& operator<<(std::ostream& os, const AvSample& sample) {
    return os << "track:" << sample.track << " datalen:" << sample.data.size()
              << " dts:" << sample.dts << " pts:" << sample.pts
              << " firstSample:" << (sample.firstSample ? 1 : 0)
              << " trackCodec:" << avfile::toString(sample.trackInfo.type);
}

}  // namespace avfile
