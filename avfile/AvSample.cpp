#include "avfile/AvSample.h"

#include <sstream>

namespace avfile {

std::string AvSample::toString() const {
    std::ostringstream os;
    os << *this;
    return os.str();
}

namespace {
const AvSample kEmptySample{};
}  // namespace

// Copy-assigning from an empty record keeps the capacity of every container and string.
void AvSample::clear() { *this = kEmptySample; }

std::ostream& operator<<(std::ostream& os, const AvSample& sample) {
    return os << "track:" << sample.track << " datalen:" << sample.data.size()
              << " dts:" << sample.dts << " pts:" << sample.pts
              << " firstSample:" << (sample.firstSample ? 1 : 0)
              << " trackCodec:" << avfile::toString(sample.trackInfo.type);
}

}  // namespace avfile
