// The generated DASH fixtures (tests/data/make-dash-fixtures.sh) opened over a loopback nginx with
// CreateDashManager()->Open and compared with the expected.json written beside them: periods,
// addressing, Representations, languages, resolved base URLs, protection data, and the first
// media segment of every Representation, which is downloaded to prove its URL.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "DashFixtures.h"
#include "NginxServer.h"
#include "ModelWalk.h"
#include "manifest/DASHManager.h"

using namespace dash::mpd;
using manifest_test::firstMediaSegment;
using manifest_test::schemeOf;

namespace {

// expected.json flattened by Python into "path<TAB>value" lines: "template/0/bandwidth" -> "219762".
std::map<std::string, std::string> readExpected(const std::string& file) {
    const std::string command =
        "python3 -c 'import json, sys\n"
        "def w(p, v):\n"
        "    if isinstance(v, (dict, list)):\n"
        "        for k, x in (v.items() if isinstance(v, dict) else enumerate(v)): w(p + \"/\" + str(k), x)\n"
        "    else: print(p[1:] + \"\\t\" + str(v))\n"
        "w(\"\", json.load(open(sys.argv[1])))' '" + file + "'";
    std::map<std::string, std::string> out;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    char line[8192];
    while (pipe && std::fgets(line, sizeof(line), pipe.get()) != nullptr) {
        const std::string text(line);
        const size_t tab = text.find('\t');
        if (tab != std::string::npos) out[text.substr(0, tab)] = text.substr(tab + 1, text.size() - tab - 2);
    }
    return out;
}

struct FixtureCase {
    const char* name;
    const char* mpd;        // below the fixture folder
    const char* scheme;     // addressing of every Representation
    const char* videoLang;  // @lang of the video AdaptationSet of the template/ media
    // Where expected.json says the Representations and their first media segment are: "files"
    // (template/ segment names), "timeline", "multilang", "heights", "ranges", "base" (onefile/),
    // "baseurls/<mpd>"; "" for no URL check.
    const char* source;
};

void PrintTo(const FixtureCase& c, std::ostream* out) { *out << c.mpd; }  // for gtest and ctest

const FixtureCase kCases[] = {
    {"NumberTemplate", "template/manifest.mpd", "Template", "und", "files"},
    {"SegmentListOfFiles", "template/segmentlist.mpd", "List", "und", "files"},
    {"Protected", "template/protected.mpd", "Template", "und", ""},
    {"TimeTimeline", "timeline/manifest.mpd", "Timeline", "und", "timeline"},
    {"Languages", "multilang/manifest.mpd", "Template", "", "multilang"},
    {"Heights", "heights/manifest.mpd", "Template", "", "heights"},
    {"SegmentListRanges", "onefile/segmentlist-ranges.mpd", "List", "", "ranges"},
    {"SegmentBase", "onefile/segmentbase.mpd", "Base", "", "base"},
    {"RelativeBaseUrls", "baseurls/relative.mpd", "Template", "", "baseurls/relative.mpd"},
    {"AbsoluteBaseUrls", "baseurls/absolute.mpd", "Template", "", "baseurls/absolute.mpd"},
};

// "id bw=... h=... lang=... url range" of each Representation in document order, from expected.json.
// The template/ media are "template/0" and "/1" (video) and "/2" (audio, "eng"); onefile/ names
// them after their files. SegmentBase asks from its index on and shows its Initialization range.
std::vector<std::string> expectedReps(std::map<std::string, std::string>& j, const FixtureCase& c,
                                      const velar_test::NginxServer& server) {
    const std::string source = c.source;
    std::vector<std::string> out;
    for (int i = 0;; ++i) {
        const std::string n = std::to_string(i);
        const std::string listed = source + "/" + n + "/";
        if (!j[listed + "id"].empty()) {
            out.push_back(j[listed + "id"] + " bw=" + j[listed + "bandwidth"] + " h=" + j[listed + "height"] +
                          " lang=" + j[listed + "lang"] + "  ");
            continue;
        }
        const std::string t = "template/" + n + "/";
        if (i > 2 || j[t + "bandwidth"].empty()) return out;
        const bool audio = j[t + "contentType"] == "audio";
        const std::string file = i == 0 ? "v180" : i == 1 ? "v360" : "a_en";
        const bool onefile = source == "ranges" || source == "base";
        std::string url, range;
        if (source == "files") url = server.url("template/" + j[t + "segments/0"]);
        if (source == "timeline") url = server.url("timeline/chunk-" + n + "-" + j["timeline/" + n + "/t/0"] + ".m4s");
        if (source.compare(0, 8, "baseurls") == 0) url = j[source + "/" + n] + j[t + "segments/0"];
        if (source == "baseurls/relative.mpd") url = server.url(url);
        if (onefile) url = server.url("onefile/" + j["onefile/" + file + "/file"]);
        if (source == "ranges") range = j["onefile/" + file + "/media/0"];
        if (source == "base") {
            const std::string index = j["onefile/" + file + "/index"];
            range = index.substr(0, index.find('-') + 1) + " init " + j["onefile/" + file + "/init"];
        }
        out.push_back((onefile ? file : n) + " bw=" + j[t + "bandwidth"] + " h=" + (audio ? "0" : j[t + "height"]) +
                      " lang=" + (audio ? "eng" : c.videoLang) + " " + url + " " + range);
    }
}

class FixtureMpd : public ::testing::TestWithParam<FixtureCase> {};

TEST_P(FixtureMpd, OpensOverHttpAsExpected) {
    if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
    static velar_test::NginxServer server(velar_test::dashFixtures());
    static std::map<std::string, std::string> expected = readExpected(velar_test::dashFixtures() + "/expected.json");
    ASSERT_FALSE(expected.empty());
    const FixtureCase& c = GetParam();
    auto mpd = dash::CreateDashManager()->Open(server.url(c.mpd));
    ASSERT_NE(nullptr, mpd);
    ASSERT_EQ(1u, mpd->GetPeriods().size());
    const std::string source = c.source;
    const bool compareUrls = !source.empty() && source != "multilang" && source != "heights";
    std::vector<std::string> reps;
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
            const IPeriod& p = *mpd->GetPeriods()[0];
            std::unique_ptr<ISegment> s = firstMediaSegment(*mpd, p, *a, *r);
            ASSERT_NE(nullptr, s) << r->GetId();
            EXPECT_EQ(c.scheme, schemeOf(p, *a, *r)) << r->GetId();
            std::string range = s->GetRange();
            if (r->GetSegmentBase()) range += " init " + r->GetSegmentBase()->GetInitialization()->GetRange();
            reps.push_back(r->GetId() + " bw=" + std::to_string(r->GetBandwidth()) + " h=" +
                           std::to_string(r->GetHeight()) + " lang=" + a->GetLang() + " " +
                           (compareUrls ? s->GetUrl() + " " + range : " "));
            if (s->GetUrl().find("127.0.0.1") == std::string::npos) continue;  // not on this server
            ASSERT_TRUE(s->StartDownload());
            ASSERT_TRUE(s->WaitForCompletion(10000));
            EXPECT_EQ(dash::network::COMPLETED, s->GetState()) << s->GetUrl();
            EXPECT_FALSE(s->GetBytes().empty());
        }
    }
    EXPECT_EQ(expectedReps(expected, c, server), reps);

    std::vector<std::string> expectedProtection;
    if (std::string(c.name) == "Protected") {
        std::map<std::string, std::string>& j = expected;
        const std::string cenc = "urn:mpeg:dash:mp4protection:2011 kid=" + j["kid"];
        const std::string wv = "urn:uuid:" + j["widevine"] + " cenc:pssh=" + j["protected/widevine pssh"];
        expectedProtection = {"video " + cenc, "video urn:uuid:" + j["playready"] + " mspr:pro=" + j["protected/mspr:pro"] +
                              " cenc:pssh=" + j["protected/playready pssh"], "video " + wv, "audio " + cenc, "audio " + wv};
    }
    EXPECT_EQ(expectedProtection, protection);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, FixtureMpd, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<FixtureCase>& info) { return std::string(info.param.name); });

}  // namespace
