#pragma once

#include <map>
#include <string>
#include <vector>

#include "manifest/mpd/IElement.h"

namespace dash {
namespace mpd {

// A DescriptorType element (ISO/IEC 23009-1 5.8.2): ContentProtection, Role, Accessibility,
// EssentialProperty, SupplementalProperty, AudioChannelConfiguration, UTCTiming.
class IDescriptor {
public:
    virtual ~IDescriptor() {}
    // @schemeIdUri as written (case kept: "urn:uuid:9A04F079-..." and "urn:uuid:9a04f079-..."
    // both occur; compare case-insensitively where UUIDs are meant).
    virtual const std::string& GetSchemeIdUri() const = 0;
    virtual const std::string& GetValue() const = 0;
    virtual const std::string& GetId() const = 0;
    // Every attribute by qualified name as written, including the three above and foreign ones
    // such as "cenc:default_KID".
    virtual const std::map<std::string, std::string>& GetAttributes() const = 0;
    // Child elements in document order ("cenc:pssh", "mspr:pro", ...).
    virtual const std::vector<IElement*>& GetChildElements() const = 0;
    // The first child whose local name is `localName` ("pssh", "pro"), or null.
    virtual const IElement* FindChildElement(const std::string& localName) const = 0;
};

}  // namespace mpd
}  // namespace dash
