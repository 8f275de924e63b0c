#include "manifest/mpd/XmlDocument.h"

#include <libxml/parser.h>

#include <climits>
#include <mutex>

namespace dash {
namespace mpd {

namespace {

// libxml2 must be initialised once before it is used from several threads.
void initLibxml() {
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}

// Owner of a parser context for the duration of one parse.
struct ParserContextDeleter {
    void operator()(xmlParserCtxt* ctxt) const { xmlFreeParserCtxt(ctxt); }
};

}  // namespace

std::unique_ptr<XmlDocument> XmlDocument::Parse(const char* data, size_t size, const std::string& url,
                                                std::string& error) {
    initLibxml();
    if (size > static_cast<size_t>(INT_MAX)) {
        error = "document too large";
        return nullptr;
    }
    std::unique_ptr<xmlParserCtxt, ParserContextDeleter> ctxt(xmlNewParserCtxt());
    if (!ctxt) {
        error = "out of memory";
        return nullptr;
    }
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
    xmlDoc* doc = xmlCtxtReadMemory(ctxt.get(), data, static_cast<int>(size), url.c_str(), nullptr, options);
    if (doc == nullptr) {
        const xmlError* last = xmlCtxtGetLastError(ctxt.get());
        if (last != nullptr && last->message != nullptr) {
            std::string message = last->message;
            while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
            error = "line " + std::to_string(last->line) + ": " + message;
        } else {
            error = "not well-formed XML";
        }
        return nullptr;
    }
    return std::unique_ptr<XmlDocument>(new XmlDocument(doc));
}

XmlDocument::~XmlDocument() { xmlFreeDoc(mDoc); }

xmlNode* XmlDocument::Root() const { return xmlDocGetRootElement(mDoc); }

}  // namespace mpd
}  // namespace dash
