#pragma once

#include <map>
#include <string>
#include <vector>

namespace dash {
namespace mpd {

// An XML element kept as written, for content the model does not interpret itself: the children
// of a descriptor such as "cenc:pssh" or "mspr:pro" (ISO/IEC 23001-7 11.2, PlayReady header
// object), "dashif:Laurl", "mas:MarlinContentIds".
class IElement {
public:
    virtual ~IElement() {}
    // Qualified name as written, with the prefix the document used ("cenc:pssh"), or the bare
    // name for an element without prefix.
    virtual const std::string& GetName() const = 0;
    // Name without prefix ("pssh").
    virtual const std::string& GetLocalName() const = 0;
    // Namespace URI when the prefix is declared; empty otherwise.
    virtual const std::string& GetNamespaceUri() const = 0;
    // Character data directly inside the element with leading and trailing white space removed
    // (base64 payloads are often wrapped over lines).
    virtual const std::string& GetText() const = 0;
    // Attributes by qualified name as written ("cenc:default_KID").
    virtual const std::map<std::string, std::string>& GetAttributes() const = 0;
    virtual const std::vector<IElement*>& GetChildElements() const = 0;
};

}  // namespace mpd
}  // namespace dash
