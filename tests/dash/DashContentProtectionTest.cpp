// ContentProtection descriptors as the adaptation set reads them into records for the host: the
// template/protected.mpd fixture against its expected.json entry, and the attribute forms.
#include "dash/DashContentProtection.h"

#include <gtest/gtest.h>

#include <regex>

#include "DownloaderRig.h"
#include "MpdText.h"
#include "dash/IDashAdaptationSet.h"

namespace {

using namespace dash;

// "system systemId value kid pssh pro" of each record of the set of that MIME type.
std::vector<std::string> records(const std::shared_ptr<mpd::IMPD>& mpd, const std::string& mimeType) {
    auto set = downloader_rig::processFactory()->createDashAdaptationSet(mpd, {mpd->GetMPDPathBaseUrl()}, mimeType);
    std::vector<std::string> out;
    for (const DashContentProtection& p : set->getContentProtections()) {
        out.push_back(std::string(DashContentProtection::systemName(p.system)) + " " + p.systemId + " " + p.value +
                      " " + p.defaultKid + " " + p.pssh + " " + p.pro);
    }
    return out;
}

// The text of `key` in the fixtures' expected.json.
std::string expected(const std::string& key) {
    static const std::string json = downloader_rig::readFile(velar_test::dashFixtures() + "/expected.json");
    std::smatch found;
    EXPECT_TRUE(std::regex_search(json, found, std::regex("\"" + key + "\": \"([^\"]*)\""))) << key;
    return found.size() > 1 ? found[1].str() : "";
}

TEST(DashContentProtection, FixtureRecordsCarryTheSystemsAndTheirData) {
    const std::string file = velar_test::dashFixtures() + "/template/protected.mpd";
    auto mpd = velar_test::parseMpd(downloader_rig::readFile(file), "http://127.0.0.1/template/protected.mpd");
    ASSERT_NE(nullptr, mpd);
    const std::string pr = expected("playready"), wv = expected("widevine");
    const std::string cenc = "None  cenc " + expected("kid") + "  ";
    const std::string widevine = "Widevine " + wv + "   " + expected("widevine pssh") + " ";
    EXPECT_EQ((std::vector<std::string>{cenc,
                                        "PlayReady " + pr + " MSPR 2.0  " + expected("playready pssh") + " " +
                                            expected("mspr:pro"),
                                        widevine}),
              records(mpd, "video/mp4"));
    EXPECT_EQ((std::vector<std::string>{cenc, widevine}), records(mpd, "audio/mp4"));
}

TEST(DashContentProtection, AttributeFormsAndRepeatedDescriptors) {
    auto mpd = velar_test::parseMpd(
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" xmlns:k=\"urn:mpeg:cenc:2013\" type=\"static\" "
        "mediaPresentationDuration=\"PT4S\"><Period><AdaptationSet mimeType=\"video/mp4\">"
        "<ContentProtection schemeIdUri=\"urn:UUID:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED\"/>"
        "<ContentProtection schemeIdUri=\"urn:mpeg:dash:mp4protection:2011\" value=\"cbcs\" k:default_KID=\"ab-12\"/>"
        "<ContentProtection schemeIdUri=\"urn:uuid:00000000-0000-0000-0000-000000000001\"/>"
        "<SegmentTemplate media=\"$Number$.m4s\" initialization=\"i.mp4\" duration=\"1\"/>"
        "<Representation id=\"v\" bandwidth=\"1000\" height=\"360\">"
        "<ContentProtection schemeIdUri=\"urn:UUID:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED\"/>"
        "<ContentProtection schemeIdUri=\"urn:example:drm\" value=\"x\"/></Representation>"
        "</AdaptationSet></Period></MPD>");
    ASSERT_NE(nullptr, mpd);
    // The uuid is matched without regard to case and kept in lower case; the key id's prefix is the
    // document's; a Representation's copy of a set's descriptor is taken once, a new one after them.
    EXPECT_EQ((std::vector<std::string>{"Widevine edef8ba9-79d6-4ace-a3c8-27dcd51d21ed    ",
                                        "None  cbcs ab-12  ", "Other 00000000-0000-0000-0000-000000000001    ",
                                        "None  x   "}),
              records(mpd, "video/mp4"));
}

}  // namespace
