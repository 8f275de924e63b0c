// Shared rig of the downloader, command and content-protection tests: the process's DASH factory with
// small settings, event counters, a base fixture serving the generated DASH fixtures from a loopback
// nginx, and SegmentList MPDs over them.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DashFixtures.h"
#include "NginxServer.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "dash/DashFactoryBuilder.h"
#include "dash/IDashFactory.h"

namespace downloader_rig {

// Every session of this process buffers at most 5 segments per set, so BUFFERING is below 2.
constexpr int kMaxBuffered = 5;

// The process's factory, its settings cached from a file with kMaxBuffered (on first use).
inline std::shared_ptr<dash::IDashFactory> processFactory() {
    static const std::shared_ptr<dash::IDashFactory> factory = [] {
        const std::string path = std::string(VELAR_TEST_WORK_DIR) + "/downloader-settings.xml";
        std::ofstream(path) << "<VexaSetting><Dash><maxBufferedSegment>" << kMaxBuffered
                            << "</maxBufferedSegment></Dash></VexaSetting>";
        auto made = dash::DashFactoryBuilder::getInstance()->getDashFactory();
        made->getDashConfiguration(path);
        return made;
    }();
    EXPECT_EQ(kMaxBuffered, factory->getDashConfiguration("")->getMaxBufferedSegment()) << "settings cached earlier";
    return factory;
}

// Events raised in this process, counted by listeners registered once. The notifier is the
// process's and keeps its listeners for ever: they hold only this static state.
inline int raised(dash::DashDownloadEvent event) {
    static std::atomic<int> counts[4];
    static std::once_flag registered;
    std::call_once(registered, [] {
        for (int e = dash::DOWNLOAD_STARTED; e <= dash::DOWNLOAD_ERROR; ++e) {
            processFactory()->getDashEventNotifier()->registerListener(static_cast<dash::DashDownloadEvent>(e),
                                                                       [e] { ++counts[e]; });
        }
    });
    return counts[event].load();
}

// A file of the DASH fixtures as text.
inline std::string fixtureText(const std::string& path) {
    const std::vector<unsigned char> bytes = velar_test::readFileBytes(velar_test::dashFixtures() + "/" + path);
    return std::string(bytes.begin(), bytes.end());
}

// Base of the tests on a scratch folder served by nginx on loopback, with the DASH fixtures linked as
// "fx/". Skipped without nginx; the event counters are registered before any session runs.
struct SiteTest : ::testing::Test {
    void SetUp() override {
        if (!velar_test::NginxServer::available()) GTEST_SKIP() << "nginx is not installed";
        raised(dash::DOWNLOAD_STARTED);
        ASSERT_EQ(0, symlink(velar_test::dashFixtures().c_str(), (root.path() + "/fx").c_str()));
        server = std::make_unique<velar_test::NginxServer>(root.path());
    }
    std::string url(const std::string& path) const { return server->url(path); }

    velar_test::ScratchDir root{"downloader-site"};
    std::unique_ptr<velar_test::NginxServer> server;
};

// An on-demand MPD over the template/ media as SegmentLists of `count` 1 s segments (the four files
// repeated), one AdaptationSet per id in `ids`: '0' video (180 lines), '2' audio ("eng").
inline std::string segmentListMpd(int count, const std::string& ids = "02") {
    std::string x = "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" mediaPresentationDuration=\"PT" +
                    std::to_string(count) + "S\" minBufferTime=\"PT2S\"><BaseURL>fx/template/</BaseURL><Period>";
    for (const char id : ids) {
        const bool video = id == '0';
        const std::string rid(1, id);
        x += std::string("<AdaptationSet mimeType=\"") + (video ? "video/mp4\">" : "audio/mp4\" lang=\"eng\">") +
             "<Representation id=\"" + rid + "\" bandwidth=\"100000\"" + (video ? " height=\"180\">" : ">") +
             "<SegmentList timescale=\"1000\" duration=\"1000\"><Initialization sourceURL=\"init-" + rid + ".m4s\"/>";
        for (int i = 0; i < count; ++i) {
            x += "<SegmentURL media=\"chunk-" + rid + "-0000" + std::to_string(i % 4 + 1) + ".m4s\"/>";
        }
        x += "</SegmentList></Representation></AdaptationSet>";
    }
    return x + "</Period></MPD>";
}

}  // namespace downloader_rig
