#pragma once

#include <optional>
#include <string>
#include <vector>

#include "manifest/mpd/ISegmentTemplate.h"
#include "manifest/mpd/MultipleSegmentBaseImpl.h"
#include "manifest/mpd/TemplateExpander.h"

namespace dash {
namespace mpd {

// A SegmentTemplate element (see ISegmentTemplate for the expansion rules). When @initialization
// is absent, the Initialization child element (if any) gives the initialisation segment.
// `documentUrl` points at the owning MPD's location text.
class SegmentTemplate : public MultipleSegmentBaseImpl<ISegmentTemplate> {
public:
    explicit SegmentTemplate(const std::string* documentUrl) : mDocumentUrl(documentUrl) {}

    const std::string& GetMediaTemplate() const override { return text(mMedia); }
    const std::string& GetInitializationTemplate() const override { return text(mInitializationTemplate); }
    const std::string& GetIndexTemplate() const override { return text(mIndex); }
    const std::string& GetBitstreamSwitchingTemplate() const override { return text(mBitstreamSwitchingTemplate); }

    ISegment* ToInitializationSegment(const std::vector<IBaseUrl*>& baseUrls,
                                      const std::string& representationID,
                                      uint32_t bandwidth) const override;
    ISegment* ToBitstreamSwitchingSegment(const std::vector<IBaseUrl*>& baseUrls,
                                          const std::string& representationID,
                                          uint32_t bandwidth) const override;
    ISegment* GetMediaSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                        const std::string& representationID, uint32_t bandwidth,
                                        uint64_t number) const override;
    ISegment* GetIndexSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                        const std::string& representationID, uint32_t bandwidth,
                                        uint64_t number) const override;
    ISegment* GetMediaSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                      const std::string& representationID, uint32_t bandwidth,
                                      uint64_t time) const override;
    ISegment* GetIndexSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                      const std::string& representationID, uint32_t bandwidth,
                                      uint64_t time) const override;

    std::optional<std::string> mMedia;
    std::optional<std::string> mInitializationTemplate;
    std::optional<std::string> mIndex;
    std::optional<std::string> mBitstreamSwitchingTemplate;

    void InheritFrom(const SegmentTemplate& parent);

private:
    // $RepresentationID$ and $Bandwidth$; `representationID` must outlive the result.
    static TemplateExpander::Values representationValues(const std::string& representationID,
                                                         uint32_t bandwidth);
    ISegment* fromNumber(const std::optional<std::string>& pattern, TransactionType type,
                         const std::vector<IBaseUrl*>& baseUrls, const std::string& representationID,
                         uint32_t bandwidth, uint64_t number) const;
    ISegment* fromTime(const std::optional<std::string>& pattern, TransactionType type,
                       const std::vector<IBaseUrl*>& baseUrls, const std::string& representationID,
                       uint32_t bandwidth, uint64_t time) const;
    ISegment* make(const std::optional<std::string>& pattern, TransactionType type,
                   const std::vector<IBaseUrl*>& baseUrls, const TemplateExpander::Values& values) const;

    const std::string* mDocumentUrl;
};

}  // namespace mpd
}  // namespace dash
