// ContentProtection descriptors as the adaptation set reads them into records for the host.
#include "dash/DashContentProtection.h"

#include <gtest/gtest.h>

#include "DownloaderRig.h"
#include "MpdText.h"
#include "dash/IDashAdaptationSet.h"

namespace {

using namespace dash;

// The uuid is matched without regard to case and kept in lower case; the key id's prefix is the
// document's; "pssh" and "pro" children are kept as written; a Representation's copy of a set's
// descriptor is taken once, a new one after the set's.
TEST(DashContentProtection, SystemsDataAndRepeatedDescriptors) {
    auto mpd = velar_test::parseMpd(
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" xmlns:k=\"urn:mpeg:cenc:2013\" "
        "xmlns:mspr=\"urn:microsoft:playready\" type=\"static\" mediaPresentationDuration=\"PT4S\"><Period>"
        "<AdaptationSet mimeType=\"video/mp4\">"
        "<ContentProtection schemeIdUri=\"urn:UUID:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED\"/>"
        "<ContentProtection schemeIdUri=\"urn:mpeg:dash:mp4protection:2011\" value=\"cbcs\" k:default_KID=\"ab-12\"/>"
        "<ContentProtection schemeIdUri=\"urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95\" value=\"MSPR 2.0\">"
        "<mspr:pro>KAI=</mspr:pro><k:pssh>AAA=</k:pssh></ContentProtection>"
        "<ContentProtection schemeIdUri=\"urn:uuid:00000000-0000-0000-0000-000000000001\"/>"
        "<SegmentTemplate media=\"$Number$.m4s\" initialization=\"i.mp4\" duration=\"1\"/>"
        "<Representation id=\"v\" bandwidth=\"1000\" height=\"360\">"
        "<ContentProtection schemeIdUri=\"urn:UUID:EDEF8BA9-79D6-4ACE-A3C8-27DCD51D21ED\"/>"
        "<ContentProtection schemeIdUri=\"urn:example:drm\" value=\"x\"/></Representation>"
        "</AdaptationSet></Period></MPD>");
    ASSERT_NE(nullptr, mpd);
    auto set = downloader_rig::processFactory()->createDashAdaptationSet(mpd, {mpd->GetMPDPathBaseUrl()}, "video/mp4");
    std::vector<std::string> records;  // "system systemId value kid pssh pro"
    for (const DashContentProtection& p : set->getContentProtections()) {
        records.push_back(std::string(DashContentProtection::systemName(p.system)) + " " + p.systemId + " " + p.value +
                          " " + p.defaultKid + " " + p.pssh + " " + p.pro);
    }
    EXPECT_EQ((std::vector<std::string>{"Widevine edef8ba9-79d6-4ace-a3c8-27dcd51d21ed    ", "None  cbcs ab-12  ",
                                        "PlayReady 9a04f079-9840-4286-ab92-e65be0885f95 MSPR 2.0  AAA= KAI=",
                                        "Other 00000000-0000-0000-0000-000000000001    ", "None  x   "}),
              records);
}

}  // namespace
