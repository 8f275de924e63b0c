#include "manifest/mpd/MPDParser.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "manifest/DASHManager.h"

using namespace dash::mpd;

namespace {

std::shared_ptr<MPD> parse(const std::string& text) {
    return dash::DASHManager::OpenFromMemory(text, "http://cdn.example/vod/manifest.mpd");
}

// Every addressing form, BaseURL on every level, languages and descriptors, in one document.
const char* const kMpd = R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013" xmlns:mspr="urn:microsoft:playready"
     id="m1" type="dynamic" profiles="urn:mpeg:dash:profile:isoff-live:2011" availabilityStartTime="2024-01-01T00:00:00Z"
     publishTime="2024-01-01T00:01:40Z" mediaPresentationDuration="PT12S" minimumUpdatePeriod="PT2S" minBufferTime="PT4S"
     timeShiftBufferDepth="PT30S" suggestedPresentationDelay="PT6S" maxSegmentDuration="PT4S">
  <BaseURL serviceLocation="a" byteRange="$base$?r=$first$">http://a.example/root/</BaseURL>
  <Location> http://cdn.example/live/refresh.mpd </Location>
  <UTCTiming schemeIdUri="urn:mpeg:dash:utc:http-iso:2014" value="http://time.example/iso"/>
  <Period id="p0" start="PT0S" duration="PT12S"><BaseURL>period/</BaseURL>
    <AdaptationSet id="1" mimeType="video/mp4" contentType="video" lang="und" codecs="avc1.64001f" frameRate="25" maxHeight="720">
      <BaseURL>
         set/
      </BaseURL>
      <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc" cenc:default_KID="10000000-1000-1000-1000-100000000001"/>
      <ContentProtection schemeIdUri="urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95" value="MSPR 2.0">
        <cenc:pssh>AAAAQHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAACA=</cenc:pssh><mspr:pro>BgIAAAEAAQD8ATwAVwBSAE0A</mspr:pro>
      </ContentProtection>
      <SegmentTemplate timescale="90000" duration="360000" startNumber="7"
         initialization="init-$RepresentationID$.mp4" media="chunk-$RepresentationID$-$Number%05d$.m4s"/>
      <Representation id="v720" bandwidth="1200000" width="1280" height="720"/>
      <Representation id="v360" bandwidth="400000" width="640" height="360" codecs="avc1.42c01e" frameRate="30000/1001" sar="1:1">
        <BaseURL>https://b.example/other/</BaseURL>
        <ContentProtection schemeIdUri="urn:uuid:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED"><cenc:pssh>
            AAAAW3Bzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAADsIARIQ
        </cenc:pssh></ContentProtection>
      </Representation>
    </AdaptationSet>
    <AdaptationSet mimeType="audio/mp4" lang="fr"><Role schemeIdUri="urn:mpeg:dash:role:2011" value="main"/>
      <Representation id="a1" bandwidth="128000" codecs="mp4a.40.2" audioSamplingRate="48000">
        <SegmentTemplate timescale="48000" presentationTimeOffset="96000"
            initialization="$RepresentationID$/init.mp4" media="$RepresentationID$/$Bandwidth$/t$Time$.m4s">
          <SegmentTimeline><S t="96000" d="96000"/><S t="192000" d="96000" r="2"/><S t="480000" d="48000"/></SegmentTimeline>
        </SegmentTemplate></Representation>
    </AdaptationSet>
    <AdaptationSet mimeType="video/mp4" lang=" deu "><Accessibility schemeIdUri="urn:tva:metadata:cs:AudioPurposeCS:2007" value="1"/>
      <Representation id="list" bandwidth="500000" height="480"><BaseURL>../up/</BaseURL>
        <SegmentList timescale="1000" duration="4000"><Initialization sourceURL="list/init.mp4"/>
          <SegmentURL media="list/seg1.m4s"/><SegmentURL media="list/seg2.m4s" index="list/seg2.sidx"/></SegmentList>
      </Representation>
      <Representation id="ranged" bandwidth="900000"><BaseURL>/top/all.mp4</BaseURL>
        <SegmentList duration="4"><Initialization range="0-861"/><SegmentURL mediaRange="862-100000"/>
          <SegmentURL mediaRange="100001-199999" indexRange="100001-100100"/></SegmentList>
      </Representation>
      <Representation id="sb" bandwidth="800000"><BaseURL>movie.mp4</BaseURL>
        <SegmentBase indexRange="834-1233" indexRangeExact="true" timescale="12800" presentationTimeOffset="1024">
          <Initialization range="0-833"/><RepresentationIndex sourceURL="movie.sidx" range="0-399"/></SegmentBase>
      </Representation>
    </AdaptationSet>
  </Period>
</MPD>)";

// The non-empty parts separated by spaces.
std::string join(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& p : parts) out += p.empty() ? "" : (out.empty() ? "" : " ") + p;
    return out;
}

std::string describe(const std::vector<IDescriptor*>& list) {
    std::string out;
    for (const IDescriptor* d : list) {
        out += "[" + d->GetSchemeIdUri() + " " + d->GetValue();
        for (const IElement* e : d->GetChildElements()) out += " " + e->GetName() + "{" + e->GetNamespaceUri() + "}=" + e->GetText();
        out += "]";
    }
    return out;
}

// The segment information of one level in one line ("-" when absent).
std::string describe(const ISegmentBase* b, const IMultipleSegmentBase* m) {
    if (b == nullptr) return "-";
    std::string out = "ts=" + std::to_string(b->GetTimescale()) + " pto=" + std::to_string(b->GetPresentationTimeOffset()) +
                      " index=" + b->GetIndexRange() + (b->IsIndexRangeExact() ? "!" : "");
    if (b->GetInitialization()) out += " init=" + b->GetInitialization()->GetSourceURL() + "@" + b->GetInitialization()->GetRange();
    if (m == nullptr) return out;
    out += " d=" + std::to_string(m->GetDuration()) + " start=" + std::to_string(m->GetStartNumber());
    if (m->GetSegmentTimeline()) {
        for (const ITimeline* s : m->GetSegmentTimeline()->GetTimelines()) {
            out += " S" + std::to_string(s->GetStartTime()) + "/" + std::to_string(s->GetDuration()) + "/" +
                   std::to_string(s->GetRepeatCount());
        }
    }
    return out;
}

std::string describe(const IRepresentationBase& b) {
    return join({b.GetMimeType(), b.GetCodecs(), std::to_string(b.GetWidth()) + "x" + std::to_string(b.GetHeight()),
                 b.GetFrameRate(), b.GetAudioSamplingRate(), b.GetSar(), describe(b.GetContentProtection())});
}

TEST(MPDParserTest, EveryFieldOfEveryLevel) {
    auto mpd = parse(kMpd);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ("m1 dynamic urn:mpeg:dash:profile:isoff-live:2011 2024-01-01T00:00:00Z 2024-01-01T00:01:40Z PT12S PT2S "
              "PT4S PT30S PT6S PT4S http://cdn.example/live/refresh.mpd http://cdn.example/vod/",
              join({mpd->GetId(), mpd->GetType(), mpd->GetProfiles(), mpd->GetAvailabilityStarttime(),
                    mpd->GetPublishTime(), mpd->GetMediaPresentationDuration(), mpd->GetMinimumUpdatePeriod(),
                    mpd->GetMinBufferTime(), mpd->GetTimeShiftBufferDepth(), mpd->GetSuggestedPresentationDelay(),
                    mpd->GetMaxSegmentDuration(), mpd->GetLocations().at(0), mpd->GetMPDPathBaseUrl()->GetUrl()}));
    EXPECT_EQ("[urn:mpeg:dash:utc:http-iso:2014 http://time.example/iso]", describe(mpd->GetUTCTimings()));
    const IBaseUrl* root = mpd->GetBaseURLs().at(0);
    EXPECT_EQ("http://a.example/root/ a $base$?r=$first$", join({root->GetUrl(), root->GetServiceLocation(), root->GetByteRange()}));
    ASSERT_EQ(1u, mpd->GetPeriods().size());
    const IPeriod* period = mpd->GetPeriods()[0];
    EXPECT_EQ("p0 PT0S PT12S period/", join({period->GetId(), period->GetStart(), period->GetDuration(),
                                              period->GetBaseURLs().at(0)->GetUrl()}));

    std::vector<std::string> lines;
    for (const IAdaptationSet* a : period->GetAdaptationSets()) {
        lines.push_back("set " + join({a->GetId(), a->GetContentType(), a->GetLang(), std::to_string(a->GetMaxHeight()),
                                       describe(*a), describe(a->GetRole()), describe(a->GetAccessibility()),
                                       a->GetBaseURLs().empty() ? "" : a->GetBaseURLs()[0]->GetUrl(),
                                       describe(a->GetSegmentTemplate(), a->GetSegmentTemplate())}));
        for (const IRepresentation* r : a->GetRepresentation()) {
            lines.push_back(join({r->GetId(), std::to_string(r->GetBandwidth()), describe(*r),
                                  describe(r->GetSegmentTemplate(), r->GetSegmentTemplate()),
                                  describe(r->GetSegmentList(), r->GetSegmentList()), describe(r->GetSegmentBase(), nullptr)}));
        }
    }
    const std::string kPlayReady = "[urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95 MSPR 2.0 "
                                   "cenc:pssh{urn:mpeg:cenc:2013}=AAAAQHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAACA= "
                                   "mspr:pro{urn:microsoft:playready}=BgIAAAEAAQD8ATwAVwBSAE0A]";
    const std::vector<std::string> expected = {
        "set 1 video und 720 video/mp4 avc1.64001f 0x0 25 [urn:mpeg:dash:mp4protection:2011 cenc]" + kPlayReady +
            " set/ ts=90000 pto=0 index= d=360000 start=7",
        "v720 1200000 video/mp4 avc1.64001f 1280x720 25 - - -",  // common attributes from the set
        "v360 400000 video/mp4 avc1.42c01e 640x360 30000/1001 1:1 [urn:uuid:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED  "
        "cenc:pssh{urn:mpeg:cenc:2013}=AAAAW3Bzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAADsIARIQ] - - -",
        "set fr 0 audio/mp4 0x0 [urn:mpeg:dash:role:2011 main] -",
        "a1 128000 audio/mp4 mp4a.40.2 0x0 48000 ts=48000 pto=96000 index= d=0 start=1 S96000/96000/0 "
        "S192000/96000/2 S480000/48000/0 - -",
        "set deu 0 video/mp4 0x0 [urn:tva:metadata:cs:AudioPurposeCS:2007 1] -",
        "list 500000 video/mp4 0x480 - ts=1000 pto=0 index= init=list/init.mp4@ d=4000 start=1 -",
        "ranged 900000 video/mp4 0x0 - ts=1 pto=0 index= init=@0-861 d=4 start=1 -",
        "sb 800000 video/mp4 0x0 - - ts=12800 pto=1024 index=834-1233! init=@0-833",
    };
    EXPECT_EQ(expected, lines);
    EXPECT_EQ("10000000-1000-1000-1000-100000000001",
              period->GetAdaptationSets()[0]->GetContentProtection()[0]->GetAttributes().at("cenc:default_KID"));
}

// Segments of every addressing form against the base URLs of every level (MPD, Period, set,
// Representation): "url range type" (2 init, 3 index, 4 media), "none" when none can be made.
TEST(MPDParserTest, SegmentsFromTheModelResolveAndExpand) {
    const struct {
        const char* rep;
        const char* call;  // init, number, time, media, index (of a SegmentURL), baseInit, baseIndex
        uint64_t value;
        const char* expected;
    } cases[] = {
        {"v720", "init", 0, "http://a.example/root/period/set/init-v720.mp4  2"},
        {"v720", "number", 9, "http://a.example/root/period/set/chunk-v720-00009.m4s  4"},
        {"v720", "time", 0, "none"},  // no timeline to find $Number$ from
        {"v360", "number", 7, "https://b.example/other/chunk-v360-00007.m4s  4"},
        {"a1", "time", 288000, "http://a.example/root/period/a1/128000/t288000.m4s  4"},
        {"list", "init", 0, "http://a.example/root/up/list/init.mp4  2"},
        {"list", "media", 1, "http://a.example/root/up/list/seg2.m4s  4"},
        {"list", "index", 1, "http://a.example/root/up/list/seg2.sidx  3"},
        {"list", "index", 0, "none"},
        {"ranged", "index", 1, "http://a.example/top/all.mp4 100001-100100 3"},
        {"sb", "baseInit", 0, "http://a.example/root/period/movie.mp4 0-833 2"},
        {"sb", "baseIndex", 0, "http://a.example/root/period/movie.sidx 0-399 3"},
    };
    auto mpd = parse(kMpd);
    ASSERT_NE(nullptr, mpd);
    const IPeriod* p = mpd->GetPeriods()[0];
    std::map<std::string, std::pair<const IAdaptationSet*, const IRepresentation*>> reps;
    for (const IAdaptationSet* a : p->GetAdaptationSets()) {
        for (const IRepresentation* r : a->GetRepresentation()) reps[r->GetId()] = {a, r};
    }
    for (const auto& c : cases) {
        const IAdaptationSet* a = reps.at(c.rep).first;
        const IRepresentation* r = reps.at(c.rep).second;
        std::vector<IBaseUrl*> bases = mpd->GetBaseURLs();
        for (const auto* level : {&p->GetBaseURLs(), &a->GetBaseURLs(), &r->GetBaseURLs()}) {
            bases.insert(bases.end(), level->begin(), level->end());
        }
        const ISegmentTemplate* t = r->GetSegmentTemplate() ? r->GetSegmentTemplate() : a->GetSegmentTemplate();
        const ISegmentList* l = r->GetSegmentList();
        const std::string call = c.call;
        ISegment* raw = nullptr;
        if (call == "init") raw = t ? t->ToInitializationSegment(bases, r->GetId(), r->GetBandwidth())
                                    : l->GetInitialization()->ToSegment(bases);
        if (call == "number") raw = t->GetMediaSegmentFromNumber(bases, r->GetId(), r->GetBandwidth(), c.value);
        if (call == "time") raw = t->GetMediaSegmentFromTime(bases, r->GetId(), r->GetBandwidth(), c.value);
        if (call == "media") raw = l->GetSegmentURLs().at(c.value)->ToMediaSegment(bases);
        if (call == "index") raw = l->GetSegmentURLs().at(c.value)->ToIndexSegment(bases);
        if (call == "baseInit") raw = r->GetSegmentBase()->GetInitialization()->ToSegment(bases);
        if (call == "baseIndex") raw = r->GetSegmentBase()->GetRepresentationIndex()->ToSegment(bases);
        std::unique_ptr<ISegment> s(raw);
        EXPECT_EQ(c.expected, s ? s->GetUrl() + " " + s->GetRange() + " " + std::to_string(int(s->GetType())) : "none")
            << c.rep << " " << c.call << " " << c.value;
    }
}

// A media template with both $Number$ and $Time$: the missing one comes from the timeline, whose
// S without t continues at the end of the one before and whose r="-1" runs on without end.
TEST(MPDParserTest, NumberAndTimeTogetherUseTheTimeline) {
    auto mpd = parse(R"(<MPD type="dynamic"><Period><AdaptationSet mimeType="video/mp4">
      <SegmentTemplate timescale="10" startNumber="100" media="n$Number$-t$Time$.ts">
        <SegmentTimeline><S t="50" d="20" r="1"/><S d="10"/><S t="200" d="5" r="-1"/></SegmentTimeline>
      </SegmentTemplate><Representation id="r" bandwidth="1"/></AdaptationSet></Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    const ISegmentTemplate* tmpl = mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetSegmentTemplate();
    EXPECT_FALSE(tmpl->GetSegmentTimeline()->GetTimelines()[1]->HasStartTime());
    EXPECT_EQ(0u, tmpl->GetSegmentTimeline()->GetTimelines()[1]->GetStartTime());  // an absent t reads 0
    auto url = [&](bool byTime, uint64_t v) {
        std::unique_ptr<ISegment> s(byTime ? tmpl->GetMediaSegmentFromTime({}, "r", 1, v)
                                           : tmpl->GetMediaSegmentFromNumber({}, "r", 1, v));
        return s ? s->GetUrl().substr(std::string("http://cdn.example/vod/").size()) : std::string("none");
    };
    EXPECT_EQ("n100-t50.ts n101-t70.ts n102-t90.ts n103-t200.ts n106-t215.ts n102-t90.ts n1000103-t5000200.ts none none",
              url(true, 50) + " " + url(true, 70) + " " + url(true, 90) + " " + url(true, 200) + " " + url(true, 215) + " " +
                  url(false, 102) + " " + url(false, 1000103) + " " + url(true, 10) + " " + url(false, 99));
}

TEST(MPDParserTest, SegmentInformationIsMergedDownTheLevels) {
    auto mpd = parse(R"(<MPD type="static"><Period>
      <SegmentTemplate timescale="1000" media="p-$Number$.m4s" startNumber="0" presentationTimeOffset="5"/>
      <SegmentList timescale="10"><SegmentTimeline><S t="0" d="20" r="2"/></SegmentTimeline></SegmentList>
      <AdaptationSet mimeType="video/mp4">
        <SegmentTemplate initialization="init-$RepresentationID$.mp4"/>
        <Representation id="a" bandwidth="1"><SegmentTemplate duration="2000"/></Representation>
        <Representation id="b" bandwidth="2">
          <SegmentTemplate timescale="90000" media="b-$Number%03d$.m4s"/>
          <SegmentList><Initialization sourceURL="i.mp4"/><SegmentURL media="1.m4s"/><SegmentURL media="2.m4s"/></SegmentList>
        </Representation>
        <Representation id="c" bandwidth="3"/>
      </AdaptationSet></Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    const auto& reps = mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetRepresentation();
    const ISegmentTemplate* a = reps[0]->GetSegmentTemplate();
    // duration its own; timescale, startNumber 0 and presentationTimeOffset from the Period;
    // initialization from the AdaptationSet.
    EXPECT_EQ("ts=1000 pto=5 index= d=2000 start=0", describe(a, a));
    EXPECT_EQ("init-$RepresentationID$.mp4 p-$Number$.m4s", a->GetInitializationTemplate() + " " + a->GetMediaTemplate());
    const ISegmentTemplate* b = reps[1]->GetSegmentTemplate();
    EXPECT_EQ("ts=90000 pto=5 index= d=0 start=0 b-$Number%03d$.m4s", describe(b, b) + " " + b->GetMediaTemplate());
    const ISegmentList* list = reps[1]->GetSegmentList();
    EXPECT_EQ("ts=10 pto=0 index= init=i.mp4@ d=0 start=1 S0/20/2", describe(list, list));  // the Period's timeline
    EXPECT_EQ(2u, list->GetSegmentURLs().size());
    EXPECT_EQ(nullptr, reps[2]->GetSegmentTemplate());  // nothing written there
}

// Unknown elements are skipped: a Period inside one is not a Period of the MPD.
TEST(MPDParserTest, NamespacesAndUnknownElementsDoNotMatterButPrefixedAttributesAreNotTheMpds) {
    const char* const variants[] = {
        R"(<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic"><Period id="x"/></MPD>)",
        R"(<MPD xmlns="urn:mpeg:DASH:schema:MPD:2011" type="dynamic"><Period id="x"/></MPD>)",
        R"(<MPD type="dynamic"><Period id="x"/></MPD>)",
        R"(<d:MPD xmlns:d="urn:mpeg:dash:schema:mpd:2011" type="dynamic"><d:Period id="x"/></d:MPD>)",
        R"(<MPD type="dynamic" yt:undeclared="1"><yt:Unknown/><Period id="x"/></MPD>)",
        R"(<MPD xmlns:v="urn:v" type="dynamic" v:type="static" v:publishTime="x"><Period id="x" v:id="no"/></MPD>)",
        R"(<MPD type="dynamic" future="1" xmlns:x="urn:x"><x:Extension><Period id="hidden"/></x:Extension><Metrics/>
           <Period id="x" weird="yes"><Subset contains="1 2"/><EventStream schemeIdUri="urn:scte:scte35:2014:xml+bin">
           <Event><Signal xmlns="http://www.scte.org/schemas/35/2016"/></Event></EventStream><AdaptationSet><Future/>
           <Representation id="v" bandwidth="1"><SubRepresentation level="0"/></Representation></AdaptationSet></Period></MPD>)",
    };
    for (const char* text : variants) {
        auto mpd = parse(text);
        ASSERT_NE(nullptr, mpd) << text;
        EXPECT_EQ("dynamic 1 x ", mpd->GetType() + " " + std::to_string(mpd->GetPeriods().size()) + " " +
                                      mpd->GetPeriods().at(0)->GetId() + " " + mpd->GetPublishTime()) << text;
    }
}

}  // namespace
