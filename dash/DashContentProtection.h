#pragma once

#include <string>
#include <vector>

#include "manifest/mpd/IDescriptor.h"

namespace dash {

// One ContentProtection descriptor of an adaptation set (ISO/IEC 23009-1 5.8.4.1, 5.8.5.2), kept
// for the host, which hands the data to its own DRM client. Nothing here decrypts.
//
// A plain record (copyable). Read from the AdaptationSet's descriptors in document order, then those
// of its Representations; a descriptor equal in every field to one already taken is taken once.
struct DashContentProtection {
    // DRM systems this library names; schemeIdUri "urn:uuid:<system id>" (ISO/IEC 23001-7).
    static constexpr const char* kPlayReadySystemId = "9a04f079-9840-4286-ab92-e65be0885f95";
    static constexpr const char* kWidevineSystemId = "edef8ba9-79d6-4ace-a3c8-27dcd51d21ed";
    // The common-encryption scheme descriptor: carries the default key id, no system data.
    static constexpr const char* kMp4ProtectionScheme = "urn:mpeg:dash:mp4protection:2011";

    enum class System { None, PlayReady, Widevine, Other };

    std::string schemeIdUri;  // @schemeIdUri as written
    std::string value;        // @value ("cenc", "MSPR 2.0", ...), empty when absent
    std::string defaultKid;   // @cenc:default_KID as written, empty when absent
    // The system id in lower case without "urn:uuid:" (empty for a scheme that is not a uuid URN).
    std::string systemId;
    System system = System::None;  // None: the mp4protection scheme or a non-uuid scheme
    std::string pssh;              // text of the "cenc:pssh" child: a whole pssh box in base64
    std::string pro;               // text of the "mspr:pro" child: PlayReady header object, base64

    // Builds the record from one descriptor of the manifest model.
    static DashContentProtection fromDescriptor(const mpd::IDescriptor& descriptor);
    // "PlayReady", "Widevine", "Other" or "None".
    static const char* systemName(System system);
};

}  // namespace dash
