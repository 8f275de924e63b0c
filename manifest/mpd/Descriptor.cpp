#include "manifest/mpd/Descriptor.h"

#include "manifest/mpd/NumberParser.h"

namespace dash {
namespace mpd {

namespace {

std::string attribute(const std::map<std::string, std::string>& attributes, const char* name) {
    const auto it = attributes.find(name);
    return it == attributes.end() ? std::string() : NumberParser::Trim(it->second);
}

}  // namespace

Descriptor::Descriptor(std::map<std::string, std::string> attributes)
    : mAttributes(std::move(attributes)),
      mSchemeIdUri(attribute(mAttributes, "schemeIdUri")),
      mValue(attribute(mAttributes, "value")),
      mId(attribute(mAttributes, "id")) {}

const IElement* Descriptor::FindChildElement(const std::string& localName) const {
    for (const IElement* child : mView) {
        if (child->GetLocalName() == localName) return child;
    }
    return nullptr;
}

void Descriptor::AddChild(std::unique_ptr<Element> child) {
    mView.push_back(child.get());
    mChildren.push_back(std::move(child));
}

}  // namespace mpd
}  // namespace dash
