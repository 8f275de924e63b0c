#pragma once

#include <cstdint>
#include <string>

namespace dash {
namespace mpd {

// Expands the identifiers of a SegmentTemplate attribute (ISO/IEC 23009-1 5.3.9.4.4, table 16):
// $$ -> "$", $RepresentationID$, $Bandwidth$, $Number$, $Time$, $SubNumber$. The numeric ones may
// carry a format tag "%[0][width]d" (printf semantics; "x", "X", "o", "u" and "i" are accepted
// too), e.g. $Number%05d$ -> "00042". The width is limited to 64 characters.
// Stateless; callable from any thread.
class TemplateExpander {
public:
    // The values of one request; an identifier whose value is not set is an error.
    struct Values {
        const std::string* representationId = nullptr;
        bool hasBandwidth = false;
        uint64_t bandwidth = 0;
        bool hasNumber = false;
        uint64_t number = 0;
        bool hasTime = false;
        uint64_t time = 0;
    };

    // Writes the expansion to `out`. False (with `error` saying why) for an unterminated or
    // unknown identifier, a bad format tag, a format tag on $RepresentationID$, or an identifier
    // without a value.
    static bool Expand(const std::string& text, const Values& values, std::string& out,
                       std::string& error);
    // True when `text` contains the identifier `name` ("Number", "Time"), with or without a
    // format tag.
    static bool Uses(const std::string& text, const std::string& name);
};

}  // namespace mpd
}  // namespace dash
