#include "manifest/mpd/SegmentTemplate.h"

#include <memory>

#include "manifest/mpd/Segment.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/mpd/SegmentTemplate")

namespace dash {
namespace mpd {

namespace {

const char* typeName(TransactionType type) {
    switch (type) {
        case TransactionType::InitializationSegment: return "initialization";
        case TransactionType::IndexSegment: return "index";
        case TransactionType::BitstreamSwitchingSegment: return "bitstreamSwitching";
        default: return "media";
    }
}

}  // namespace

void SegmentTemplate::InheritFrom(const SegmentTemplate& parent) {
    InheritMultiple(parent);
    inherit(mMedia, parent.mMedia);
    inherit(mInitializationTemplate, parent.mInitializationTemplate);
    inherit(mIndex, parent.mIndex);
    inherit(mBitstreamSwitchingTemplate, parent.mBitstreamSwitchingTemplate);
}

ISegment* SegmentTemplate::make(const std::optional<std::string>& pattern, TransactionType type,
                                const std::vector<IBaseUrl*>& baseUrls,
                                const TemplateExpander::Values& values) const {
    if (!pattern) {
        ZUN_LOG(0, "SegmentTemplate has no %s template", typeName(type));
        return nullptr;
    }
    std::string uri;
    std::string error;
    if (!TemplateExpander::Expand(*pattern, values, uri, error)) {
        ZUN_LOG(0, "Cannot expand %s template \"%s\": %s", typeName(type), pattern->c_str(),
                error.c_str());
        return nullptr;
    }
    std::unique_ptr<Segment> segment(new Segment());
    if (!segment->Init(*mDocumentUrl, baseUrls, uri, "", type)) return nullptr;
    return segment.release();
}

TemplateExpander::Values SegmentTemplate::representationValues(const std::string& representationID,
                                                               uint32_t bandwidth) {
    TemplateExpander::Values values;
    values.representationId = &representationID;
    values.hasBandwidth = true;
    values.bandwidth = bandwidth;
    return values;
}

ISegment* SegmentTemplate::ToInitializationSegment(const std::vector<IBaseUrl*>& baseUrls,
                                                   const std::string& representationID,
                                                   uint32_t bandwidth) const {
    if (!mInitializationTemplate && GetInitialization() != nullptr) {
        return GetInitialization()->ToSegment(baseUrls);
    }
    TemplateExpander::Values values = representationValues(representationID, bandwidth);
    return make(mInitializationTemplate, TransactionType::InitializationSegment, baseUrls, values);
}

ISegment* SegmentTemplate::ToBitstreamSwitchingSegment(const std::vector<IBaseUrl*>& baseUrls,
                                                       const std::string& representationID,
                                                       uint32_t bandwidth) const {
    if (!mBitstreamSwitchingTemplate && GetBitstreamSwitching() != nullptr) {
        return GetBitstreamSwitching()->ToSegment(baseUrls);
    }
    TemplateExpander::Values values = representationValues(representationID, bandwidth);
    return make(mBitstreamSwitchingTemplate, TransactionType::BitstreamSwitchingSegment, baseUrls,
                values);
}

ISegment* SegmentTemplate::fromNumber(const std::optional<std::string>& pattern, TransactionType type,
                                      const std::vector<IBaseUrl*>& baseUrls,
                                      const std::string& representationID, uint32_t bandwidth,
                                      uint64_t number) const {
    TemplateExpander::Values values = representationValues(representationID, bandwidth);
    values.hasNumber = true;
    values.number = number;
    if (pattern && TemplateExpander::Uses(*pattern, "Time") && mTimeline.Get() != nullptr &&
        number >= GetStartNumber()) {
        values.hasTime = mTimeline.Get()->TimeOfIndex(number - GetStartNumber(), values.time);
    }
    return make(pattern, type, baseUrls, values);
}

ISegment* SegmentTemplate::fromTime(const std::optional<std::string>& pattern, TransactionType type,
                                    const std::vector<IBaseUrl*>& baseUrls,
                                    const std::string& representationID, uint32_t bandwidth,
                                    uint64_t time) const {
    TemplateExpander::Values values = representationValues(representationID, bandwidth);
    values.hasTime = true;
    values.time = time;
    uint64_t index = 0;
    if (pattern && TemplateExpander::Uses(*pattern, "Number") && mTimeline.Get() != nullptr &&
        mTimeline.Get()->IndexOfTime(time, index)) {
        values.hasNumber = true;
        values.number = GetStartNumber() + index;
    }
    return make(pattern, type, baseUrls, values);
}

ISegment* SegmentTemplate::GetMediaSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                                     const std::string& representationID,
                                                     uint32_t bandwidth, uint64_t number) const {
    return fromNumber(mMedia, TransactionType::MediaSegment, baseUrls, representationID, bandwidth, number);
}

ISegment* SegmentTemplate::GetIndexSegmentFromNumber(const std::vector<IBaseUrl*>& baseUrls,
                                                     const std::string& representationID,
                                                     uint32_t bandwidth, uint64_t number) const {
    return fromNumber(mIndex, TransactionType::IndexSegment, baseUrls, representationID, bandwidth, number);
}

ISegment* SegmentTemplate::GetMediaSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                                   const std::string& representationID,
                                                   uint32_t bandwidth, uint64_t time) const {
    return fromTime(mMedia, TransactionType::MediaSegment, baseUrls, representationID, bandwidth, time);
}

ISegment* SegmentTemplate::GetIndexSegmentFromTime(const std::vector<IBaseUrl*>& baseUrls,
                                                   const std::string& representationID,
                                                   uint32_t bandwidth, uint64_t time) const {
    return fromTime(mIndex, TransactionType::IndexSegment, baseUrls, representationID, bandwidth, time);
}

}  // namespace mpd
}  // namespace dash
