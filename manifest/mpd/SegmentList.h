#pragma once

#include <memory>
#include <vector>

#include "manifest/mpd/ISegmentList.h"
#include "manifest/mpd/MultipleSegmentBaseImpl.h"
#include "manifest/mpd/SegmentURL.h"

namespace dash {
namespace mpd {

// A SegmentList element. Owns the SegmentURLs written at its level; a level that writes none
// uses those of the SegmentList one level up.
class SegmentList : public MultipleSegmentBaseImpl<ISegmentList> {
public:
    const std::vector<ISegmentURL*>& GetSegmentURLs() const override {
        return mOwnUrls.empty() && mInheritedUrls ? *mInheritedUrls : mView;
    }

    void AddSegmentURL(std::unique_ptr<SegmentURL> url) {
        mView.push_back(url.get());
        mOwnUrls.push_back(std::move(url));
    }
    void InheritFrom(const SegmentList& parent) {
        InheritMultiple(parent);
        if (mOwnUrls.empty()) mInheritedUrls = &parent.GetSegmentURLs();
    }

private:
    std::vector<std::unique_ptr<SegmentURL>> mOwnUrls;
    std::vector<ISegmentURL*> mView;
    const std::vector<ISegmentURL*>* mInheritedUrls = nullptr;
};

}  // namespace mpd
}  // namespace dash
