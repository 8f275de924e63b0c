// Fuzz target: the DASH settings file. The bytes are parsed by TinyXML as the factory loads the
// file (a document TinyXML refuses is refused by the factory too, and ends the run), then applied
// by DashConfiguration::init, which must never throw. The number reader is also run on the whole
// input as one text.
//
// Checked: init throws nothing; the derived values stay what they are defined to be (minimum
// resolutions 180, the minimum buffered-segment count ceil(max x 0.25)).
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include <tinyxml.h>

#include "dash/DashConfiguration.h"
#include "fuzz/FuzzCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);  // NUL-terminated copy
    dash::DashConfiguration::convertStringToIntValue(text.c_str());

    TiXmlDocument document;
    document.Parse(text.c_str(), nullptr, TIXML_DEFAULT_ENCODING);
    if (document.Error()) {
        return 0;
    }
    dash::DashConfiguration configuration;
    configuration.init(&document);
    FUZZ_CHECK(configuration.getMinResolution() == 180 && configuration.getMinResolutionLive() == 180);
    const int max = configuration.getMaxBufferedSegment();
    if (max >= 0 && max <= (1 << 24)) {  // exact in single precision
        FUZZ_CHECK(configuration.getMinBufferedSegment() == static_cast<int>(std::ceil(max * 0.25f)));
    }
    return 0;
}
