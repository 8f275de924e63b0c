#pragma once

#include "dash/DashCapability.h"

namespace avfile {

// Implemented by DASH-backed files beside IAvFile, for hosts that want the DASH figures (status,
// representation in force per adaptation set, buffered segments, download rate, content
// protection). A host reaches it from an IAvFile with dynamic_cast; other files do not have it.
// May be called from any thread, also while the streamer thread reads the file: it reads only the
// download command, which is safe for that.
class IAvDashInfo {
public:
    virtual ~IAvDashInfo() {}
    virtual dash::DashCapability getDashCapability() const = 0;
};

}  // namespace avfile
