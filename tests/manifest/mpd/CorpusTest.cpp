// Third-party MPDs from ../shared/mpd-corpus (see its README): every file must load, and the
// model must show what the README says each one exercises. Skipped when the folder is absent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "ModelWalk.h"
#include "manifest/DASHManager.h"

using namespace dash::mpd;
using manifest_test::firstMediaSegment;
using manifest_test::schemeOf;

namespace {

const std::string kCorpusDir = VELAR_SOURCE_DIR "/../shared/mpd-corpus";
const std::string kDocumentUrl = "http://corpus.example/dir/manifest.mpd";

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::shared_ptr<MPD> load(const std::string& file) {
    return dash::DASHManager::OpenFromMemory(readFile(kCorpusDir + "/" + file), kDocumentUrl);
}

// The .mpd files of the corpus, sorted; empty when the folder is absent.
std::vector<std::string> corpusFiles() {
    std::vector<std::string> files;
    std::error_code absent;
    for (const auto& entry : std::filesystem::directory_iterator(kCorpusDir, absent)) {
        if (entry.path().extension() == ".mpd") files.push_back(entry.path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

#define SKIP_WITHOUT_CORPUS() \
    if (corpusFiles().empty()) GTEST_SKIP() << "MPD corpus not found at " << kCorpusDir

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// Every ContentProtection of every level.
std::vector<const IDescriptor*> protection(const IMPD& mpd) {
    std::vector<const IDescriptor*> out;
    for (const IPeriod* p : mpd.GetPeriods()) {
        for (const IAdaptationSet* a : p->GetAdaptationSets()) {
            out.insert(out.end(), a->GetContentProtection().begin(), a->GetContentProtection().end());
            for (const IRepresentation* r : a->GetRepresentation()) {
                out.insert(out.end(), r->GetContentProtection().begin(), r->GetContentProtection().end());
            }
        }
    }
    return out;
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

void PrintTo(const CorpusCase& c, std::ostream* out) { *out << c.file; }  // for gtest and ctest

const std::string kCenc = "urn:mpeg:dash:mp4protection:2011";
const std::string kPlayReady = "urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95";
const std::string kWidevine = "urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed";

const CorpusCase kCases[] = {
    {"baseurl-dvb-priority-weight-empty-reps.mpd", "dynamic", 1, "Template",
     {"http://video.com/baseUrl/a/", "http://video.com/baseUrl/b/", "http://video.com/baseUrl/c/"}, {}, {}, nullptr, ""},
    {"baseurl-nested-four-levels.mpd", "static", 1, "Template", {"https://hostname/"}, {"eng"}, {},
     "https://hostname/period/media_video_5000kbps-1.m4s", ""},
    {"descriptors-labels-no-xml-decl.mpd", "static", 1, "Template", {"./"}, {"es"}, {}, "http://corpus.example/dir/1.m4a", ""},
    {"dynamic-no-ast-legacy-namespace.mpd", "dynamic", 1, "Template", {}, {"en"}, {}, nullptr, ""},
    {"ffmpeg-live-multiperiod-number05d-timeline.mpd", "dynamic", 3, "Timeline", {}, {}, {}, nullptr, ""},
    {"libdash-unknown-elements-mixed-addressing.mpd", "static", 1, "Timeline",  // "$Bandwidth%" cannot expand
     {"http://www-itec.uni-klu.ac.at/ftp/datasets/mmsys12/BigBuckBunny/bunny_2s/"}, {}, {"http://example.net/052011/drm"}, "", ""},
    {"live-ato-inf-utctiming-xsdate.mpd", "dynamic", 1, "Template", {}, {"en"}, {}, nullptr, ""},
    {"live-lowlatency-prt-utctiming.mpd", "dynamic", 1, "Template", {}, {"eng"}, {}, nullptr, ""},
    {"live-multilang-timeline-scte35-drm-no-pssh.mpd", "dynamic", 1, "Timeline", {}, {"fr", "qaa"},
     {kCenc, kPlayReady, "urn:uuid:b4413586-c58c-ffb0-94a5-d4896c1af6c3", kWidevine}, nullptr, ""},
    {"live-multiperiod-utctiming-http-direct.mpd", "dynamic", 2, "Template",
     {"https://vm2.dashif.org/livesim-dev/periods_1/testpic_2s/"}, {"eng"}, {}, nullptr, ""},
    {"live-number-and-time-utc-direct.mpd", "dynamic", 1, "Timeline", {}, {"ces"}, {},
     "http://corpus.example/dir/tracks-v3/dvr-1526842800-695.g_m4v?t=3388000", ""},
    {"live-number05d-utc-direct.mpd", "dynamic", 1, "Template", {}, {}, {}, "http://corpus.example/dir/chunk-00001.mp4", ""},
    {"live-timeline-time-foreign-ns.mpd", "dynamic", 1, "Timeline",
     {"http://vm2.dashif.org/livesim-dev/segtimeline_1/testpic_6s/"}, {"eng"}, {}, nullptr, ""},
    {"mediapackage-multiperiod-no-namespace.mpd", "static", 2, "Timeline", {}, {"eng"}, {}, nullptr, ""},
    {"multidrm-playready-pro-clearkey-marlin.mpd", "static", 1, "Template", {}, {},
     {kCenc, "urn:uuid:5e629af5-38da-4063-8977-97ffbd9902d4", kPlayReady, "urn:uuid:e2719d58-a985-b3c9-781a-b030af78d30e",
      kWidevine}, "http://corpus.example/dir/video/avc1/seg-1.m4s", ""},
    {"multiperiod-encrypted-then-clear-pssh-whitespace.mpd", "static", 2, "None", {}, {"en"}, {kCenc, kWidevine}, nullptr, ""},
    {"ondemand-segmentbase-multidrm.mpd", "static", 1, "Base", {}, {"fre"},
     {kCenc, "urn:uuid:1077efec-c0b2-4d02-ace3-3c1e52e2fb4b", kPlayReady, "urn:uuid:adb41c24-2dbf-4a6d-958b-4457c0d27b95",
      kWidevine}, "http://corpus.example/dir/video.mp4", "1841-"},
    {"packager-live-cenc-placeholder-ast.mpd", "dynamic", 1, "Timeline", {}, {}, {kCenc, kWidevine}, nullptr, ""},
    {"packager-ondemand-segmentbase-two-trickplay.mpd", "static", 1, "Base", {}, {}, {}, nullptr, ""},
    {"segmentlist-byterange-tabs-in-tags.mpd", "static", 1, "List", {}, {}, {}, nullptr, ""},
    {"segmentlist-mediarange.mpd", "static", 1, "List", {}, {}, {}, "http://corpus.example/dir/video-frag.mp4", "747-876117"},
    {"segmentlist-with-timeline-tabs.mpd", "static", 1, "List", {}, {}, {}, "https://foobar.com/fie.0.m4v", ""},
    {"static-3periods-absolute-baseurl.mpd", "static", 3, "Template", {}, {"fr"}, {},
     "http://dash.edgesuite.net/dash264/TestCases/1b/thomson-networks/1/video_23821645_4000000bps.mp4", ""},
    {"trickmode-essential-and-supplemental.mpd", "static", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"usp-trickmode-adaptationset.mpd", "static", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"usp-vod-timeline-playready-widevine-scte35.mpd", "static", 1, "Timeline", {}, {"qag"},
     {kCenc, "urn:uuid:3d5e6d35-9b9a-41e8-b843-dd3c6e72c42c", kPlayReady, kWidevine}, nullptr, ""},
    {"youtube-live-period-segmenttemplate.mpd", "dynamic", 1, "Timeline", {}, {}, {}, nullptr, ""},
    {"youtube-live-segmentlist-undeclared-prefix.mpd", "dynamic", 1, "List", {}, {"en"}, {},
     "http://www.test.com/sq/1292317/clen/77447/lmt/1409671169987621/dur/4.805", ""},
};

class Corpus : public ::testing::TestWithParam<CorpusCase> {};

TEST_P(Corpus, YieldsWhatTheReadmeSays) {
    SKIP_WITHOUT_CORPUS();
    const CorpusCase& c = GetParam();
    auto mpd = load(c.file);
    ASSERT_NE(nullptr, mpd);
    EXPECT_EQ(c.type, mpd->GetType());
    ASSERT_EQ(c.periods, mpd->GetPeriods().size());
    std::vector<std::string> mpdBases;
    for (const IBaseUrl* b : mpd->GetBaseURLs()) mpdBases.push_back(b->GetUrl());
    EXPECT_EQ(c.mpdBaseUrls, mpdBases);
    std::set<std::string> langs;
    for (const IPeriod* p : mpd->GetPeriods()) {
        for (const IAdaptationSet* a : p->GetAdaptationSets()) if (!a->GetLang().empty()) langs.insert(a->GetLang());
    }
    EXPECT_EQ(c.langs, langs);
    std::set<std::string> systems;
    for (const IDescriptor* d : protection(*mpd)) systems.insert(lower(d->GetSchemeIdUri()));
    EXPECT_EQ(c.protection, systems);

    const IPeriod& p = *mpd->GetPeriods()[0];
    ASSERT_FALSE(p.GetAdaptationSets().empty());
    const IAdaptationSet& a = *p.GetAdaptationSets()[0];
    ASSERT_FALSE(a.GetRepresentation().empty());
    EXPECT_EQ(c.scheme, schemeOf(p, a, *a.GetRepresentation()[0]));
    if (c.firstMediaUrl == nullptr) return;
    std::unique_ptr<ISegment> segment = firstMediaSegment(*mpd, p, a, *a.GetRepresentation()[0]);
    ASSERT_EQ(*c.firstMediaUrl == '\0', segment == nullptr);
    if (segment == nullptr) return;
    EXPECT_EQ(c.firstMediaUrl, segment->GetUrl());
    EXPECT_EQ(c.firstMediaRange, segment->GetRange());
}

INSTANTIATE_TEST_SUITE_P(Files, Corpus, ::testing::ValuesIn(kCases), [](const ::testing::TestParamInfo<CorpusCase>& info) {
    std::string name;
    for (const char* s = info.param.file; *s != '\0' && *s != '.'; ++s) name += std::isalnum(static_cast<unsigned char>(*s)) ? *s : '_';
    return name;
});

// Every file loads through the manager and has a row above; copies cut short at 60 points (a
// transfer ended early) are refused or read as far as they go, never a crash.
TEST(CorpusTest, EveryFileLoadsWholeOrTruncated) {
    SKIP_WITHOUT_CORPUS();
    EXPECT_EQ(sizeof(kCases) / sizeof(kCases[0]), corpusFiles().size());  // the README says 27 but lists 28
    for (const std::string& file : corpusFiles()) {
        EXPECT_NE(nullptr, dash::CreateDashManager()->Open(kCorpusDir + "/" + file)) << file;
        EXPECT_TRUE(std::any_of(std::begin(kCases), std::end(kCases), [&](const CorpusCase& c) { return file == c.file; }))
            << file << " has no row in the table";
        const std::string text = readFile(kCorpusDir + "/" + file);
        for (size_t n = 0; n < text.size(); n += std::max<size_t>(1, text.size() / 60)) {
            auto mpd = dash::DASHManager::OpenFromMemory(text.substr(0, n), kDocumentUrl);
            if (mpd) protection(*mpd);
        }
    }
}

}  // namespace
