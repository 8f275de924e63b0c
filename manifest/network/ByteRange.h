#pragma once

#include <cstdint>
#include <string>

namespace dash {
namespace network {

// An HTTP byte range as the manifest writes it (ISO/IEC 23009-1 mediaRange, indexRange and
// Initialization@range: an RFC 7233 byte range without the "bytes=" prefix): "first-last" with
// both bounds inclusive, "first-" up to the end, or empty for the whole resource. Suffix ranges
// ("-500") and lists ("0-9,20-29") are not accepted.
struct ByteRange {
    uint64_t first = 0;
    bool hasLast = false;
    uint64_t last = 0;  // inclusive; valid when hasLast

    bool whole() const { return first == 0 && !hasLast; }

    // Parses `text`; false (and `out` untouched) for anything but the forms above, for numbers
    // that overflow 64 bits and for last < first. Blanks around the numbers are not allowed.
    static bool parse(const std::string& text, ByteRange& out);
};

}  // namespace network
}  // namespace dash
