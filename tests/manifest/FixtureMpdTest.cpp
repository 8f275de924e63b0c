// The generated DASH fixtures (tests/data/make-dash-fixtures.sh) opened over a loopback nginx with
// CreateDashManager()->Open and compared with the expected.json written beside them: periods,
// addressing, Representations, languages, resolved base URLs, protection data, and the first
// media segment of every Representation, which is downloaded to prove its URL and range.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <ostream>
#include <memory>
#include <string>
#include <vector>

#include "DashFixtures.h"
#include "NginxServer.h"
#include "manifest/DASHManager.h"

using namespace dash::mpd;

namespace {

// expected.json flattened by Python into "path<TAB>value" lines: "template/0/bandwidth" -> "219762".
class Expected {
public:
    explicit Expected(const std::string& file) {
        const std::string command =
            "python3 -c 'import json, sys\n"
            "def w(p, v):\n"
            "    if isinstance(v, (dict, list)):\n"
            "        for k, x in (v.items() if isinstance(v, dict) else enumerate(v)): w(p + \"/\" + str(k), x)\n"
            "    else: print(p[1:] + \"\\t\" + str(v))\n"
            "w(\"\", json.load(open(sys.argv[1])))' '" + file + "'";
        std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        char line[8192];
        while (pipe && std::fgets(line, sizeof(line), pipe.get()) != nullptr) {
            std::string text(line);
            const size_t tab = text.find('\t');
            if (tab != std::string::npos) mValues[text.substr(0, tab)] = text.substr(tab + 1, text.size() - tab - 2);
        }
    }
    // The value at `path`; empty when absent.
    std::string operator()(const std::string& path) const {
        const auto it = mValues.find(path);
        return it == mValues.end() ? std::string() : it->second;
    }
    bool empty() const { return mValues.empty(); }

private:
    std::map<std::string, std::string> mValues;
};

// One Representation as the checks see it.
struct Rep {
    std::string id, bandwidth, height, lang, url, range;
};

// expected.json lists the Representations of the template/ media under "template/<id>" (0 and 1
// video, 2 audio in "eng"); onefile/ names them after their files in the same order.
std::vector<Rep> templateReps(const Expected& j, const std::string& videoLang, bool fileIds = false) {
    std::vector<Rep> out;
    const char* files[] = {"v180", "v360", "a_en"};
    for (int i = 0; i < 3; ++i) {
        const std::string k = "template/" + std::to_string(i) + "/";
        const bool audio = j(k + "contentType") == "audio";
        out.push_back({fileIds ? files[i] : std::to_string(i), j(k + "bandwidth"), audio ? "0" : j(k + "height"),
                       audio ? "eng" : videoLang, "", ""});
    }
    return out;
}

// The multilang/ and heights/ lists, with their own ids, heights and languages.
std::vector<Rep> listedReps(const Expected& j, const std::string& key) {
    std::vector<Rep> out;
    for (int i = 0; !j(key + "/" + std::to_string(i) + "/id").empty(); ++i) {
        const std::string k = key + "/" + std::to_string(i) + "/";
        out.push_back({j(k + "id"), j(k + "bandwidth"), j(k + "height"), j(k + "lang"), "", ""});
    }
    return out;
}

struct FixtureCase {
    const char* name;
    const char* mpd;     // below the fixture folder
    const char* scheme;  // addressing of every Representation
    // The Representations in document order; url and range are the first media segment (url
    // relative to the server root unless absolute; empty: only downloaded, not compared).
    std::function<std::vector<Rep>(const Expected&)> reps;
    bool download;  // the media lives on the test server
};

// Shown by gtest and ctest in place of the bytes of the row.
void PrintTo(const FixtureCase& c, std::ostream* out) { *out << c.mpd; }

std::string firstSegmentName(const Expected& j, const std::string& id) {
    return j("template/" + id + "/segments/0");
}

const FixtureCase kCases[] = {
    {"NumberTemplate", "template/manifest.mpd", "Template", [](const Expected& j) {
         auto reps = templateReps(j, "und");
         for (Rep& r : reps) r.url = "template/" + firstSegmentName(j, r.id);
         return reps;
     }, true},
    {"SegmentListOfFiles", "template/segmentlist.mpd", "List", [](const Expected& j) {
         auto reps = templateReps(j, "und");
         for (Rep& r : reps) r.url = "template/" + firstSegmentName(j, r.id);
         return reps;
     }, true},
    {"Protected", "template/protected.mpd", "Template", [](const Expected& j) { return templateReps(j, "und"); }, true},
    {"TimeTimeline", "timeline/manifest.mpd", "Timeline", [](const Expected& j) {
         auto reps = templateReps(j, "und");
         for (Rep& r : reps) r.url = "timeline/chunk-" + r.id + "-" + j("timeline/" + r.id + "/t/0") + ".m4s";
         return reps;
     }, true},
    {"Languages", "multilang/manifest.mpd", "Template", [](const Expected& j) { return listedReps(j, "multilang"); }, true},
    {"Heights", "heights/manifest.mpd", "Template", [](const Expected& j) { return listedReps(j, "heights"); }, true},
    {"SegmentListRanges", "onefile/segmentlist-ranges.mpd", "List", [](const Expected& j) {
         auto reps = templateReps(j, "", true);
         for (Rep& r : reps) {
             r.url = "onefile/" + j("onefile/" + r.id + "/file");
             r.range = j("onefile/" + r.id + "/media/0");
         }
         return reps;
     }, true},
    // SegmentBase: the Initialization range, then the index range (the sidx box).
    {"SegmentBase", "onefile/segmentbase.mpd", "Base", [](const Expected& j) {
         auto reps = templateReps(j, "", true);
         for (Rep& r : reps) {
             r.url = "onefile/" + j("onefile/" + r.id + "/file");
             r.range = j("onefile/" + r.id + "/init") + " index " + j("onefile/" + r.id + "/index");
         }
         return reps;
     }, true},
    {"RelativeBaseUrls", "baseurls/relative.mpd", "Template", [](const Expected& j) {
         auto reps = templateReps(j, "");
         for (Rep& r : reps) r.url = j("baseurls/relative.mpd/" + r.id) + firstSegmentName(j, r.id);
         return reps;
     }, true},
    {"AbsoluteBaseUrls", "baseurls/absolute.mpd", "Template", [](const Expected& j) {
         auto reps = templateReps(j, "");
         for (Rep& r : reps) r.url = j("baseurls/absolute.mpd/" + r.id) + firstSegmentName(j, r.id);
         return reps;
     }, false},
};

class FixtureMpd : public ::testing::TestWithParam<FixtureCase> {
protected:
    static void SetUpTestSuite() {
        if (!velar_test::NginxServer::available()) return;
        sRoot = velar_test::dashFixtures();
        sServer = new velar_test::NginxServer(sRoot);
        sExpected = new Expected(sRoot + "/expected.json");
    }
    static void TearDownTestSuite() {
        delete sServer;
        delete sExpected;
        sServer = nullptr;
        sExpected = nullptr;
    }
    static std::string sRoot;
    static velar_test::NginxServer* sServer;
    static Expected* sExpected;
};
std::string FixtureMpd::sRoot;
velar_test::NginxServer* FixtureMpd::sServer = nullptr;
Expected* FixtureMpd::sExpected = nullptr;

// The first media segment of `r` (for SegmentBase its Initialization, with the index range added
// to the range), made as the DASH client makes it from the base URLs of every level.
std::unique_ptr<ISegment> firstSegment(const IMPD& mpd, const IAdaptationSet& a, const IRepresentation& r,
                                       std::string& range) {
    std::vector<IBaseUrl*> bases = mpd.GetBaseURLs();
    for (const auto* level : {&mpd.GetPeriods()[0]->GetBaseURLs(), &a.GetBaseURLs(), &r.GetBaseURLs()}) {
        bases.insert(bases.end(), level->begin(), level->end());
    }
    const ISegmentTemplate* t = r.GetSegmentTemplate() ? r.GetSegmentTemplate() : a.GetSegmentTemplate();
    std::unique_ptr<ISegment> s;
    if (t && t->GetSegmentTimeline()) {
        s.reset(t->GetMediaSegmentFromTime(bases, r.GetId(), r.GetBandwidth(),
                                           t->GetSegmentTimeline()->GetTimelines()[0]->GetStartTime()));
    } else if (t) {
        s.reset(t->GetMediaSegmentFromNumber(bases, r.GetId(), r.GetBandwidth(), t->GetStartNumber()));
    } else if (r.GetSegmentList()) {
        s.reset(r.GetSegmentList()->GetSegmentURLs().at(0)->ToMediaSegment(bases));
    } else if (r.GetSegmentBase()) {
        s.reset(r.GetSegmentBase()->GetInitialization()->ToSegment(bases));
    }
    range = s ? s->GetRange() : "";
    if (r.GetSegmentBase()) range += " index " + r.GetSegmentBase()->GetIndexRange();
    return s;
}

std::string schemeOf(const IAdaptationSet& a, const IRepresentation& r) {
    const ISegmentTemplate* t = r.GetSegmentTemplate() ? r.GetSegmentTemplate() : a.GetSegmentTemplate();
    if (t) return t->GetSegmentTimeline() ? "Timeline" : "Template";
    return r.GetSegmentList() ? "List" : r.GetSegmentBase() ? "Base" : "None";
}

std::string describe(const Rep& r) {
    return r.id + " bw=" + r.bandwidth + " h=" + r.height + " lang=" + r.lang + " " + r.url + " " + r.range;
}

TEST_P(FixtureMpd, OpensOverHttpAsExpected) {
    if (sServer == nullptr) GTEST_SKIP() << "nginx is not installed";
    ASSERT_FALSE(sExpected->empty());
    const FixtureCase& c = GetParam();
    const Expected& j = *sExpected;
    auto mpd = dash::CreateDashManager()->Open(sServer->url(c.mpd));
    ASSERT_NE(nullptr, mpd);
    ASSERT_EQ(1u, mpd->GetPeriods().size());

    std::vector<std::string> expected;
    for (Rep r : c.reps(j)) {
        if (!r.url.empty() && r.url.compare(0, 7, "http://") != 0) r.url = sServer->url(r.url);
        expected.push_back(describe(r));
    }
    std::vector<std::string> actual;
    std::vector<std::string> protection;
    for (const IAdaptationSet* a : mpd->GetPeriods()[0]->GetAdaptationSets()) {
        for (const IDescriptor* d : a->GetContentProtection()) {
            std::string line = a->GetContentType() + " " + d->GetSchemeIdUri();
            const auto kid = d->GetAttributes().find("cenc:default_KID");
            if (kid != d->GetAttributes().end()) line += " kid=" + kid->second;
            for (const IElement* e : d->GetChildElements()) line += " " + e->GetName() + "=" + e->GetText();
            protection.push_back(line);
        }
        for (const IRepresentation* r : a->GetRepresentation()) {
            SCOPED_TRACE(r->GetId());
            EXPECT_EQ(c.scheme, schemeOf(*a, *r));
            std::string range;
            std::unique_ptr<ISegment> s = firstSegment(*mpd, *a, *r, range);
            ASSERT_NE(nullptr, s);
            const bool compareUrl =
                actual.size() < expected.size() && expected[actual.size()].find(" http") != std::string::npos;
            actual.push_back(describe({r->GetId(), std::to_string(r->GetBandwidth()), std::to_string(r->GetHeight()),
                                       a->GetLang(), compareUrl ? s->GetUrl() : "", compareUrl ? range : ""}));
            if (c.download) {
                ASSERT_TRUE(s->StartDownload());
                ASSERT_TRUE(s->WaitForCompletion(10000));
                EXPECT_EQ(dash::network::COMPLETED, s->GetState()) << s->GetUrl();
                EXPECT_FALSE(s->GetBytes().empty());
            }
        }
    }
    EXPECT_EQ(expected, actual);

    std::vector<std::string> expectedProtection;
    if (std::string(c.name) == "Protected") {
        const std::string cenc = "urn:mpeg:dash:mp4protection:2011 kid=" + j("kid");
        const std::string pr = "urn:uuid:" + j("playready"), wv = "urn:uuid:" + j("widevine");
        const std::string wvLine = wv + " cenc:pssh=" + j("protected/widevine pssh");
        expectedProtection = {"video " + cenc, "video " + pr + " mspr:pro=" + j("protected/mspr:pro") +
                              " cenc:pssh=" + j("protected/playready pssh"), "video " + wvLine,
                              "audio " + cenc, "audio " + wvLine};
    }
    EXPECT_EQ(expectedProtection, protection);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, FixtureMpd, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<FixtureCase>& info) { return std::string(info.param.name); });

}  // namespace
