// Third-party MPDs from ../shared/mpd-corpus (see its README): every file must load, and the
// model must show what the README says each one exercises.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "manifest/DASHManager.h"
#include "manifest/mpd/Segment.h"

using namespace dash::mpd;

namespace {

const std::string kCorpusDir = VELAR_SOURCE_DIR "/../shared/mpd-corpus";
const std::string kDocumentUrl = "http://corpus.example/dir/manifest.mpd";

bool corpusPresent() {
    struct stat st;
    return stat(kCorpusDir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// Which addressing scheme a Representation uses, in the DASH client's order of preference:
// a SegmentTemplate (own, the set's, the Period's) with or without timeline, then a SegmentList,
// then a SegmentBase.
std::string scheme(const IPeriod* p, const IAdaptationSet* a, const IRepresentation* r) {
    const ISegmentTemplate* t = r->GetSegmentTemplate() ? r->GetSegmentTemplate()
                              : a->GetSegmentTemplate() ? a->GetSegmentTemplate() : p->GetSegmentTemplate();
    if (t) return t->GetSegmentTimeline() ? "Timeline" : "Template";
    if (r->GetSegmentList() || a->GetSegmentList() || p->GetSegmentList()) return "List";
    if (r->GetSegmentBase() || a->GetSegmentBase() || p->GetSegmentBase()) return "Base";
    return "None";
}

// The first media segment of the first Representation of the first Period, made the way the
// DASH client makes it. Null when the model can make none.
std::unique_ptr<ISegment> firstMediaSegment(const IMPD& mpd) {
    const IPeriod* p = mpd.GetPeriods()[0];
    const IAdaptationSet* a = p->GetAdaptationSets()[0];
    const IRepresentation* r = a->GetRepresentation()[0];
    std::vector<IBaseUrl*> bases = mpd.GetBaseURLs();
    for (const auto* level : {&p->GetBaseURLs(), &a->GetBaseURLs(), &r->GetBaseURLs()}) {
        bases.insert(bases.end(), level->begin(), level->end());
    }
    const std::string kind = scheme(p, a, r);
    const ISegmentTemplate* t = r->GetSegmentTemplate() ? r->GetSegmentTemplate()
                              : a->GetSegmentTemplate() ? a->GetSegmentTemplate() : p->GetSegmentTemplate();
    if (kind == "Template") {
        return std::unique_ptr<ISegment>(
            t->GetMediaSegmentFromNumber(bases, r->GetId(), r->GetBandwidth(), t->GetStartNumber()));
    }
    if (kind == "Timeline") {
        return std::unique_ptr<ISegment>(t->GetMediaSegmentFromTime(
            bases, r->GetId(), r->GetBandwidth(), t->GetSegmentTimeline()->GetTimelines()[0]->GetStartTime()));
    }
    if (kind == "List") {
        return std::unique_ptr<ISegment>(r->GetSegmentList()->GetSegmentURLs()[0]->ToMediaSegment(bases));
    }
    if (kind == "Base") {
        const std::string& index = r->GetSegmentBase()->GetIndexRange();
        std::unique_ptr<Segment> s(new Segment());
        s->Init(bases, "", index.substr(0, index.find('-') + 1), TransactionType::MediaSegment);
        return std::unique_ptr<ISegment>(s.release());
    }
    return nullptr;
}

struct CorpusCase {
    const char* file;
    const char* type;
    size_t periods;
    const char* scheme;  // of the first Representation of the first Period
    std::vector<std::string> mpdBaseUrls;
    std::set<std::string> langs;       // AdaptationSet @lang, all Periods
    std::set<std::string> protection;  // ContentProtection @schemeIdUri lower-cased, all levels
    const char* firstMediaUrl;         // null: not checked; "": no segment can be made
    const char* firstMediaRange;
};

const std::string kMp4Protection = "urn:mpeg:dash:mp4protection:2011";
const std::string kPlayReady = "urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95";
const std::string kWidevine = "urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed";

const CorpusCase kCases[] = {
    {"baseurl-dvb-priority-weight-empty-reps.mpd", "dynamic", 1, "Template",
     {"http://video.com/baseUrl/a/", "http://video.com/baseUrl/b/", "http://video.com/baseUrl/c/"}, {}, {}, nullptr, ""},
    {"baseurl-nested-four-levels.mpd", "static", 1, "Template", {"https://hostname/"}, {"eng"}, {},
     "https://hostname/period/media_video_5000kbps-1.m4s", ""},
    {"descriptors-labels-no-xml-decl.mpd", "static", 1, "Template", {"./"}, {"es"}, {},
     "http://corpus.example/dir/1.m4a", ""},
    {"dynamic-no-ast-legacy-namespace.mpd", "dynamic", 1, "Template", {}, {"en"}, {}, nullptr, ""},
    {"ffmpeg-live-multiperiod-number05d-timeline.mpd", "dynamic", 3, "Timeline", {}, {}, {}, nullptr, ""},
    {"libdash-unknown-elements-mixed-addressing.mpd", "static", 1, "Timeline",
     {"http://www-itec.uni-klu.ac.at/ftp/datasets/mmsys12/BigBuckBunny/bunny_2s/"}, {},
     {"http://example.net/052011/drm"}, "", ""},  // "$Bandwidth%" cannot be expanded
    {"live-ato-inf-utctiming-xsdate.mpd", "dynamic", 1, "Template", {}, {"en"}, {}, nullptr, ""},
    {"live-lowlatency-prt-utctiming.mpd", "dynamic", 1, "Template", {}, {"eng"}, {}, nullptr, ""},
    {"live-multilang-timeline-scte35-drm-no-pssh.mpd", "dynamic", 1, "Timeline", {}, {"fr", "qaa"},
     {kMp4Protection, kPlayReady, "urn:uuid:b4413586-c58c-ffb0-94a5-d4896c1af6c3", kWidevine}, nullptr, ""},
    {"live-multiperiod-utctiming-http-direct.mpd", "dynamic", 2, "Template",
     {"https://vm2.dashif.org/livesim-dev/periods_1/testpic_2s/"}, {"eng"}, {}, nullptr, ""},
    {"live-number-and-time-utc-direct.mpd", "dynamic", 1, "Timeline", {}, {"ces"}, {},
     "http://corpus.example/dir/tracks-v3/dvr-1526842800-695.g_m4v?t=3388000", ""},
    {"live-number05d-utc-direct.mpd", "dynamic", 1, "Template", {}, {}, {}, "http://corpus.example/dir/chunk-00001.mp4", ""},
    {"live-timeline-time-foreign-ns.mpd", "dynamic", 1, "Timeline",
     {"http://vm2.dashif.org/livesim-dev/segtimeline_1/testpic_6s/"}, {"eng"}, {}, nullptr, ""},
    {"mediapackage-multiperiod-no-namespace.mpd", "static", 2, "Timeline", {}, {"eng"}, {}, nullptr, ""},
    {"multidrm-playready-pro-clearkey-marlin.mpd", "static", 1, "Template", {}, {},
     {kMp4Protection, "urn:uuid:5e629af5-38da-4063-8977-97ffbd9902d4", kPlayReady,
      "urn:uuid:e2719d58-a985-b3c9-781a-b030af78d30e", kWidevine},
     "http://corpus.example/dir/video/avc1/seg-1.m4s", ""},
    {"multiperiod-encrypted-then-clear-pssh-whitespace.mpd", "static", 2, "None", {}, {"en"}, {kMp4Protection, kWidevine},
     nullptr, ""},
    {"ondemand-segmentbase-multidrm.mpd", "static", 1, "Base", {}, {"fre"},
     {kMp4Protection, "urn:uuid:1077efec-c0b2-4d02-ace3-3c1e52e2fb4b", kPlayReady,
      "urn:uuid:adb41c24-2dbf-4a6d-958b-4457c0d27b95", kWidevine},
     "http://corpus.example/dir/video.mp4", "1841-"},
    {"packager-live-cenc-placeholder-ast.mpd", "dynamic", 1, "Timeline", {}, {}, {kMp4Protection, kWidevine}, nullptr, ""},
    {"packager-ondemand-segmentbase-two-trickplay.mpd", "static", 1, "Base", {}, {}, {}, nullptr, ""},
    {"segmentlist-byterange-tabs-in-tags.mpd", "static", 1, "List", {}, {}, {}, nullptr, ""},
    {"segmentlist-mediarange.mpd", "static", 1, "List", {}, {}, {}, "http://corpus.example/dir/video-frag.mp4",
     "747-876117"},
    {"segmentlist-with-timeline-tabs.mpd", "static", 1, "List", {}, {}, {}, "https://foobar.com/fie.0.m4v", ""},
    {"static-3periods-absolute-baseurl.mpd", "static", 3, "Template", {}, {"fr"}, {},
     "http://dash.edgesuite.net/dash264/TestCases/1b/thomson-networks/1/video_23821645_4000000bps.mp4", ""},
    {"trickmode-essential-and-supplemental.mpd", "static", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"usp-trickmode-adaptationset.mpd", "static", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"usp-vod-timeline-playready-widevine-scte35.mpd", "static", 1, "Timeline", {}, {"qag"},
     {kMp4Protection, "urn:uuid:3d5e6d35-9b9a-41e8-b843-dd3c6e72c42c", kPlayReady, kWidevine}, nullptr, ""},
    {"youtube-live-period-segmenttemplate.mpd", "dynamic", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"youtube-live-segmentlist-undeclared-prefix.mpd", "dynamic", 1, "List", {}, {"en"}, {},
     "http://www.test.com/sq/1292317/clen/77447/lmt/1409671169987621/dur/4.805", ""},
};

class Corpus : public ::testing::TestWithParam<CorpusCase> {
protected:
    std::shared_ptr<MPD> load() {
        return dash::DASHManager::OpenFromMemory(readFile(kCorpusDir + "/" + GetParam().file), kDocumentUrl);
    }
};

TEST_P(Corpus, YieldsWhatTheReadmeSays) {
    if (!corpusPresent()) GTEST_SKIP() << "MPD corpus not found at " << kCorpusDir;
    const CorpusCase& c = GetParam();
    auto mpd = load();
    ASSERT_NE(nullptr, mpd) << c.file;
    EXPECT_EQ(c.type, mpd->GetType());
    ASSERT_EQ(c.periods, mpd->GetPeriods().size());

    std::vector<std::string> mpdBases;
    for (const IBaseUrl* b : mpd->GetBaseURLs()) mpdBases.push_back(b->GetUrl());
    EXPECT_EQ(c.mpdBaseUrls, mpdBases);

    std::set<std::string> langs;
    std::set<std::string> protection;
    for (const IPeriod* p : mpd->GetPeriods()) {
        for (const IAdaptationSet* a : p->GetAdaptationSets()) {
            if (!a->GetLang().empty()) langs.insert(a->GetLang());
            for (const IDescriptor* d : a->GetContentProtection()) protection.insert(lower(d->GetSchemeIdUri()));
            for (const IRepresentation* r : a->GetRepresentation()) {
                for (const IDescriptor* d : r->GetContentProtection()) protection.insert(lower(d->GetSchemeIdUri()));
            }
        }
    }
    EXPECT_EQ(c.langs, langs);
    EXPECT_EQ(c.protection, protection);

    const IPeriod* p = mpd->GetPeriods()[0];
    ASSERT_FALSE(p->GetAdaptationSets().empty());
    ASSERT_FALSE(p->GetAdaptationSets()[0]->GetRepresentation().empty());
    EXPECT_EQ(c.scheme, scheme(p, p->GetAdaptationSets()[0], p->GetAdaptationSets()[0]->GetRepresentation()[0]));

    if (c.firstMediaUrl != nullptr) {
        std::unique_ptr<ISegment> segment = firstMediaSegment(*mpd);
        if (*c.firstMediaUrl == '\0') {
            EXPECT_EQ(nullptr, segment);
        } else {
            ASSERT_NE(nullptr, segment);
            EXPECT_EQ(c.firstMediaUrl, segment->GetUrl());
            EXPECT_EQ(c.firstMediaRange, segment->GetRange());
            EXPECT_EQ(TransactionType::MediaSegment, segment->GetType());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(kCases), [](const ::testing::TestParamInfo<CorpusCase>& info) {
    std::string name;
    for (const char* s = info.param.file; *s != '\0' && *s != '.'; ++s) name += std::isalnum(static_cast<unsigned char>(*s)) ? *s : '_';
    return name;
});

std::vector<std::string> corpusFiles() {
    std::vector<std::string> files;
    if (DIR* dir = opendir(kCorpusDir.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".mpd") == 0) files.push_back(name);
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    return files;
}

TEST(CorpusTest, EveryFileLoadsAndTheTableCoversThemAll) {
    if (!corpusPresent()) GTEST_SKIP() << "MPD corpus not found at " << kCorpusDir;
    const std::vector<std::string> files = corpusFiles();
    EXPECT_EQ(sizeof(kCases) / sizeof(kCases[0]), files.size());  // the README says 27 but lists 28
    for (const std::string& file : files) {
        EXPECT_NE(nullptr, dash::CreateDashManager()->Open(kCorpusDir + "/" + file)) << file;
        const bool listed = std::any_of(std::begin(kCases), std::end(kCases),
                                        [&](const CorpusCase& c) { return file == c.file; });
        EXPECT_TRUE(listed) << file << " has no row in the table";
    }
}

// Truncated copies of every file (a transfer cut short) never crash the parser: they are refused,
// or, when the cut falls after the root element, read as far as they go.
TEST(CorpusTest, TruncatedFilesNeverCrash) {
    if (!corpusPresent()) GTEST_SKIP() << "MPD corpus not found at " << kCorpusDir;
    for (const std::string& file : corpusFiles()) {
        const std::string text = readFile(kCorpusDir + "/" + file);
        const size_t step = std::max<size_t>(1, text.size() / 60);
        for (size_t n = 0; n < text.size(); n += step) {
            auto mpd = dash::DASHManager::OpenFromMemory(text.substr(0, n), kDocumentUrl);
            if (mpd) {
                for (const IPeriod* p : mpd->GetPeriods()) {
                    for (const IAdaptationSet* a : p->GetAdaptationSets()) {
                        (void)a->GetRepresentation().size();
                    }
                }
            }
        }
    }
}

// Details the README singles out.
TEST(CorpusTest, ProtectionPayloadsAndOddities) {
    if (!corpusPresent()) GTEST_SKIP() << "MPD corpus not found at " << kCorpusDir;
    auto open = [](const char* file) {
        return dash::DASHManager::OpenFromMemory(readFile(kCorpusDir + "/" + file), kDocumentUrl);
    };
    auto findSystem = [](const IMPD& mpd, const std::string& id) -> const IDescriptor* {
        for (const IPeriod* p : mpd.GetPeriods())
            for (const IAdaptationSet* a : p->GetAdaptationSets()) {
                for (const IDescriptor* d : a->GetContentProtection())
                    if (lower(d->GetSchemeIdUri()) == id) return d;
                for (const IRepresentation* r : a->GetRepresentation())
                    for (const IDescriptor* d : r->GetContentProtection())
                        if (lower(d->GetSchemeIdUri()) == id) return d;
            }
        return nullptr;
    };
    auto noEdgeSpace = [](const std::string& s) {
        return !s.empty() && !std::isspace(static_cast<unsigned char>(s.front())) &&
               !std::isspace(static_cast<unsigned char>(s.back()));
    };

    // PlayReady with both cenc:pssh and mspr:pro, upper-case system id.
    auto usp = open("usp-vod-timeline-playready-widevine-scte35.mpd");
    ASSERT_NE(nullptr, usp);
    const IDescriptor* pr = findSystem(*usp, kPlayReady);
    ASSERT_NE(nullptr, pr);
    EXPECT_EQ("urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95", pr->GetSchemeIdUri());
    EXPECT_EQ("MSPR 2.0", pr->GetValue());
    ASSERT_NE(nullptr, pr->FindChildElement("pssh"));
    ASSERT_NE(nullptr, pr->FindChildElement("pro"));
    EXPECT_EQ("mspr:pro", pr->FindChildElement("pro")->GetName());
    EXPECT_TRUE(noEdgeSpace(pr->FindChildElement("pro")->GetText()));
    ASSERT_NE(nullptr, findSystem(*usp, kWidevine));
    EXPECT_EQ("cenc:pssh", findSystem(*usp, kWidevine)->FindChildElement("pssh")->GetName());

    // Lower-case PlayReady id with mspr:pro; a Representation id with a slash.
    auto multi = open("multidrm-playready-pro-clearkey-marlin.mpd");
    ASSERT_NE(nullptr, multi);
    ASSERT_NE(nullptr, findSystem(*multi, kPlayReady));
    ASSERT_NE(nullptr, findSystem(*multi, kPlayReady)->FindChildElement("pro"));
    EXPECT_TRUE(noEdgeSpace(findSystem(*multi, kPlayReady)->FindChildElement("pro")->GetText()));

    // Widevine pssh text wrapped in a newline and spaces upstream: trimmed here.
    auto mixed = open("multiperiod-encrypted-then-clear-pssh-whitespace.mpd");
    ASSERT_NE(nullptr, mixed);
    ASSERT_NE(nullptr, findSystem(*mixed, kWidevine));
    ASSERT_NE(nullptr, findSystem(*mixed, kWidevine)->FindChildElement("pssh"));
    EXPECT_TRUE(noEdgeSpace(findSystem(*mixed, kWidevine)->FindChildElement("pssh")->GetText()));
    EXPECT_EQ("https://storage.googleapis.com/shaka-demo-assets/angel-one-widevine/",
              mixed->GetPeriods()[0]->GetBaseURLs()[0]->GetUrl());

    // Live without pssh: descriptors present, no children.
    auto orange = open("live-multilang-timeline-scte35-drm-no-pssh.mpd");
    ASSERT_NE(nullptr, orange);
    ASSERT_NE(nullptr, findSystem(*orange, kWidevine));
    EXPECT_EQ(nullptr, findSystem(*orange, kWidevine)->FindChildElement("pssh"));

    // Texts the client parses itself are kept as written, even when invalid.
    auto placeholder = open("packager-live-cenc-placeholder-ast.mpd");
    ASSERT_NE(nullptr, placeholder);
    EXPECT_EQ("place_holder", placeholder->GetAvailabilityStarttime());
    auto inf = open("live-ato-inf-utctiming-xsdate.mpd");
    ASSERT_NE(nullptr, inf);
    const IAdaptationSet* infSet = inf->GetPeriods()[0]->GetAdaptationSets()[0];
    const ISegmentTemplate* infTmpl = infSet->GetSegmentTemplate() ? infSet->GetSegmentTemplate()
                                                                   : infSet->GetRepresentation()[0]->GetSegmentTemplate();
    ASSERT_NE(nullptr, infTmpl);
    EXPECT_EQ("INF", infTmpl->GetAvailabilityTimeOffset());

    // The two files that are not namespace-well-formed still load whole.
    auto mediapackage = open("mediapackage-multiperiod-no-namespace.mpd");
    ASSERT_NE(nullptr, mediapackage);
    EXPECT_EQ(2u, mediapackage->GetPeriods().size());
    auto youtube = open("youtube-live-segmentlist-undeclared-prefix.mpd");
    ASSERT_NE(nullptr, youtube);
    const IRepresentation* audio = youtube->GetPeriods()[0]->GetAdaptationSets()[0]->GetRepresentation()[0];
    EXPECT_EQ("http://www.test.com/141", audio->GetBaseURLs()[0]->GetUrl());  // wrapped in white space upstream
    ASSERT_NE(nullptr, audio->GetSegmentList());
    ASSERT_NE(nullptr, audio->GetSegmentList()->GetSegmentTimeline());  // from the Period's SegmentList
    EXPECT_EQ(3u, audio->GetSegmentList()->GetSegmentTimeline()->GetTimelines().size());
    EXPECT_EQ(3u, audio->GetSegmentList()->GetSegmentURLs().size());

    // The AdaptationSet's SegmentTemplate (initialization only) merged into the Representation's.
    auto labels = open("descriptors-labels-no-xml-decl.mpd");
    ASSERT_NE(nullptr, labels);
    const IRepresentation* a64k = labels->GetPeriods()[0]->GetAdaptationSets()[0]->GetRepresentation()[0];
    ASSERT_NE(nullptr, a64k->GetSegmentTemplate());
    EXPECT_EQ(300000u, a64k->GetSegmentTemplate()->GetDuration());
    std::unique_ptr<ISegment> init(a64k->GetSegmentTemplate()->ToInitializationSegment(
        labels->GetBaseURLs(), a64k->GetId(), a64k->GetBandwidth()));
    ASSERT_NE(nullptr, init);
    EXPECT_EQ("http://corpus.example/dir/bbb_a64k.m4a", init->GetUrl());
}

}  // namespace
