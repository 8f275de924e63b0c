#include "manifest/mpd/NumberParser.h"

#include <limits>

namespace dash {
namespace mpd {

namespace {

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Digits of `s` from `pos` to the end, saturating at `max`; false when there are none or a
// non-digit appears.
bool readDigits(const std::string& s, size_t pos, uint64_t max, uint64_t& value) {
    if (pos >= s.size()) return false;
    value = 0;
    for (size_t i = pos; i < s.size(); ++i) {
        if (s[i] < '0' || s[i] > '9') return false;
        const uint64_t digit = static_cast<uint64_t>(s[i] - '0');
        if (value > (max - digit) / 10) {
            value = max;  // keep scanning: the rest must still be digits
        } else {
            value = value * 10 + digit;
        }
    }
    return true;
}

}  // namespace

std::string NumberParser::Trim(const std::string& text) {
    size_t first = 0;
    size_t last = text.size();
    while (first < last && isXmlSpace(text[first])) ++first;
    while (last > first && isXmlSpace(text[last - 1])) --last;
    return text.substr(first, last - first);
}

bool NumberParser::ParseUnsigned(const std::string& text, uint64_t max, uint64_t& out) {
    const std::string s = Trim(text);
    const size_t pos = (!s.empty() && s[0] == '+') ? 1 : 0;
    uint64_t value = 0;
    if (!readDigits(s, pos, max, value)) return false;
    out = value;
    return true;
}

bool NumberParser::ParseUInt32(const std::string& text, uint32_t& out) {
    uint64_t value = 0;
    if (!ParseUnsigned(text, std::numeric_limits<uint32_t>::max(), value)) return false;
    out = static_cast<uint32_t>(value);
    return true;
}

bool NumberParser::ParseUInt64(const std::string& text, uint64_t& out) {
    return ParseUnsigned(text, std::numeric_limits<uint64_t>::max(), out);
}

bool NumberParser::ParseInt32(const std::string& text, int32_t& out) {
    const std::string s = Trim(text);
    const bool negative = !s.empty() && s[0] == '-';
    const size_t pos = (!s.empty() && (s[0] == '-' || s[0] == '+')) ? 1 : 0;
    // The magnitude of INT32_MIN is one more than INT32_MAX.
    const uint64_t max = negative ? 2147483648ull : 2147483647ull;
    uint64_t value = 0;
    if (!readDigits(s, pos, max, value)) return false;
    out = negative ? static_cast<int32_t>(-static_cast<int64_t>(value)) : static_cast<int32_t>(value);
    return true;
}

bool NumberParser::ParseBool(const std::string& text, bool& out) {
    const std::string s = Trim(text);
    if (s == "true" || s == "1") {
        out = true;
    } else if (s == "false" || s == "0") {
        out = false;
    } else {
        return false;
    }
    return true;
}

}  // namespace mpd
}  // namespace dash
