// Fuzz target: the DASH settings file, loaded the way the library loads it: the input is written
// to a temporary file (made once per process) and a new DashFactory loads it with
// getDashConfiguration (size check, TinyXML, DashConfiguration::init). The number reader is also
// run on the whole input as one text.
//
// Expected outcome for a file TinyXML refuses: DashException FAIL_UNKNOWN_ERROR. Checked: nothing
// else is thrown, and the derived values stay what they are defined to be (minimum resolutions
// 180, the minimum buffered-segment count ceil(max x 0.25)).
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "dash/DashConfiguration.h"
#include "dash/DashException.h"
#include "dash/DashFactory.h"
#include "fuzz/FuzzCheck.h"

namespace {

std::string gSettingsPath;

void removeSettingsFile() { std::remove(gSettingsPath.c_str()); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // In memory where there is a tmpfs: one file write and read per input.
    std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    name += "/velar-settings-fuzz-XXXXXX";
    const int fd = mkstemp(&name[0]);
    FUZZ_CHECK(fd >= 0);
    close(fd);
    gSettingsPath = name;
    std::atexit(removeSettingsFile);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);  // NUL-terminated copy
    dash::DashConfiguration::convertStringToIntValue(text.c_str());
    {
        std::ofstream file(gSettingsPath, std::ios::binary | std::ios::trunc);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        FUZZ_CHECK(file.good());
    }
    const auto factory = std::make_shared<dash::DashFactory>();
    try {
        const std::shared_ptr<dash::IDashConfiguration> configuration = factory->getDashConfiguration(gSettingsPath);
        FUZZ_CHECK(configuration->getMinResolution() == 180 && configuration->getMinResolutionLive() == 180);
        const int max = configuration->getMaxBufferedSegment();
        if (max >= 0 && max <= (1 << 24)) {  // exact in single precision
            FUZZ_CHECK(configuration->getMinBufferedSegment() == static_cast<int>(std::ceil(max * 0.25f)));
        }
    } catch (const dash::DashException& e) {
        FUZZ_CHECK(e.getDownloadStatus() == dash::FAIL_UNKNOWN_ERROR);
    }
    return 0;
}
