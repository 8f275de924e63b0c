// Fuzz target: the MPD parser of the manifest library (ISO/IEC 23009-1), then the DASH client's
// reading of the model.
//
// The bytes are parsed as a document fetched from a fixed URL; a refused document (null) ends the
// run. Otherwise the model is walked: the MPD's time attributes through DashUtil, every Period,
// AdaptationSet and Representation with its base URLs, ContentProtection records, the segments of
// its SegmentTemplate, SegmentTimeline, SegmentList and SegmentBase, and, for the first few
// Representations, the client's own representation of the addressing scheme (initialised, stepped
// forwards and backwards, sought).
//
// Expected outcomes: DashException, and std::invalid_argument / std::out_of_range from the number
// conversions of ISO 8601 durations. Live MPDs are read against the wall clock, so a run over the
// same input may take other branches at another time.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "dash/DashContentProtection.h"
#include "dash/DashException.h"
#include "dash/DashFactory.h"
#include "dash/DashSegmentLocation.h"
#include "dash/DashUtil.h"
#include "fuzz/FuzzCheck.h"
#include "manifest/mpd/MPDParser.h"

namespace {

using namespace dash;
using namespace dash::mpd;

// Work per input stays bounded whatever the document lists.
constexpr size_t kMaxClientRepresentations = 4;
constexpr size_t kMaxListedSegments = 32;
constexpr int kSteps = 4;

template <class F>
void expectingBadInput(F&& f) {
    try {
        f();
    } catch (const DashException&) {
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
}

void take(ISegment* segment) {
    std::unique_ptr<ISegment> owned(segment);
    if (owned) {
        FUZZ_CHECK(!owned->GetUrl().empty());
    }
}

void walkSegmentBase(const ISegmentBase* base, const std::vector<IBaseUrl*>& urls) {
    if (base == nullptr) {
        return;
    }
    FUZZ_CHECK(base->GetTimescale() != 0);
    if (base->GetInitialization() != nullptr) take(base->GetInitialization()->ToSegment(urls));
    if (base->GetRepresentationIndex() != nullptr) take(base->GetRepresentationIndex()->ToSegment(urls));
}

void walkTimeline(const ISegmentTimeline* timeline) {
    if (timeline == nullptr) {
        return;
    }
    for (const ITimeline* s : timeline->GetTimelines()) {
        FUZZ_CHECK(s->GetDuration() > 0 && s->GetRepeatCount() >= -1);
    }
    uint64_t total = 0;
    uint32_t count = 0;
    const auto items = DashUtil::getTimeVectorFromTimelines(timeline->GetTimelines(), total, count, 0);
    FUZZ_CHECK(items.size() <= DashUtil::kMaxTimelineItems);
}

void walkRepresentation(const std::shared_ptr<IMPD>& mpd, const IAdaptationSet& set, const IRepresentation& rep,
                        const std::vector<IBaseUrl*>& urls) {
    for (const IDescriptor* d : rep.GetContentProtection()) DashContentProtection::fromDescriptor(*d);
    walkSegmentBase(rep.GetSegmentBase(), urls);
    if (const ISegmentList* list = rep.GetSegmentList()) {
        walkSegmentBase(list, urls);
        const auto& segmentUrls = list->GetSegmentURLs();
        for (size_t i = 0; i < segmentUrls.size() && i < kMaxListedSegments; ++i) {
            take(segmentUrls[i]->ToMediaSegment(urls));
            take(segmentUrls[i]->ToIndexSegment(urls));
        }
    }
    const ISegmentTemplate* t = nullptr;
    expectingBadInput([&] { t = DashUtil::getSegmentTemplate(mpd, set, rep); });
    if (t != nullptr) {
        walkSegmentBase(t, urls);
        walkTimeline(t->GetSegmentTimeline());
        const std::string& id = rep.GetId();
        const uint32_t bandwidth = rep.GetBandwidth();
        take(t->ToInitializationSegment(urls, id, bandwidth));
        take(t->ToBitstreamSwitchingSegment(urls, id, bandwidth));
        take(t->GetMediaSegmentFromNumber(urls, id, bandwidth, t->GetStartNumber()));
        take(t->GetIndexSegmentFromNumber(urls, id, bandwidth, t->GetStartNumber()));
        const uint64_t time = t->GetSegmentTimeline() != nullptr && !t->GetSegmentTimeline()->GetTimelines().empty()
                                  ? t->GetSegmentTimeline()->GetTimelines()[0]->GetStartTime()
                                  : 0;
        take(t->GetMediaSegmentFromTime(urls, id, bandwidth, time));
        take(t->GetIndexSegmentFromTime(urls, id, bandwidth, time));
    }
}

// The client's representation of `rep`, as an adaptation set makes and drives it.
void driveClientRepresentation(const std::shared_ptr<IMPD>& mpd, const IAdaptationSet& set,
                               const IRepresentation& rep, const std::vector<IBaseUrl*>& urls) {
    static const std::shared_ptr<DashFactory> factory = std::make_shared<DashFactory>();
    expectingBadInput([&] {
        auto location = std::make_shared<DashSegmentLocation>();
        std::shared_ptr<IDashRepresentation> client = factory->createDashRepresentation(mpd, set, rep, urls, location);
        client->getInitSegment();
        for (int i = 0; i < kSteps; ++i) client->getNextSegment(true);
        for (int i = 0; i < kSteps; ++i) client->getNextSegment(false);
        const std::shared_ptr<DashRepresentationData> data = client->getData();
        FUZZ_CHECK(data != nullptr);
        for (uint64_t position : {uint64_t{0}, data->totalDurationMs / 2, data->lastSegmentTimeMs, ~uint64_t{0}}) {
            uint64_t at = position;
            uint64_t length = 0;
            client->findSegmentPosition(at, length);
            client->seek(position);
            client->getNextSegment(true);
        }
        client->initRepresentation(mpd, set, rep, urls);  // as for a refreshed MPD
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::shared_ptr<IMPD> mpd = MPDParser::Parse(reinterpret_cast<const char*>(data), size,
                                                       "http://127.0.0.1/media/manifest.mpd", 1700000000);
    if (mpd == nullptr) {
        return 0;
    }
    DashUtil::isMPDLive(mpd);
    expectingBadInput([&] { DashUtil::getUpdatePeriodMs(mpd); });
    expectingBadInput([&] { DashUtil::getPresentationDelay(mpd); });
    expectingBadInput([&] { DashUtil::getPublishTime(mpd); });
    expectingBadInput([&] { DashUtil::getAvailabilityStartTime(mpd); });
    expectingBadInput([&] { DashUtil::convertISO8601DurationToMs(mpd->GetMediaPresentationDuration()); });

    std::vector<IBaseUrl*> mpdUrls = mpd->GetBaseURLs();
    if (mpdUrls.empty()) {
        mpdUrls.push_back(mpd->GetMPDPathBaseUrl());
    }
    size_t clientRepresentations = 0;
    for (const IPeriod* period : mpd->GetPeriods()) {
        expectingBadInput([&] { DashUtil::convertISO8601DurationToMs(period->GetStart()); });
        expectingBadInput([&] { DashUtil::convertISO8601DurationToMs(period->GetDuration()); });
        const auto periodUrls = DashUtil::addBaseURLs(mpdUrls, period->GetBaseURLs());
        for (const IAdaptationSet* set : period->GetAdaptationSets()) {
            const auto setUrls = DashUtil::addBaseURLs(periodUrls, set->GetBaseURLs());
            for (const IDescriptor* d : set->GetContentProtection()) DashContentProtection::fromDescriptor(*d);
            for (const IRepresentation* rep : set->GetRepresentation()) {
                const auto repUrls = DashUtil::addBaseURLs(setUrls, rep->GetBaseURLs());
                walkRepresentation(mpd, *set, *rep, repUrls);
                if (clientRepresentations++ < kMaxClientRepresentations) {
                    driveClientRepresentation(mpd, *set, *rep, setUrls);
                }
            }
        }
    }
    return 0;
}
