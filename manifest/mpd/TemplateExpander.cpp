#include "manifest/mpd/TemplateExpander.h"

#include <cinttypes>
#include <cstdio>

namespace dash {
namespace mpd {

namespace {

const size_t kMaxWidth = 64;

// Formats `value` per the tag "%[0][width]conv" (the text after the identifier name).
bool format(const std::string& tag, uint64_t value, std::string& out, std::string& error) {
    if (tag.empty()) {
        out += std::to_string(value);
        return true;
    }
    if (tag[0] != '%' || tag.size() < 2) {
        error = "bad format tag \"" + tag + "\"";
        return false;
    }
    size_t pos = 1;
    bool zero = false;
    if (tag[pos] == '0') {
        zero = true;
        ++pos;
    }
    size_t width = 0;
    while (pos < tag.size() && tag[pos] >= '0' && tag[pos] <= '9') {
        width = width * 10 + static_cast<size_t>(tag[pos] - '0');
        if (width > kMaxWidth) {
            error = "format width too large in \"" + tag + "\"";
            return false;
        }
        ++pos;
    }
    if (pos + 1 != tag.size()) {
        error = "bad format tag \"" + tag + "\"";
        return false;
    }
    const char conv = tag[pos];
    const char* printfFormat = nullptr;
    switch (conv) {
        case 'd': case 'i': case 'u': printfFormat = zero ? "%0*" PRIu64 : "%*" PRIu64; break;
        case 'x': printfFormat = zero ? "%0*" PRIx64 : "%*" PRIx64; break;
        case 'X': printfFormat = zero ? "%0*" PRIX64 : "%*" PRIX64; break;
        case 'o': printfFormat = zero ? "%0*" PRIo64 : "%*" PRIo64; break;
        default:
            error = "bad format tag \"" + tag + "\"";
            return false;
    }
    char buffer[kMaxWidth + 32];
    std::snprintf(buffer, sizeof(buffer), printfFormat, static_cast<int>(width), value);
    out += buffer;
    return true;
}

}  // namespace

bool TemplateExpander::Expand(const std::string& text, const Values& values, std::string& out,
                              std::string& error) {
    std::string result;
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t open = text.find('$', pos);
        if (open == std::string::npos) {
            result.append(text, pos, std::string::npos);
            break;
        }
        result.append(text, pos, open - pos);
        const size_t close = text.find('$', open + 1);
        if (close == std::string::npos) {
            error = "unterminated identifier at \"" + text.substr(open) + "\"";
            return false;
        }
        const std::string identifier = text.substr(open + 1, close - open - 1);
        pos = close + 1;
        if (identifier.empty()) {
            result += '$';
            continue;
        }
        const size_t percent = identifier.find('%');
        const std::string name = identifier.substr(0, percent);
        const std::string tag = percent == std::string::npos ? std::string() : identifier.substr(percent);
        if (name == "RepresentationID") {
            if (!tag.empty()) {
                error = "format tag on $RepresentationID$";
                return false;
            }
            if (values.representationId == nullptr) {
                error = "no value for $RepresentationID$";
                return false;
            }
            result += *values.representationId;
            continue;
        }
        bool has = false;
        uint64_t value = 0;
        if (name == "Bandwidth") {
            has = values.hasBandwidth;
            value = values.bandwidth;
        } else if (name == "Number") {
            has = values.hasNumber;
            value = values.number;
        } else if (name == "Time") {
            has = values.hasTime;
            value = values.time;
        } else if (name == "SubNumber") {
            has = true;  // no sub-segment addressing: always the first sub-segment
        } else {
            error = "unknown identifier $" + identifier + "$";
            return false;
        }
        if (!has) {
            error = "no value for $" + name + "$";
            return false;
        }
        if (!format(tag, value, result, error)) return false;
    }
    out = result;
    return true;
}

bool TemplateExpander::Uses(const std::string& text, const std::string& name) {
    size_t pos = 0;
    while ((pos = text.find('$', pos)) != std::string::npos) {
        const size_t close = text.find('$', pos + 1);
        if (close == std::string::npos) return false;
        const std::string identifier = text.substr(pos + 1, close - pos - 1);
        if (identifier.substr(0, identifier.find('%')) == name) return true;
        pos = close + 1;
    }
    return false;
}

}  // namespace mpd
}  // namespace dash
