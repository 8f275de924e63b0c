#include "manifest/mpd/MPDParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "manifest/DASHManager.h"
#include "manifest/mpd/Segment.h"

using namespace dash::mpd;

namespace {

std::shared_ptr<MPD> parse(const std::string& text, const std::string& url = "http://cdn.example/vod/manifest.mpd") {
    return dash::DASHManager::OpenFromMemory(text, url);
}

// Checks a segment made by the model and frees it.
void expectSegment(ISegment* raw, const std::string& url, const std::string& range, TransactionType type) {
    std::unique_ptr<ISegment> segment(raw);
    ASSERT_NE(nullptr, segment);
    EXPECT_EQ(url, segment->GetUrl());
    EXPECT_EQ(range, segment->GetRange());
    EXPECT_EQ(!range.empty(), segment->HasByteRange());
    EXPECT_EQ(type, segment->GetType());
    EXPECT_EQ(dash::network::NOT_STARTED, segment->GetState());
}

// --- SegmentTemplate with $Number%05d$ -------------------------------------------------------

const char* const kNumberTemplate = R"(<?xml version="1.0" encoding="UTF-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" id="vod-1"
     profiles="urn:mpeg:dash:profile:isoff-live:2011"
     mediaPresentationDuration="PT12S" minBufferTime="PT2S" maxSegmentDuration="PT4S">
  <Period id="p0" start="PT0S" duration="PT12S">
    <AdaptationSet id="1" mimeType="video/mp4" contentType="video" lang="und" codecs="avc1.64001f" frameRate="25">
      <SegmentTemplate timescale="90000" duration="360000" startNumber="7"
         initialization="init-$RepresentationID$.mp4" media="chunk-$RepresentationID$-$Number%05d$.m4s"/>
      <Representation id="v720" bandwidth="1200000" width="1280" height="720"/>
      <Representation id="v360" bandwidth="400000" width="640" height="360" codecs="avc1.42c01e" frameRate="30000/1001"/>
    </AdaptationSet>
  </Period>
</MPD>)";

TEST(MPDParserTest, NumberTemplateFieldByField) {
    auto mpd = parse(kNumberTemplate);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ("vod-1", mpd->GetId());
    EXPECT_EQ("static", mpd->GetType());
    EXPECT_EQ("urn:mpeg:dash:profile:isoff-live:2011", mpd->GetProfiles());
    EXPECT_EQ("PT12S", mpd->GetMediaPresentationDuration());
    EXPECT_EQ("PT2S", mpd->GetMinBufferTime());
    EXPECT_EQ("PT4S", mpd->GetMaxSegmentDuration());
    EXPECT_EQ("", mpd->GetAvailabilityStarttime());
    EXPECT_EQ("", mpd->GetMinimumUpdatePeriod());
    EXPECT_EQ("http://cdn.example/vod/manifest.mpd", mpd->GetDocumentUrl());
    EXPECT_EQ("http://cdn.example/vod/", mpd->GetMPDPathBaseUrl()->GetUrl());
    EXPECT_NE(0u, mpd->GetFetchTime());
    EXPECT_TRUE(mpd->GetBaseURLs().empty());

    ASSERT_EQ(1u, mpd->GetPeriods().size());
    const IPeriod* period = mpd->GetPeriods()[0];
    EXPECT_EQ("p0", period->GetId());
    EXPECT_EQ("PT0S", period->GetStart());
    EXPECT_EQ("PT12S", period->GetDuration());
    EXPECT_EQ(nullptr, period->GetSegmentTemplate());
    ASSERT_EQ(1u, period->GetAdaptationSets().size());

    const IAdaptationSet* set = period->GetAdaptationSets()[0];
    EXPECT_EQ("1", set->GetId());
    EXPECT_EQ("video/mp4", set->GetMimeType());
    EXPECT_EQ("video", set->GetContentType());
    EXPECT_EQ("und", set->GetLang());
    const ISegmentTemplate* tmpl = set->GetSegmentTemplate();
    ASSERT_NE(nullptr, tmpl);
    EXPECT_EQ(90000u, tmpl->GetTimescale());
    EXPECT_EQ(360000u, tmpl->GetDuration());
    EXPECT_EQ(7u, tmpl->GetStartNumber());
    EXPECT_EQ(0u, tmpl->GetPresentationTimeOffset());
    EXPECT_EQ(nullptr, tmpl->GetSegmentTimeline());
    EXPECT_EQ("chunk-$RepresentationID$-$Number%05d$.m4s", tmpl->GetMediaTemplate());
    EXPECT_EQ("init-$RepresentationID$.mp4", tmpl->GetInitializationTemplate());

    ASSERT_EQ(2u, set->GetRepresentation().size());
    const IRepresentation* hi = set->GetRepresentation()[0];
    const IRepresentation* lo = set->GetRepresentation()[1];
    EXPECT_EQ("v720", hi->GetId());
    EXPECT_EQ(1200000u, hi->GetBandwidth());
    EXPECT_EQ(1280u, hi->GetWidth());
    EXPECT_EQ(720u, hi->GetHeight());
    EXPECT_EQ("avc1.64001f", hi->GetCodecs());         // from the AdaptationSet
    EXPECT_EQ("25", hi->GetFrameRate());               // from the AdaptationSet
    EXPECT_EQ("video/mp4", hi->GetMimeType());         // from the AdaptationSet
    EXPECT_EQ("avc1.42c01e", lo->GetCodecs());         // its own
    EXPECT_EQ("30000/1001", lo->GetFrameRate());
    EXPECT_EQ(nullptr, hi->GetSegmentTemplate());      // only the set has one
    EXPECT_EQ(nullptr, hi->GetSegmentList());
    EXPECT_EQ(nullptr, hi->GetSegmentBase());

    std::vector<IBaseUrl*> bases{mpd->GetMPDPathBaseUrl()};
    expectSegment(tmpl->ToInitializationSegment(bases, "v720", 1200000),
                  "http://cdn.example/vod/init-v720.mp4", "", TransactionType::InitializationSegment);
    expectSegment(tmpl->GetMediaSegmentFromNumber(bases, "v360", 400000, 7 + 2),
                  "http://cdn.example/vod/chunk-v360-00009.m4s", "", TransactionType::MediaSegment);
    // Without any base URL the template still resolves against the document location.
    expectSegment(tmpl->GetMediaSegmentFromNumber({}, "v720", 1200000, 123456),
                  "http://cdn.example/vod/chunk-v720-123456.m4s", "", TransactionType::MediaSegment);
    // $Time$ is not in this template: asking by time cannot fill $Number$ without a timeline.
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, tmpl->GetMediaSegmentFromTime(bases, "v720", 1200000, 0));
    EXPECT_TRUE(capture.containsFragment("no value for $Number$"));
}

// --- SegmentTimeline with $Time$, t on every S, live ---------------------------------------

const char* const kTimeline = R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic" profiles="urn:mpeg:dash:profile:isoff-live:2011"
     availabilityStartTime="2024-01-01T00:00:00Z" publishTime="2024-01-01T00:01:40Z"
     minimumUpdatePeriod="PT2S" timeShiftBufferDepth="PT30S" suggestedPresentationDelay="PT6S"
     minBufferTime="PT4S">
  <Location> http://cdn.example/live/refresh.mpd </Location>
  <UTCTiming schemeIdUri="urn:mpeg:dash:utc:http-iso:2014" value="http://time.example/iso"/>
  <Period id="live" start="PT0S">
    <AdaptationSet mimeType="audio/mp4" lang="fr" segmentAlignment="true">
      <Role schemeIdUri="urn:mpeg:dash:role:2011" value="main"/>
      <Representation id="a1" bandwidth="128000" codecs="mp4a.40.2" audioSamplingRate="48000">
        <SegmentTemplate timescale="48000" presentationTimeOffset="96000"
            initialization="$RepresentationID$/init.mp4" media="$RepresentationID$/$Bandwidth$/t$Time$.m4s">
          <SegmentTimeline>
            <S t="96000" d="96000"/>
            <S t="192000" d="96000" r="2"/>
            <S t="480000" d="48000"/>
          </SegmentTimeline>
        </SegmentTemplate>
      </Representation>
    </AdaptationSet>
  </Period>
</MPD>)";

TEST(MPDParserTest, TimeTimelineFieldByField) {
    auto mpd = parse(kTimeline, "http://cdn.example/live/manifest.mpd");
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ("dynamic", mpd->GetType());
    EXPECT_EQ("2024-01-01T00:00:00Z", mpd->GetAvailabilityStarttime());
    EXPECT_EQ("2024-01-01T00:01:40Z", mpd->GetPublishTime());
    EXPECT_EQ("PT2S", mpd->GetMinimumUpdatePeriod());
    EXPECT_EQ("PT30S", mpd->GetTimeShiftBufferDepth());
    EXPECT_EQ("PT6S", mpd->GetSuggestedPresentationDelay());
    EXPECT_EQ("PT4S", mpd->GetMinBufferTime());
    ASSERT_EQ(1u, mpd->GetLocations().size());
    EXPECT_EQ("http://cdn.example/live/refresh.mpd", mpd->GetLocations()[0]);
    ASSERT_EQ(1u, mpd->GetUTCTimings().size());
    EXPECT_EQ("urn:mpeg:dash:utc:http-iso:2014", mpd->GetUTCTimings()[0]->GetSchemeIdUri());
    EXPECT_EQ("http://time.example/iso", mpd->GetUTCTimings()[0]->GetValue());

    const IAdaptationSet* set = mpd->GetPeriods()[0]->GetAdaptationSets()[0];
    EXPECT_EQ("fr", set->GetLang());
    ASSERT_EQ(1u, set->GetRole().size());
    EXPECT_EQ("main", set->GetRole()[0]->GetValue());
    EXPECT_EQ(nullptr, set->GetSegmentTemplate());
    const IRepresentation* rep = set->GetRepresentation()[0];
    EXPECT_EQ("48000", rep->GetAudioSamplingRate());
    const ISegmentTemplate* tmpl = rep->GetSegmentTemplate();
    ASSERT_NE(nullptr, tmpl);
    EXPECT_EQ(48000u, tmpl->GetTimescale());
    EXPECT_EQ(96000u, tmpl->GetPresentationTimeOffset());
    EXPECT_EQ(0u, tmpl->GetDuration());
    EXPECT_EQ(1u, tmpl->GetStartNumber());
    ASSERT_NE(nullptr, tmpl->GetSegmentTimeline());
    const auto& s = tmpl->GetSegmentTimeline()->GetTimelines();
    ASSERT_EQ(3u, s.size());
    const struct { uint64_t t, d; int32_t r; } expected[] = {{96000, 96000, 0}, {192000, 96000, 2}, {480000, 48000, 0}};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(s[i]->HasStartTime());
        EXPECT_EQ(expected[i].t, s[i]->GetStartTime());
        EXPECT_EQ(expected[i].d, s[i]->GetDuration());
        EXPECT_EQ(expected[i].r, s[i]->GetRepeatCount());
    }
    expectSegment(tmpl->GetMediaSegmentFromTime({}, "a1", 128000, 288000),
                  "http://cdn.example/live/a1/128000/t288000.m4s", "", TransactionType::MediaSegment);
    expectSegment(tmpl->ToInitializationSegment({}, "a1", 128000), "http://cdn.example/live/a1/init.mp4", "",
                  TransactionType::InitializationSegment);
}

// A media template with both $Number$ and $Time$: the missing one comes from the timeline.
TEST(MPDParserTest, NumberAndTimeTogetherUseTheTimeline) {
    auto mpd = parse(R"(<MPD type="dynamic"><Period><AdaptationSet mimeType="video/mp4">
      <SegmentTemplate timescale="10" startNumber="100" media="n$Number$-t$Time$.ts">
        <SegmentTimeline><S t="50" d="20" r="1"/><S d="10"/><S t="200" d="5" r="-1"/></SegmentTimeline>
      </SegmentTemplate><Representation id="r" bandwidth="1"/></AdaptationSet></Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    const ISegmentTemplate* tmpl = mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetSegmentTemplate();
    ASSERT_NE(nullptr, tmpl);
    const auto& s = tmpl->GetSegmentTimeline()->GetTimelines();
    ASSERT_EQ(3u, s.size());
    EXPECT_FALSE(s[1]->HasStartTime());
    EXPECT_EQ(0u, s[1]->GetStartTime());  // an absent t reads 0
    EXPECT_EQ(-1, s[2]->GetRepeatCount());
    // Segments: 50, 70 (S1), 90 (S2, continues at the end of S1), then 200, 205, ... (r=-1).
    const struct { uint64_t time; const char* url; } byTime[] = {
        {50, "http://cdn.example/vod/n100-t50.ts"},
        {70, "http://cdn.example/vod/n101-t70.ts"},
        {90, "http://cdn.example/vod/n102-t90.ts"},
        {200, "http://cdn.example/vod/n103-t200.ts"},
        {215, "http://cdn.example/vod/n106-t215.ts"},
    };
    for (const auto& c : byTime) {
        expectSegment(tmpl->GetMediaSegmentFromTime({}, "r", 1, c.time), c.url, "", TransactionType::MediaSegment);
    }
    expectSegment(tmpl->GetMediaSegmentFromNumber({}, "r", 1, 102), "http://cdn.example/vod/n102-t90.ts", "",
                  TransactionType::MediaSegment);
    expectSegment(tmpl->GetMediaSegmentFromNumber({}, "r", 1, 1000103), "http://cdn.example/vod/n1000103-t5000200.ts",
                  "", TransactionType::MediaSegment);
    // Before the timeline, or before startNumber: the value is unknown, no segment.
    velar_test::LogCapture capture;
    EXPECT_EQ(nullptr, tmpl->GetMediaSegmentFromTime({}, "r", 1, 10));
    EXPECT_EQ(nullptr, tmpl->GetMediaSegmentFromNumber({}, "r", 1, 99));
    EXPECT_EQ(2u, capture.lines().size());
}

// --- SegmentList: one URL per segment, and mediaRange into one file ------------------------

const char* const kSegmentLists = R"(<MPD type="static" mediaPresentationDuration="PT8S" minBufferTime="PT1S">
  <BaseURL>http://media.example/content/</BaseURL>
  <Period>
    <AdaptationSet mimeType="video/mp4">
      <Representation id="list" bandwidth="500000" height="480">
        <SegmentList timescale="1000" duration="4000">
          <Initialization sourceURL="list/init.mp4"/>
          <SegmentURL media="list/seg1.m4s"/>
          <SegmentURL media="list/seg2.m4s" index="list/seg2.sidx"/>
        </SegmentList>
      </Representation>
      <Representation id="ranged" bandwidth="900000" height="720">
        <BaseURL>ranged/all.mp4</BaseURL>
        <SegmentList duration="4">
          <Initialization range="0-861"/>
          <SegmentURL mediaRange="862-100000"/>
          <SegmentURL mediaRange="100001-199999" indexRange="100001-100100"/>
        </SegmentList>
      </Representation>
    </AdaptationSet>
  </Period>
</MPD>)";

TEST(MPDParserTest, SegmentListsFieldByField) {
    auto mpd = parse(kSegmentLists);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ("static", mpd->GetType());
    ASSERT_EQ(1u, mpd->GetBaseURLs().size());
    EXPECT_EQ("http://media.example/content/", mpd->GetBaseURLs()[0]->GetUrl());
    const IPeriod* period = mpd->GetPeriods()[0];
    EXPECT_EQ("", period->GetId());
    const auto& reps = period->GetAdaptationSets()[0]->GetRepresentation();
    ASSERT_EQ(2u, reps.size());

    const ISegmentList* list = reps[0]->GetSegmentList();
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(1000u, list->GetTimescale());
    EXPECT_EQ(4000u, list->GetDuration());
    EXPECT_EQ(1u, list->GetStartNumber());
    ASSERT_NE(nullptr, list->GetInitialization());
    EXPECT_EQ("list/init.mp4", list->GetInitialization()->GetSourceURL());
    EXPECT_EQ("", list->GetInitialization()->GetRange());
    ASSERT_EQ(2u, list->GetSegmentURLs().size());
    EXPECT_EQ("list/seg1.m4s", list->GetSegmentURLs()[0]->GetMediaURI());
    EXPECT_EQ("", list->GetSegmentURLs()[0]->GetMediaRange());
    EXPECT_EQ("list/seg2.sidx", list->GetSegmentURLs()[1]->GetIndexURI());

    std::vector<IBaseUrl*> bases = mpd->GetBaseURLs();
    expectSegment(list->GetInitialization()->ToSegment(bases), "http://media.example/content/list/init.mp4", "",
                  TransactionType::InitializationSegment);
    expectSegment(list->GetSegmentURLs()[1]->ToMediaSegment(bases), "http://media.example/content/list/seg2.m4s", "",
                  TransactionType::MediaSegment);
    expectSegment(list->GetSegmentURLs()[1]->ToIndexSegment(bases), "http://media.example/content/list/seg2.sidx", "",
                  TransactionType::IndexSegment);
    EXPECT_EQ(nullptr, list->GetSegmentURLs()[0]->ToIndexSegment(bases));

    const ISegmentList* ranged = reps[1]->GetSegmentList();
    ASSERT_NE(nullptr, ranged);
    EXPECT_EQ(1u, ranged->GetTimescale());  // absent: schema default
    EXPECT_EQ(4u, ranged->GetDuration());
    ASSERT_EQ(1u, reps[1]->GetBaseURLs().size());
    bases.push_back(reps[1]->GetBaseURLs()[0]);
    const std::string file = "http://media.example/content/ranged/all.mp4";
    expectSegment(ranged->GetInitialization()->ToSegment(bases), file, "0-861", TransactionType::InitializationSegment);
    expectSegment(ranged->GetSegmentURLs()[0]->ToMediaSegment(bases), file, "862-100000", TransactionType::MediaSegment);
    expectSegment(ranged->GetSegmentURLs()[1]->ToMediaSegment(bases), file, "100001-199999", TransactionType::MediaSegment);
    expectSegment(ranged->GetSegmentURLs()[1]->ToIndexSegment(bases), file, "100001-100100", TransactionType::IndexSegment);
}

// --- SegmentBase: indexRange and Initialization range over one file ------------------------

TEST(MPDParserTest, SegmentBaseFieldByField) {
    auto mpd = parse(R"(<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" mediaPresentationDuration="PT30S">
      <Period><AdaptationSet mimeType="video/mp4">
        <Representation id="sb" bandwidth="800000" height="540">
          <BaseURL>movie_540.mp4</BaseURL>
          <SegmentBase indexRange="834-1233" indexRangeExact="true" timescale="12800" presentationTimeOffset="1024">
            <Initialization range="0-833"/>
            <RepresentationIndex sourceURL="movie_540.sidx" range="0-399"/>
          </SegmentBase>
        </Representation>
      </AdaptationSet></Period></MPD>)", "file:///srv/media/movie.mpd");
    ASSERT_NE(nullptr, mpd);
    const IRepresentation* rep = mpd->GetPeriods()[0]->GetAdaptationSets()[0]->GetRepresentation()[0];
    const ISegmentBase* base = rep->GetSegmentBase();
    ASSERT_NE(nullptr, base);
    EXPECT_EQ("834-1233", base->GetIndexRange());
    EXPECT_TRUE(base->IsIndexRangeExact());
    EXPECT_EQ(12800u, base->GetTimescale());
    EXPECT_EQ(1024u, base->GetPresentationTimeOffset());
    ASSERT_NE(nullptr, base->GetInitialization());
    EXPECT_EQ("", base->GetInitialization()->GetSourceURL());
    EXPECT_EQ("0-833", base->GetInitialization()->GetRange());
    ASSERT_NE(nullptr, base->GetRepresentationIndex());

    const std::vector<IBaseUrl*>& bases = rep->GetBaseURLs();
    expectSegment(base->GetInitialization()->ToSegment(bases), "file:///srv/media/movie_540.mp4", "0-833",
                  TransactionType::InitializationSegment);
    expectSegment(base->GetRepresentationIndex()->ToSegment(bases), "file:///srv/media/movie_540.sidx", "0-399",
                  TransactionType::IndexSegment);
    // What the SegmentBase scheme asks for: the whole media from the index on.
    Segment media;
    ASSERT_TRUE(media.Init(bases, "", "834-", TransactionType::MediaSegment));
    EXPECT_EQ("file:///srv/media/movie_540.mp4", media.GetUrl());
    EXPECT_EQ("834-", media.GetRange());
    EXPECT_EQ(TransactionType::MediaSegment, media.GetType());
    EXPECT_EQ(4, static_cast<int>(media.GetType()));
}

// --- BaseURL at every level -----------------------------------------------------------------

TEST(MPDParserTest, BaseUrlsAtEveryLevel) {
    auto mpd = parse(R"(<MPD type="static">
      <BaseURL serviceLocation="a" byteRange="$base$?r=$first$">http://a.example/root/</BaseURL>
      <Period>
        <BaseURL>period/</BaseURL>
        <AdaptationSet mimeType="video/mp4">
          <BaseURL>
             set/
          </BaseURL>
          <SegmentTemplate media="seg-$Number$.m4s"/>
          <Representation id="r1" bandwidth="1"><BaseURL>rep/</BaseURL></Representation>
          <Representation id="r2" bandwidth="2"><BaseURL>https://b.example/other/</BaseURL></Representation>
          <Representation id="r3" bandwidth="3"><BaseURL>../up/</BaseURL></Representation>
          <Representation id="r4" bandwidth="4"><BaseURL>/top/</BaseURL></Representation>
        </AdaptationSet>
      </Period></MPD>)");
    ASSERT_NE(nullptr, mpd);
    ASSERT_EQ(1u, mpd->GetBaseURLs().size());
    EXPECT_EQ("a", mpd->GetBaseURLs()[0]->GetServiceLocation());
    EXPECT_EQ("$base$?r=$first$", mpd->GetBaseURLs()[0]->GetByteRange());
    const IPeriod* period = mpd->GetPeriods()[0];
    const IAdaptationSet* set = period->GetAdaptationSets()[0];
    EXPECT_EQ("period/", period->GetBaseURLs()[0]->GetUrl());
    EXPECT_EQ("set/", set->GetBaseURLs()[0]->GetUrl());  // white space around the text removed

    const struct { size_t rep; const char* url; } cases[] = {
        {0, "http://a.example/root/period/set/rep/seg-5.m4s"},
        {1, "https://b.example/other/seg-5.m4s"},
        {2, "http://a.example/root/period/up/seg-5.m4s"},
        {3, "http://a.example/top/seg-5.m4s"},
    };
    for (const auto& c : cases) {
        std::vector<IBaseUrl*> bases = mpd->GetBaseURLs();
        bases.push_back(period->GetBaseURLs()[0]);
        bases.push_back(set->GetBaseURLs()[0]);
        const IRepresentation* rep = set->GetRepresentation()[c.rep];
        bases.insert(bases.end(), rep->GetBaseURLs().begin(), rep->GetBaseURLs().end());
        expectSegment(set->GetSegmentTemplate()->GetMediaSegmentFromNumber(bases, rep->GetId(), 1, 5), c.url, "",
                      TransactionType::MediaSegment);
    }
}

// --- Languages and ContentProtection --------------------------------------------------------

const char* const kProtected = R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013"
     xmlns:mspr="urn:microsoft:playready" type="static" mediaPresentationDuration="PT1M">
  <Period>
    <AdaptationSet mimeType="video/mp4" contentType="video">
      <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc"
          cenc:default_KID="10000000-1000-1000-1000-100000000001"/>
      <ContentProtection schemeIdUri="urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95" value="MSPR 2.0">
        <cenc:pssh>AAAAQHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAACA=</cenc:pssh>
        <mspr:pro>BgIAAAEAAQD8ATwAVwBSAE0ASABFAEEARABFAFIAIAA=</mspr:pro>
      </ContentProtection>
      <ContentProtection schemeIdUri="urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed">
        <cenc:pssh>
          AAAAW3Bzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAADsIARIQ
        </cenc:pssh>
      </ContentProtection>
      <Representation id="v" bandwidth="1000000" height="720">
        <ContentProtection schemeIdUri="urn:uuid:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED"/>
      </Representation>
    </AdaptationSet>
    <AdaptationSet mimeType="audio/mp4" lang="eng"><Representation id="en" bandwidth="128000"/></AdaptationSet>
    <AdaptationSet mimeType="audio/mp4" lang="fra">
      <Role schemeIdUri="urn:mpeg:dash:role:2011" value="dub"/>
      <Representation id="fr" bandwidth="96000"/>
    </AdaptationSet>
    <AdaptationSet mimeType="audio/mp4" lang=" deu ">
      <Accessibility schemeIdUri="urn:tva:metadata:cs:AudioPurposeCS:2007" value="1"/>
      <Representation id="de" bandwidth="64000"/>
    </AdaptationSet>
  </Period>
</MPD>)";

TEST(MPDParserTest, LanguagesAndContentProtection) {
    auto mpd = parse(kProtected);
    ASSERT_NE(nullptr, mpd);
    const auto& sets = mpd->GetPeriods()[0]->GetAdaptationSets();
    ASSERT_EQ(4u, sets.size());
    EXPECT_EQ("", sets[0]->GetLang());
    EXPECT_EQ("eng", sets[1]->GetLang());
    EXPECT_EQ("fra", sets[2]->GetLang());
    EXPECT_EQ("deu", sets[3]->GetLang());
    EXPECT_EQ("dub", sets[2]->GetRole()[0]->GetValue());
    EXPECT_EQ("1", sets[3]->GetAccessibility()[0]->GetValue());

    const auto& cp = sets[0]->GetContentProtection();
    ASSERT_EQ(3u, cp.size());
    EXPECT_EQ("urn:mpeg:dash:mp4protection:2011", cp[0]->GetSchemeIdUri());
    EXPECT_EQ("cenc", cp[0]->GetValue());
    EXPECT_EQ("10000000-1000-1000-1000-100000000001", cp[0]->GetAttributes().at("cenc:default_KID"));
    EXPECT_TRUE(cp[0]->GetChildElements().empty());

    EXPECT_EQ("urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95", cp[1]->GetSchemeIdUri());
    EXPECT_EQ("MSPR 2.0", cp[1]->GetValue());
    ASSERT_EQ(2u, cp[1]->GetChildElements().size());
    const IElement* pssh = cp[1]->GetChildElements()[0];
    EXPECT_EQ("cenc:pssh", pssh->GetName());
    EXPECT_EQ("pssh", pssh->GetLocalName());
    EXPECT_EQ("urn:mpeg:cenc:2013", pssh->GetNamespaceUri());
    EXPECT_EQ("AAAAQHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAACA=", pssh->GetText());
    const IElement* pro = cp[1]->FindChildElement("pro");
    ASSERT_NE(nullptr, pro);
    EXPECT_EQ("mspr:pro", pro->GetName());
    EXPECT_EQ("urn:microsoft:playready", pro->GetNamespaceUri());
    EXPECT_EQ("BgIAAAEAAQD8ATwAVwBSAE0ASABFAEEARABFAFIAIAA=", pro->GetText());

    EXPECT_EQ("urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed", cp[2]->GetSchemeIdUri());
    ASSERT_NE(nullptr, cp[2]->FindChildElement("pssh"));
    EXPECT_EQ("AAAAW3Bzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAADsIARIQ", cp[2]->FindChildElement("pssh")->GetText());
    EXPECT_EQ(nullptr, cp[2]->FindChildElement("pro"));

    const IRepresentation* rep = sets[0]->GetRepresentation()[0];
    ASSERT_EQ(1u, rep->GetContentProtection().size());
    EXPECT_EQ("urn:uuid:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED", rep->GetContentProtection()[0]->GetSchemeIdUri());
}

// --- Inheritance of segment information between levels -----------------------------------

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
    const IPeriod* period = mpd->GetPeriods()[0];
    const IAdaptationSet* set = period->GetAdaptationSets()[0];
    const ISegmentTemplate* setTmpl = set->GetSegmentTemplate();
    ASSERT_NE(nullptr, setTmpl);
    EXPECT_EQ(1000u, setTmpl->GetTimescale());
    EXPECT_EQ("p-$Number$.m4s", setTmpl->GetMediaTemplate());

    const ISegmentTemplate* a = set->GetRepresentation()[0]->GetSegmentTemplate();
    ASSERT_NE(nullptr, a);
    EXPECT_EQ(2000u, a->GetDuration());                               // own
    EXPECT_EQ(1000u, a->GetTimescale());                              // Period
    EXPECT_EQ(0u, a->GetStartNumber());                               // Period (written 0)
    EXPECT_EQ(5u, a->GetPresentationTimeOffset());                    // Period
    EXPECT_EQ("init-$RepresentationID$.mp4", a->GetInitializationTemplate());  // AdaptationSet
    expectSegment(a->GetMediaSegmentFromNumber({}, "a", 1, 0), "http://cdn.example/vod/p-0.m4s", "",
                  TransactionType::MediaSegment);

    const IRepresentation* b = set->GetRepresentation()[1];
    EXPECT_EQ(90000u, b->GetSegmentTemplate()->GetTimescale());
    expectSegment(b->GetSegmentTemplate()->GetMediaSegmentFromNumber({}, "b", 2, 7), "http://cdn.example/vod/b-007.m4s",
                  "", TransactionType::MediaSegment);
    const ISegmentList* list = b->GetSegmentList();
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(10u, list->GetTimescale());                 // Period's SegmentList
    ASSERT_NE(nullptr, list->GetSegmentTimeline());       // Period's timeline
    EXPECT_EQ(2, list->GetSegmentTimeline()->GetTimelines()[0]->GetRepeatCount());
    EXPECT_EQ(2u, list->GetSegmentURLs().size());         // its own URLs

    EXPECT_EQ(nullptr, set->GetRepresentation()[2]->GetSegmentTemplate());  // nothing written there
    ASSERT_NE(nullptr, period->GetSegmentList());
    EXPECT_TRUE(period->GetSegmentList()->GetSegmentURLs().empty());
}

// --- Namespaces -----------------------------------------------------------------------------

TEST(MPDParserTest, NamespacesDoNotMatter) {
    const char* const variants[] = {
        R"(<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic"><Period id="x"/></MPD>)",
        R"(<MPD xmlns="urn:mpeg:DASH:schema:MPD:2011" type="dynamic"><Period id="x"/></MPD>)",
        R"(<MPD type="dynamic"><Period id="x"/></MPD>)",
        R"(<d:MPD xmlns:d="urn:mpeg:dash:schema:mpd:2011" type="dynamic"><d:Period id="x"/></d:MPD>)",
        R"(<MPD type="dynamic" yt:undeclared="1"><yt:Unknown/><Period id="x"/></MPD>)",
    };
    for (const char* text : variants) {
        auto mpd = parse(text);
        ASSERT_NE(nullptr, mpd) << text;
        EXPECT_EQ("dynamic", mpd->GetType()) << text;
        ASSERT_EQ(1u, mpd->GetPeriods().size()) << text;
        EXPECT_EQ("x", mpd->GetPeriods()[0]->GetId()) << text;
    }
}

TEST(MPDParserTest, PrefixedVendorAttributesAreNotTakenForMpdAttributes) {
    auto mpd = parse(R"(<MPD xmlns:v="urn:vendor" v:type="dynamic" v:publishTime="x"><Period v:id="no"/></MPD>)");
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ("static", mpd->GetType());
    EXPECT_EQ("", mpd->GetPublishTime());
    EXPECT_EQ("", mpd->GetPeriods()[0]->GetId());
}

}  // namespace
