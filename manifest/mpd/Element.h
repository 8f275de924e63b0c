#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/IElement.h"

namespace dash {
namespace mpd {

// A foreign XML element kept as written (see IElement). Owns its children.
class Element : public IElement {
public:
    Element(std::string name, std::string localName, std::string namespaceUri, std::string text,
            std::map<std::string, std::string> attributes)
        : mName(std::move(name)), mLocalName(std::move(localName)), mNamespaceUri(std::move(namespaceUri)),
          mText(std::move(text)), mAttributes(std::move(attributes)) {}

    const std::string& GetName() const override { return mName; }
    const std::string& GetLocalName() const override { return mLocalName; }
    const std::string& GetNamespaceUri() const override { return mNamespaceUri; }
    const std::string& GetText() const override { return mText; }
    const std::map<std::string, std::string>& GetAttributes() const override { return mAttributes; }
    const std::vector<IElement*>& GetChildElements() const override { return mView; }

    void AddChild(std::unique_ptr<Element> child) {
        mView.push_back(child.get());
        mChildren.push_back(std::move(child));
    }

private:
    std::string mName;
    std::string mLocalName;
    std::string mNamespaceUri;
    std::string mText;
    std::map<std::string, std::string> mAttributes;
    std::vector<std::unique_ptr<Element>> mChildren;
    std::vector<IElement*> mView;
};

}  // namespace mpd
}  // namespace dash
