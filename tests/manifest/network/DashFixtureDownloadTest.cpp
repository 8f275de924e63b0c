// The generated DASH fixtures served by nginx and fetched with HttpDownload: every byte range an
// MPD names is exactly the boxes it should hold (ISO/IEC 14496-12 box headers: 32-bit size, then
// the four-character type), and the file of every SegmentTimeline entry exists.
#include <gtest/gtest.h>

#include <fstream>
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

// The text of `line` after `key` up to `end`; empty when `key` is not there.
std::string after(const std::string& line, const std::string& key, char end = '"') {
    const size_t at = line.find(key);
    if (at == std::string::npos) {
        return std::string();
    }
    const size_t from = at + key.size();
    return line.substr(from, line.find(end, from) - from);
}

// The resources and byte ranges `mpd` names, line by line: BaseURL with Initialization range,
// mediaRange and indexRange; initialisation and SegmentTimeline files of the templates used here.
std::vector<Named> namedIn(const std::string& mpd) {
    const struct {
        const char* key;
        const char* boxes;
    } ranges[] = {{"<Initialization range=\"", "ftyp moov "},
                  {"mediaRange=\"", "moof mdat "},
                  {"indexRange=\"", "sidx "}};
    std::vector<Named> out;
    std::string file;
    std::string id;
    std::istringstream in(mpd);
    for (std::string line; std::getline(in, line);) {
        const std::string base = after(line, "<BaseURL>", '<');
        file = base.empty() ? file : base;
        const std::string rep = after(line, "<Representation id=\"");
        id = rep.empty() ? id : rep;
        for (const auto& r : ranges) {
            if (!after(line, r.key).empty()) {
                out.push_back({file, after(line, r.key), r.boxes});
            }
        }
        if (line.find("initialization=\"init-$RepresentationID$.m4s\"") != std::string::npos) {
            out.push_back({"init-" + id + ".m4s", "", "ftyp moov "});
        }
        const std::string t = after(line, "<S t=\"");
        if (!t.empty()) {
            EXPECT_EQ(std::string::npos, line.find(" r=\"")) << "every S carries its own t";
            out.push_back({"chunk-" + id + "-" + t + ".m4s", "", "styp sidx moof mdat "});
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
