#include "manifest/network/ByteRange.h"

#include <limits>

namespace dash {
namespace network {

namespace {

// Decimal digits only, at least one, no overflow.
bool parseNumber(const std::string& text, size_t begin, size_t end, uint64_t& value) {
    if (begin >= end) {
        return false;
    }
    uint64_t v = 0;
    for (size_t i = begin; i < end; ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') {
            return false;
        }
        const uint64_t digit = static_cast<uint64_t>(c - '0');
        if (v > (std::numeric_limits<uint64_t>::max() - digit) / 10) {
            return false;
        }
        v = v * 10 + digit;
    }
    value = v;
    return true;
}

}  // namespace

bool ByteRange::parse(const std::string& text, ByteRange& out) {
    if (text.empty()) {
        out = ByteRange();
        return true;
    }
    const size_t dash = text.find('-');
    if (dash == std::string::npos || text.find('-', dash + 1) != std::string::npos) {
        return false;
    }
    ByteRange range;
    if (!parseNumber(text, 0, dash, range.first)) {
        return false;
    }
    if (dash + 1 < text.size()) {
        if (!parseNumber(text, dash + 1, text.size(), range.last) || range.last < range.first) {
            return false;
        }
        range.hasLast = true;
    }
    out = range;
    return true;
}

}  // namespace network
}  // namespace dash
