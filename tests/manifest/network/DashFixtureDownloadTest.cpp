// The generated DASH fixtures served by nginx and fetched with HttpDownload: every byte range an
// MPD names is exactly the boxes it should hold (ISO/IEC 14496-12 box headers: 32-bit size, then
// the four-character type), and the file of every SegmentTimeline entry exists.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "DashFixtures.h"
#include "NetworkTest.h"

namespace {

using velar_test::NetworkTest;

// The types of the top-level boxes of `bytes`, each followed by a blank; "cut" when the last box
// does not end exactly where the bytes end.
std::string boxTypes(const std::vector<uint8_t>& bytes) {
    std::string types;
    size_t pos = 0;
    while (pos + 8 <= bytes.size()) {
        const size_t size = (size_t(bytes[pos]) << 24) | (size_t(bytes[pos + 1]) << 16) |
                            (size_t(bytes[pos + 2]) << 8) | bytes[pos + 3];
        types.append(bytes.begin() + long(pos) + 4, bytes.begin() + long(pos) + 8).append(" ");
        if (size < 8) {
            break;
        }
        pos += size;
    }
    return pos == bytes.size() ? types : types + "cut";
}

struct Named {
    std::string file;
    std::string range;
    std::string boxes;  // what boxTypes() must give
};

// The resources and byte ranges `mpd` names, line by line: BaseURL with Initialization range,
// mediaRange and indexRange; initialisation and SegmentTimeline files of the templates used here.
std::vector<Named> namedIn(const std::string& mpd) {
    std::vector<Named> out;
    std::string file;
    std::string id;
    const std::regex baseUrl("<BaseURL>([^<]+)<");
    const std::regex representation("<Representation id=\"([^\"]+)\"");
    const std::regex ranges[] = {std::regex("<Initialization range=\"([0-9-]+)\""),
                                 std::regex("mediaRange=\"([0-9-]+)\""),
                                 std::regex("indexRange=\"([0-9-]+)\"")};
    const char* rangeBoxes[] = {"ftyp moov ", "moof mdat ", "sidx "};
    const std::regex s("<S t=\"([0-9]+)\"");
    std::istringstream in(mpd);
    std::smatch m;
    for (std::string line; std::getline(in, line);) {
        file = std::regex_search(line, m, baseUrl) ? m[1].str() : file;
        id = std::regex_search(line, m, representation) ? m[1].str() : id;
        for (int i = 0; i < 3; ++i) {
            if (std::regex_search(line, m, ranges[i])) {
                out.push_back({file, m[1], rangeBoxes[i]});
            }
        }
        if (line.find("initialization=\"init-$RepresentationID$.m4s\"") != std::string::npos) {
            out.push_back({"init-" + id + ".m4s", "", "ftyp moov "});
        }
        if (std::regex_search(line, m, s)) {
            EXPECT_EQ(std::string::npos, line.find(" r=\"")) << "every S carries its own t";
            out.push_back({"chunk-" + id + "-" + m[1].str() + ".m4s", "", "styp sidx moof mdat "});
        }
    }
    return out;
}

class DashFixtureDownload : public NetworkTest {
protected:
    void SetUp() override { requireNginx(); }
};

TEST_F(DashFixtureDownload, EveryNamedRangeAndSegmentHoldsWholeBoxes) {
    const std::string root = velar_test::dashFixtures();
    velar_test::NginxServer server(root);
    const struct {
        const char* mpd;
        size_t named;  // at least
    } cases[] = {
        {"onefile/segmentlist-ranges.mpd", 3 * 5},  // three representations: init + 4 fragments
        {"onefile/segmentbase.mpd", 3 * 2},         // init + sidx
        {"timeline/manifest.mpd", 3 + 12},
    };
    for (const auto& c : cases) {
        std::ifstream in(root + "/" + c.mpd);
        std::ostringstream text;
        text << in.rdbuf();
        const std::vector<Named> named = namedIn(text.str());
        EXPECT_GE(named.size(), c.named) << c.mpd;
        const std::string folder = std::string(c.mpd).substr(0, std::string(c.mpd).find('/') + 1);
        for (const Named& n : named) {
            SCOPED_TRACE(folder + n.file + " " + n.range);
            const Run r = run(server.url(folder + n.file), n.range);
            ASSERT_EQ(dash::network::COMPLETED, r.state) << r.error;
            EXPECT_EQ(n.boxes, boxTypes(r.bytes));
        }
    }
}

}  // namespace
