#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/Element.h"
#include "manifest/mpd/IDescriptor.h"

namespace dash {
namespace mpd {

// A descriptor element (ContentProtection, Role, ...). Owns its child elements.
class Descriptor : public IDescriptor {
public:
    explicit Descriptor(std::map<std::string, std::string> attributes);

    const std::string& GetSchemeIdUri() const override { return mSchemeIdUri; }
    const std::string& GetValue() const override { return mValue; }
    const std::string& GetId() const override { return mId; }
    const std::map<std::string, std::string>& GetAttributes() const override { return mAttributes; }
    const std::vector<IElement*>& GetChildElements() const override { return mView; }
    const IElement* FindChildElement(const std::string& localName) const override;

    void AddChild(std::unique_ptr<Element> child);

private:
    std::map<std::string, std::string> mAttributes;
    std::string mSchemeIdUri;
    std::string mValue;
    std::string mId;
    std::vector<std::unique_ptr<Element>> mChildren;
    std::vector<IElement*> mView;
};

}  // namespace mpd
}  // namespace dash
