#include "manifest/mpd/MPDParser.h"

#include <libxml/tree.h>

#include <cstring>
#include <map>
#include <optional>
#include <sstream>

#include "manifest/mpd/NumberParser.h"
#include "manifest/mpd/XmlDocument.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/mpd/MPDParser")

namespace dash {
namespace mpd {

namespace {

// --- XML helpers -----------------------------------------------------------------------------

const char* rawName(const xmlChar* name) { return reinterpret_cast<const char*>(name); }

// Local part of an element name. Elements with an undeclared prefix keep "prefix:name" as their
// name and have no namespace, so the prefix is cut here.
std::string localName(const xmlNode* node) {
    const char* name = rawName(node->name);
    if (node->ns == nullptr) {
        const char* colon = std::strrchr(name, ':');
        if (colon != nullptr) return colon + 1;
    }
    return name;
}

bool is(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && localName(node) == name;
}

std::string qualifiedName(const xmlNode* node) {
    if (node->ns != nullptr && node->ns->prefix != nullptr) {
        return std::string(rawName(node->ns->prefix)) + ":" + rawName(node->name);
    }
    return rawName(node->name);
}

// The text of an attribute. Entity references that the parser left in place are kept as
// "&name;" and never expanded here, so a document of nested entities cannot blow up in memory.
std::string attrValue(const xmlAttr* attr) {
    std::string out;
    for (const xmlNode* c = attr->children; c != nullptr; c = c->next) {
        if (c->type == XML_TEXT_NODE && c->content != nullptr) {
            out += rawName(c->content);
        } else if (c->type == XML_ENTITY_REF_NODE) {
            out += std::string("&") + rawName(c->name) + ";";
        }
    }
    return out;
}

// An unprefixed attribute, if written.
std::optional<std::string> attr(const xmlNode* node, const char* name) {
    for (const xmlAttr* a = node->properties; a != nullptr; a = a->next) {
        if (a->ns == nullptr && std::strcmp(rawName(a->name), name) == 0) return attrValue(a);
    }
    return std::nullopt;
}

// An unprefixed attribute as trimmed text, empty when absent.
std::string text(const xmlNode* node, const char* name) {
    const std::optional<std::string> value = attr(node, name);
    return value ? NumberParser::Trim(*value) : std::string();
}

std::optional<std::string> optionalText(const xmlNode* node, const char* name) {
    std::optional<std::string> value = attr(node, name);
    if (value) value = NumberParser::Trim(*value);
    return value;
}

// Every attribute, by its name as written (with prefix).
std::map<std::string, std::string> allAttributes(const xmlNode* node) {
    std::map<std::string, std::string> out;
    for (const xmlAttr* a = node->properties; a != nullptr; a = a->next) {
        std::string name = rawName(a->name);
        if (a->ns != nullptr && a->ns->prefix != nullptr) name = std::string(rawName(a->ns->prefix)) + ":" + name;
        out[name] = attrValue(a);
    }
    return out;
}

// Character data directly inside `node` (not in child elements), trimmed.
std::string ownText(const xmlNode* node) {
    std::string out;
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if ((c->type == XML_TEXT_NODE || c->type == XML_CDATA_SECTION_NODE) && c->content != nullptr) {
            out += rawName(c->content);
        }
    }
    return NumberParser::Trim(out);
}

void logIgnored(const xmlNode* node, const char* name, const std::string& value, const char* why) {
    ZUN_LOG(0, "Ignoring %s=\"%s\" on <%s> (line %ld): %s", name, value.c_str(), localName(node).c_str(),
            static_cast<long>(xmlGetLineNo(node)), why);
}

// An unprefixed attribute read with `parse`; absent, or ignored with a log line (`what` says what
// it should have been) when `parse` refuses it.
template <class T>
std::optional<T> read(const xmlNode* node, const char* name, bool (*parse)(const std::string&, T&),
                      const char* what) {
    const std::optional<std::string> value = attr(node, name);
    T out{};
    if (!value) return std::nullopt;
    if (!parse(*value, out)) {
        logIgnored(node, name, *value, what);
        return std::nullopt;
    }
    return out;
}

std::optional<uint32_t> readU32(const xmlNode* node, const char* name) {
    return read(node, name, &NumberParser::ParseUInt32, "not an unsigned integer");
}

std::optional<uint64_t> readU64(const xmlNode* node, const char* name) {
    return read(node, name, &NumberParser::ParseUInt64, "not an unsigned integer");
}

std::optional<bool> readBool(const xmlNode* node, const char* name) {
    return read(node, name, &NumberParser::ParseBool, "not a boolean");
}

// --- element builders ------------------------------------------------------------------------

std::unique_ptr<BaseUrl> parseBaseUrl(const xmlNode* node, const std::string* documentUrl) {
    return std::unique_ptr<BaseUrl>(
        new BaseUrl(documentUrl, ownText(node), text(node, "serviceLocation"), text(node, "byteRange")));
}

std::unique_ptr<Element> parseElement(const xmlNode* node) {
    std::unique_ptr<Element> element(new Element(
        qualifiedName(node), localName(node),
        node->ns != nullptr && node->ns->href != nullptr ? rawName(node->ns->href) : "", ownText(node),
        allAttributes(node)));
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE) element->AddChild(parseElement(c));
    }
    return element;
}

std::unique_ptr<Descriptor> parseDescriptor(const xmlNode* node) {
    std::unique_ptr<Descriptor> descriptor(new Descriptor(allAttributes(node)));
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (c->type == XML_ELEMENT_NODE) descriptor->AddChild(parseElement(c));
    }
    return descriptor;
}

std::unique_ptr<URLType> parseURLType(const xmlNode* node, const std::string* documentUrl,
                                      TransactionType type) {
    return std::unique_ptr<URLType>(
        new URLType(documentUrl, type, text(node, "sourceURL"), text(node, "range")));
}

std::unique_ptr<SegmentTimeline> parseTimeline(const xmlNode* node) {
    std::unique_ptr<SegmentTimeline> timeline(new SegmentTimeline());
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (!is(c, "S")) continue;
        const std::optional<uint64_t> d = readU64(c, "d");
        if (!d || *d == 0) {
            ZUN_LOG(0, "Skipping <S> without a usable d (line %ld)", static_cast<long>(xmlGetLineNo(c)));
            continue;
        }
        const std::optional<uint64_t> t = readU64(c, "t");
        int32_t r = 0;
        if (const std::optional<std::string> rText = attr(c, "r")) {
            if (!NumberParser::ParseInt32(*rText, r) || r < -1) {
                logIgnored(c, "r", *rText, "not a repeat count");
                r = 0;
            }
        }
        timeline->Add(std::unique_ptr<Timeline>(new Timeline(t.has_value(), t.value_or(0), *d, r)));
    }
    return timeline;
}

// Attributes and children common to the three segment information elements.
template <class Impl>
void parseSegmentBaseInfo(const xmlNode* node, const std::string* documentUrl, Impl& out) {
    out.mTimescale = readU32(node, "timescale");
    if (out.mTimescale && *out.mTimescale == 0) {
        logIgnored(node, "timescale", "0", "a timescale must be positive");
        out.mTimescale.reset();
    }
    out.mPresentationTimeOffset = readU64(node, "presentationTimeOffset");
    out.mIndexRange = optionalText(node, "indexRange");
    out.mIndexRangeExact = readBool(node, "indexRangeExact");
    out.mAvailabilityTimeOffset = optionalText(node, "availabilityTimeOffset");
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "Initialization") || is(c, "Initialisation")) {
            out.mInitialization.Set(parseURLType(c, documentUrl, TransactionType::InitializationSegment));
        } else if (is(c, "RepresentationIndex")) {
            out.mRepresentationIndex.Set(parseURLType(c, documentUrl, TransactionType::IndexSegment));
        }
    }
}

template <class Impl>
void parseMultipleSegmentBaseInfo(const xmlNode* node, const std::string* documentUrl, Impl& out) {
    parseSegmentBaseInfo(node, documentUrl, out);
    out.mDuration = readU32(node, "duration");
    out.mStartNumber = readU32(node, "startNumber");
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "SegmentTimeline")) {
            out.mTimeline.Set(parseTimeline(c));
        } else if (is(c, "BitstreamSwitching")) {
            out.mBitstreamSwitching.Set(parseURLType(c, documentUrl, TransactionType::BitstreamSwitchingSegment));
        }
    }
}

std::unique_ptr<SegmentBase> parseSegmentBase(const xmlNode* node, const std::string* documentUrl,
                                              const SegmentBase* parent) {
    std::unique_ptr<SegmentBase> out(new SegmentBase());
    parseSegmentBaseInfo(node, documentUrl, *out);
    if (parent != nullptr) out->InheritFrom(*parent);
    return out;
}

std::unique_ptr<SegmentList> parseSegmentList(const xmlNode* node, const std::string* documentUrl,
                                              const SegmentList* parent) {
    std::unique_ptr<SegmentList> out(new SegmentList());
    parseMultipleSegmentBaseInfo(node, documentUrl, *out);
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "SegmentURL")) {
            out->AddSegmentURL(std::unique_ptr<SegmentURL>(new SegmentURL(
                documentUrl, text(c, "media"), text(c, "mediaRange"), text(c, "index"), text(c, "indexRange"))));
        }
    }
    if (parent != nullptr) out->InheritFrom(*parent);
    return out;
}

std::unique_ptr<SegmentTemplate> parseSegmentTemplate(const xmlNode* node, const std::string* documentUrl,
                                                      const SegmentTemplate* parent) {
    std::unique_ptr<SegmentTemplate> out(new SegmentTemplate(documentUrl));
    parseMultipleSegmentBaseInfo(node, documentUrl, *out);
    out->mMedia = optionalText(node, "media");
    out->mInitializationTemplate = optionalText(node, "initialization");
    out->mIndex = optionalText(node, "index");
    out->mBitstreamSwitchingTemplate = optionalText(node, "bitstreamSwitching");
    if (parent != nullptr) out->InheritFrom(*parent);
    return out;
}

template <class Owner>
void addBaseUrl(Owner& owner, std::unique_ptr<BaseUrl> url) {
    owner.mBaseUrlView.push_back(url.get());
    owner.mBaseUrls.push_back(std::move(url));
}

// The segment information in force at one level, for the level below to inherit from.
struct SegmentInfoScope {
    const SegmentBase* base = nullptr;
    const SegmentList* list = nullptr;
    const SegmentTemplate* tmpl = nullptr;
};

// Parses the BaseURL and SegmentBase/List/Template children of `node` into `level`, inheriting
// from `outer`, and returns the scope in force for the level below.
template <class Interface>
SegmentInfoScope parseSegmentInfo(const xmlNode* node, const std::string* documentUrl,
                                  const SegmentInfoScope& outer, SegmentInfoHolder<Interface>& level) {
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "BaseURL")) {
            addBaseUrl(level, parseBaseUrl(c, documentUrl));
        } else if (is(c, "SegmentBase") && !level.mSegmentBase) {
            level.mSegmentBase = parseSegmentBase(c, documentUrl, outer.base);
        } else if (is(c, "SegmentList") && !level.mSegmentList) {
            level.mSegmentList = parseSegmentList(c, documentUrl, outer.list);
        } else if (is(c, "SegmentTemplate") && !level.mSegmentTemplate) {
            level.mSegmentTemplate = parseSegmentTemplate(c, documentUrl, outer.tmpl);
        }
    }
    SegmentInfoScope scope = outer;
    if (level.mSegmentBase) scope.base = level.mSegmentBase.get();
    if (level.mSegmentList) scope.list = level.mSegmentList.get();
    if (level.mSegmentTemplate) scope.tmpl = level.mSegmentTemplate.get();
    return scope;
}

// Adds the descriptor `node` to `owner` and to the list `list`.
template <class Owner>
void addDescriptor(Owner& owner, std::vector<IDescriptor*>& list, const xmlNode* node) {
    std::unique_ptr<Descriptor> descriptor = parseDescriptor(node);
    list.push_back(descriptor.get());
    owner.mDescriptors.push_back(std::move(descriptor));
}

std::vector<std::string> splitWords(const std::string& s) {
    std::vector<std::string> out;
    std::istringstream in(s);
    std::string word;
    while (in >> word) out.push_back(word);
    return out;
}

// The RepresentationBase attributes and descriptors of `node` (ISO/IEC 23009-1 5.3.7). An
// attribute left out takes the value of `parent` (the enclosing AdaptationSet), when given.
template <class Interface>
void parseRepresentationBase(const xmlNode* node, const IRepresentationBase* parent,
                             RepresentationBaseImpl<Interface>& out) {
    static const std::string kNone;
    out.mWidth = readU32(node, "width").value_or(parent ? parent->GetWidth() : 0);
    out.mHeight = readU32(node, "height").value_or(parent ? parent->GetHeight() : 0);
    out.mSar = optionalText(node, "sar").value_or(parent ? parent->GetSar() : kNone);
    out.mFrameRate = optionalText(node, "frameRate").value_or(parent ? parent->GetFrameRate() : kNone);
    out.mAudioSamplingRate =
        optionalText(node, "audioSamplingRate").value_or(parent ? parent->GetAudioSamplingRate() : kNone);
    out.mMimeType = optionalText(node, "mimeType").value_or(parent ? parent->GetMimeType() : kNone);
    out.mCodecs = optionalText(node, "codecs").value_or(parent ? parent->GetCodecs() : kNone);
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "ContentProtection")) {
            addDescriptor(out, out.mContentProtection, c);
        } else if (is(c, "EssentialProperty")) {
            addDescriptor(out, out.mEssentialProperty, c);
        } else if (is(c, "SupplementalProperty")) {
            addDescriptor(out, out.mSupplementalProperty, c);
        } else if (is(c, "AudioChannelConfiguration")) {
            addDescriptor(out, out.mAudioChannelConfiguration, c);
        }
    }
}

std::unique_ptr<Representation> parseRepresentation(const xmlNode* node, const std::string* documentUrl,
                                                    const AdaptationSet& set, const SegmentInfoScope& outer) {
    std::unique_ptr<Representation> rep(new Representation());
    rep->mId = text(node, "id");
    if (rep->mId.empty()) {
        ZUN_LOG(0, "Representation without id (line %ld)", static_cast<long>(xmlGetLineNo(node)));
    }
    rep->mBandwidth = readU32(node, "bandwidth").value_or(0);
    rep->mDependencyId = splitWords(text(node, "dependencyId"));
    parseRepresentationBase(node, &set, *rep);
    parseSegmentInfo(node, documentUrl, outer, *rep);
    return rep;
}

std::unique_ptr<AdaptationSet> parseAdaptationSet(const xmlNode* node, const std::string* documentUrl,
                                                  const SegmentInfoScope& outer) {
    std::unique_ptr<AdaptationSet> set(new AdaptationSet());
    set->mId = text(node, "id");
    set->mContentType = text(node, "contentType");
    set->mLang = text(node, "lang");
    set->mMaxHeight = readU32(node, "maxHeight").value_or(0);
    parseRepresentationBase(node, nullptr, *set);
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "Role")) {
            addDescriptor(*set, set->mRole, c);
        } else if (is(c, "Accessibility")) {
            addDescriptor(*set, set->mAccessibility, c);
        }
    }
    const SegmentInfoScope scope = parseSegmentInfo(node, documentUrl, outer, *set);
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "Representation")) {
            std::unique_ptr<Representation> rep = parseRepresentation(c, documentUrl, *set, scope);
            set->mRepresentationView.push_back(rep.get());
            set->mRepresentations.push_back(std::move(rep));
        }
    }
    return set;
}

std::unique_ptr<Period> parsePeriod(const xmlNode* node, const std::string* documentUrl) {
    std::unique_ptr<Period> period(new Period());
    period->mId = text(node, "id");
    period->mStart = text(node, "start");
    period->mDuration = text(node, "duration");
    const SegmentInfoScope scope = parseSegmentInfo(node, documentUrl, SegmentInfoScope(), *period);
    for (const xmlNode* c = node->children; c != nullptr; c = c->next) {
        if (is(c, "AdaptationSet")) {
            std::unique_ptr<AdaptationSet> set = parseAdaptationSet(c, documentUrl, scope);
            period->mAdaptationSetView.push_back(set.get());
            period->mAdaptationSets.push_back(std::move(set));
        }
    }
    return period;
}

}  // namespace

std::shared_ptr<MPD> MPDParser::Parse(const char* data, size_t size, const std::string& documentUrl,
                                      uint32_t fetchTime) {
    if (size > kMaxDocumentBytes) {
        ZUN_LOG(0, "MPD %s is %zu bytes, more than the limit of %zu bytes", documentUrl.c_str(), size,
                kMaxDocumentBytes);
        return nullptr;
    }
    std::string error;
    std::unique_ptr<XmlDocument> doc = XmlDocument::Parse(data, size, documentUrl, error);
    if (!doc) {
        ZUN_LOG(0, "MPD %s is not well-formed XML: %s", documentUrl.c_str(), error.c_str());
        return nullptr;
    }
    const xmlNode* root = doc->Root();
    if (root == nullptr || !is(root, "MPD")) {
        ZUN_LOG(0, "MPD %s has no MPD root element (found <%s>)", documentUrl.c_str(),
                root != nullptr ? qualifiedName(root).c_str() : "");
        return nullptr;
    }
    std::shared_ptr<MPD> mpd = std::make_shared<MPD>(documentUrl, fetchTime);
    const std::string* location = mpd->DocumentUrl();
    mpd->mId = text(root, "id");
    if (const std::optional<std::string> type = optionalText(root, "type")) {
        mpd->mType = *type;
        if (*type != "static" && *type != "dynamic") {
            ZUN_LOG(0, "MPD %s has an unknown type \"%s\"", documentUrl.c_str(), type->c_str());
        }
    }
    mpd->mProfiles = text(root, "profiles");
    mpd->mAvailabilityStartTime = text(root, "availabilityStartTime");
    mpd->mAvailabilityEndTime = text(root, "availabilityEndTime");
    mpd->mPublishTime = text(root, "publishTime");
    mpd->mMediaPresentationDuration = text(root, "mediaPresentationDuration");
    mpd->mMinimumUpdatePeriod = text(root, "minimumUpdatePeriod");
    mpd->mMinBufferTime = text(root, "minBufferTime");
    mpd->mTimeShiftBufferDepth = text(root, "timeShiftBufferDepth");
    mpd->mSuggestedPresentationDelay = text(root, "suggestedPresentationDelay");
    mpd->mMaxSegmentDuration = text(root, "maxSegmentDuration");
    mpd->mMaxSubsegmentDuration = text(root, "maxSubsegmentDuration");
    for (const xmlNode* c = root->children; c != nullptr; c = c->next) {
        if (is(c, "BaseURL")) {
            addBaseUrl(*mpd, parseBaseUrl(c, location));
        } else if (is(c, "Location")) {
            mpd->mLocations.push_back(ownText(c));
        } else if (is(c, "UTCTiming")) {
            std::unique_ptr<Descriptor> timing = parseDescriptor(c);
            mpd->mUTCTimingView.push_back(timing.get());
            mpd->mUTCTimings.push_back(std::move(timing));
        } else if (is(c, "Period")) {
            std::unique_ptr<Period> period = parsePeriod(c, location);
            mpd->mPeriodView.push_back(period.get());
            mpd->mPeriods.push_back(std::move(period));
        }
    }
    return mpd;
}

}  // namespace mpd
}  // namespace dash
