// Fuzz target: the ISO 8601 duration and date-time parsers of DashUtil (MPD attributes such as
// @mediaPresentationDuration and @availabilityStartTime), both run on every input text.
//
// Expected outcomes for a duration: DashException FAIL_INVALID_MPD ("invalid ISO8601" without
// "P" or "T", "Duration is 0"), std::invalid_argument / std::out_of_range from the number
// conversions. Checked: a text without "P" or without "T" is always refused, and an accepted one
// is never 0 ms. The date-time parser never throws: whatever it cannot read is left at zero.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "dash/DashException.h"
#include "dash/DashUtil.h"
#include "fuzz/FuzzCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    bool accepted = false;
    try {
        const uint64_t ms = dash::DashUtil::convertISO8601DurationToMs(text);
        accepted = true;
        FUZZ_CHECK(ms > 0);
    } catch (const dash::DashException& e) {
        FUZZ_CHECK(e.getDownloadStatus() == dash::FAIL_INVALID_MPD);
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    if (text.find('P') == std::string::npos || text.find('T') == std::string::npos) {
        FUZZ_CHECK(!accepted);
    }
    dash::DashUtil::convertISO8601DateTimeToTime(text);
    return 0;
}
