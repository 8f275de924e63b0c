#include "dash/DashContentProtection.h"

#include <algorithm>
#include <cctype>

namespace dash {

namespace {

const char* const kUuidPrefix = "urn:uuid:";

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string childText(const mpd::IDescriptor& descriptor, const char* localName) {
    const mpd::IElement* child = descriptor.FindChildElement(localName);
    return child != nullptr ? child->GetText() : std::string();
}

}  // namespace

DashContentProtection DashContentProtection::fromDescriptor(const mpd::IDescriptor& descriptor) {
    DashContentProtection record;
    record.schemeIdUri = descriptor.GetSchemeIdUri();
    record.value = descriptor.GetValue();
    const std::map<std::string, std::string>& attributes = descriptor.GetAttributes();
    // The prefix is the document's choice; match the local name "default_KID".
    for (const auto& attribute : attributes) {
        const std::string& name = attribute.first;
        const size_t colon = name.find(':');
        if ((colon == std::string::npos ? name : name.substr(colon + 1)) == "default_KID") {
            record.defaultKid = attribute.second;
            break;
        }
    }
    const std::string scheme = lowerCase(record.schemeIdUri);
    const std::string prefix = kUuidPrefix;
    if (scheme.compare(0, prefix.size(), prefix) == 0) {
        record.systemId = scheme.substr(prefix.size());
        if (record.systemId == kPlayReadySystemId) {
            record.system = System::PlayReady;
        } else if (record.systemId == kWidevineSystemId) {
            record.system = System::Widevine;
        } else {
            record.system = System::Other;
        }
    }
    record.pssh = childText(descriptor, "pssh");
    record.pro = childText(descriptor, "pro");
    return record;
}

const char* DashContentProtection::systemName(System system) {
    switch (system) {
        case System::PlayReady:
            return "PlayReady";
        case System::Widevine:
            return "Widevine";
        case System::Other:
            return "Other";
        case System::None:
            break;
    }
    return "None";
}

}  // namespace dash
