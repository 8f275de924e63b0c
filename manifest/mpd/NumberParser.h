#pragma once

#include <cstdint>
#include <string>

namespace dash {
namespace mpd {

// Reads the integer attributes of an MPD (xs:unsignedInt, xs:unsignedLong, xs:int) without ever
// overflowing: values beyond the target type saturate at its limit. Leading and trailing XML
// white space and a leading "+" are accepted (xs:integer lexical form); anything else (empty,
// fractions, words, a minus sign on an unsigned value) is refused with false and `out` untouched.
class NumberParser {
public:
    static bool ParseUnsigned(const std::string& text, uint64_t max, uint64_t& out);
    static bool ParseUInt32(const std::string& text, uint32_t& out);
    static bool ParseUInt64(const std::string& text, uint64_t& out);
    // Signed 32-bit, saturating at INT32_MIN and INT32_MAX.
    static bool ParseInt32(const std::string& text, int32_t& out);
    // "true"/"false"/"1"/"0" (xs:boolean).
    static bool ParseBool(const std::string& text, bool& out);
    // XML white space (space, tab, CR, LF) removed from both ends.
    static std::string Trim(const std::string& text);
};

}  // namespace mpd
}  // namespace dash
