#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <string>

namespace dash {
namespace mpd {

// Owns one libxml2 document (xmlDoc) and frees it once. Reading is namespace-tolerant: libxml2
// keeps elements and attributes with undeclared prefixes under their written names ("yt:foo"),
// so such documents still load. Network access and DTD loading are off; libxml2's own limits on
// depth and text sizes stay on (no XML_PARSE_HUGE).
class XmlDocument {
public:
    // Parses `size` bytes. Null with `error` set ("line 3: Opening and ending tag mismatch ...")
    // when the text is not well-formed XML. `url` is only used in libxml2's messages.
    static std::unique_ptr<XmlDocument> Parse(const char* data, size_t size, const std::string& url,
                                              std::string& error);
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // The root element, or null for a document without one.
    xmlNode* Root() const;

private:
    explicit XmlDocument(xmlDoc* doc) : mDoc(doc) {}
    xmlDoc* mDoc;
};

}  // namespace mpd
}  // namespace dash
