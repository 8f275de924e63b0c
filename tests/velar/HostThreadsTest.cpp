// The service used the way a host uses it, from several threads: a ring that is never drained, one
// drained slowly, host calls racing each other while the streamer is blocked, and a DASH
// presentation repositioned and released while its segments are still downloading. Every release
// must end within one pause of the streamer thread and leave no thread of the library behind.
#include <unistd.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "../dash/DownloaderRig.h"
#include "FaultServer.h"
#include "ScratchDir.h"
#include "TestMedia.h"
#include "ThreadCount.h"
#include "WaitFor.h"
#include "avfile/IAvStreamer.h"
#include "platform/ContigMemBuffer.h"
#include "velar/Mp4Service.h"

namespace {

using avfile::AvSampleFilter;
using avfile::AvStreamerState;
using velar_test::threadCount;
using velar_test::waitFor;
using Clock = std::chrono::steady_clock;

// How long a release may take: the streamer thread ends after its current pause, which is one
// second in Buffering, EndOfFile and Error, plus a margin for a loaded machine. Anything longer is
// a thread that hangs.
constexpr auto kReleaseBound = std::chrono::milliseconds(1500);

// The count before a test: a first thread is made and joined, since ThreadSanitizer starts a thread of
// its own with the process's first thread.
size_t threadsBeforeTest() {
    std::thread([] {}).join();
    return threadCount();
}

// One host: a file opened through the service and its streamer over a ring of `ringBytes`.
struct Host {
    Host(const std::string& path, const std::string& mimeType, size_t ringBytes)
        : ring(std::make_shared<ContigMemBuffer>(ringBytes)) {
        file = service.openPath(path, mimeType);
        streamer = service.createStreamer(file, ring);
    }
    // Every host thread's `work` runs with its own reference to the streamer and drops it at the end,
    // after this host dropped its own and the file: whoever finishes last destroys the pipeline. All
    // of it must end within kReleaseBound, with the process back to `threadsBefore` threads.
    void releaseFrom(const std::vector<std::function<void(avfile::IAvStreamer&)>>& work, const std::string& what,
                     size_t threadsBefore) {
        struct Count {
            std::atomic<size_t> called{0}, released{0};
        };
        const auto count = std::make_shared<Count>();  // shared with threads left hanging
        std::vector<std::thread> hosts;
        for (const auto& w : work) {
            hosts.emplace_back([w, count, held = streamer]() mutable {
                w(*held);
                ++count->called;
                held.reset();
                ++count->released;
            });
        }
        const auto start = Clock::now();
        streamer.reset();
        file.reset();
        const bool ended = waitFor([&] { return count->released == work.size(); }, kReleaseBound);
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        for (std::thread& t : hosts) ended ? t.join() : t.detach();  // a hung host must not hang the suite
        ASSERT_TRUE(ended) << what << ": hung after " << ms << " ms; of " << work.size() << " host threads "
                           << count->called << " returned from their calls and " << count->released
                           << " from releasing the streamer";
        EXPECT_TRUE(waitFor([&] { return threadCount() <= threadsBefore; }, std::chrono::seconds(1)))
            << what << ": " << threadCount() - threadsBefore << " thread(s) left behind";
    }

    velar::Mp4Service service;
    std::shared_ptr<ContigMemBuffer> ring;
    std::shared_ptr<avfile::IAvFile> file;
    std::shared_ptr<avfile::IAvStreamer> streamer;
};

const auto kStop = [](avfile::IAvStreamer& s) { s.stop(); };
const auto kPosition = [](avfile::IAvStreamer& s) { EXPECT_TRUE(s.setPosition(2000, AvSampleFilter::AllSamples)); };
const auto kNothing = [](avfile::IAvStreamer&) {};

struct Race {
    const char* name;
    std::vector<std::function<void(avfile::IAvStreamer&)>> hosts;  // one thread each
};
void PrintTo(const Race& r, std::ostream* os) { *os << r.name; }

class HostThreadsRaceTest : public ::testing::TestWithParam<Race> {};

// The host never drains its ring: the streamer thread blocks in waitForFreeSpace. Host calls from one
// or two other threads, then the release, all return.
TEST_P(HostThreadsRaceTest, NeverDrainedRing) {
    const size_t threadsBefore = threadsBeforeTest();
    Host host(velar_test::testMedia("high_bframes.mp4"), "video/mp4", 32768);  // for about 175 kB of stream
    ASSERT_TRUE(host.streamer && host.streamer->setPosition(0, AvSampleFilter::AllSamples));
    ASSERT_TRUE(waitFor([&] { return host.ring->size() > host.ring->capacity() / 2; }));
    host.releaseFrom(GetParam().hosts, GetParam().name, threadsBefore);
}

INSTANTIATE_TEST_SUITE_P(Hosts, HostThreadsRaceTest,
                         ::testing::Values(Race{"Stop", {kStop}}, Race{"Position", {kPosition}},
                                           Race{"Release", {kNothing}}, Race{"StopAgainstPosition", {kStop, kPosition}},
                                           Race{"PositionAgainstPosition", {kPosition, kPosition}},
                                           Race{"StopAgainstRelease", {kStop, kNothing}},
                                           Race{"PositionAgainstRelease", {kPosition, kNothing}}),
                         [](const ::testing::TestParamInfo<Race>& info) { return info.param.name; });

// Everything the streamer writes into a ring of `ringBytes` until the end of the file, read by a host
// thread `chunk` bytes at a time, while another host thread polls the position and the state.
std::vector<uint8_t> playToTheEnd(size_t ringBytes, size_t chunk) {
    Host host(velar_test::testMedia("high_bframes.mp4"), "video/mp4", ringBytes);
    std::vector<uint8_t> out;
    EXPECT_TRUE(host.streamer && host.streamer->setPosition(0, AvSampleFilter::AllSamples));
    if (!host.streamer) return out;
    std::atomic<bool> ended{false};
    std::thread poller([&] {
        while (!ended) host.streamer->getPosition(), std::this_thread::yield();
    });
    std::vector<uint8_t> buffer(chunk);
    // EndOfFile is entered only after the last sample was committed: then the ring holds the rest.
    const bool finished = waitFor(
        [&] {
            const bool atEnd = host.streamer->getState() == AvStreamerState::EndOfFile;
            const size_t n = host.ring->read(buffer.data(), buffer.size(), 10);
            out.insert(out.end(), buffer.begin(), buffer.begin() + n);
            return atEnd && n == 0;
        },
        std::chrono::seconds(30));
    ended = true;
    poller.join();
    EXPECT_TRUE(finished) << "the stream did not reach its end through a ring of " << ringBytes << " bytes";
    const auto start = Clock::now();
    host.streamer.reset();
    EXPECT_LT(Clock::now() - start, kReleaseBound) << "releasing a finished streamer";
    return out;
}

// A host that drains slowly gets exactly the bytes of one that never makes the streamer wait: no byte
// lost or doubled between packets.
TEST(HostThreadsTest, SlowlyDrainedRingLosesNothing) {
    const std::vector<uint8_t> whole = playToTheEnd(8 << 20, 8 << 20);
    ASSERT_GT(whole.size(), 100000u);
    const std::vector<uint8_t> slow = playToTheEnd(20000, 700);
    ASSERT_EQ(whole.size(), slow.size());
    EXPECT_TRUE(whole == slow) << "the slowly drained output differs from the unhindered one";
}

// A DASH presentation of 8 one-second segments from a fault-injecting server: segments 1 and 2 come at
// once, 3 to 7 trickle, 8 stalls. The host seeks and plays it in trick mode, forwards and backwards,
// while segments are arriving, then releases it while a later segment trickles or stalls.
TEST(HostThreadsTest, DashRepositionedAndReleasedWhileDownloading) {
    downloader_rig::processFactory();  // settings: at most 5 segments a set, READY from 2
    const size_t threadsBefore = threadsBeforeTest();
    velar_test::ScratchDir root("host-dash");
    ASSERT_EQ(0, symlink(velar_test::dashFixtures().c_str(), (root.path() + "/fx").c_str()));
    std::string mpd = downloader_rig::segmentListMpd(8);
    for (size_t at = 0, n = 0; (at = mpd.find(".m4s\"/>", at)) != std::string::npos; at += 4) {
        if (mpd.compare(at - 13, 5, "chunk") != 0) continue;  // initialisation segments come at once
        const size_t number = n++ % 8 + 1;                    // video 1..8, then audio 1..8
        mpd.insert(at + 4, number == 8 ? "?stall=100" : number >= 3 ? "?rate=100000" : "");
    }
    root.write("manifest.mpd", mpd);
    velar_test::FaultServer server(root.path());

    Host host(server.url("manifest.mpd"), "application/dash+xml", 65536);
    ASSERT_TRUE(host.file && host.streamer);
    avfile::IAvStreamer& streamer = *host.streamer;
    ASSERT_TRUE(streamer.setPosition(0, AvSampleFilter::AllSamples));
    std::atomic<bool> draining{true};
    std::thread reader([&] {
        std::vector<uint8_t> buffer(4096);
        while (draining) host.ring->read(buffer.data(), buffer.size(), 10);
    });
    const auto keyFrameSent = [&] {
        return waitFor([&] { return streamer.getState() == AvStreamerState::KeyframeSent; }, std::chrono::seconds(10));
    };
    // Each seek lands while the streamer thread feeds and the downloader fetches.
    EXPECT_TRUE(streamer.setPosition(1500, AvSampleFilter::AllSamples));
    streamer.setPlaybackRate(4000);
    EXPECT_TRUE(streamer.setPosition(2500, AvSampleFilter::KeyFramesOnly));
    EXPECT_TRUE(keyFrameSent()) << "forwards";
    streamer.setPlaybackRate(-4000);  // backwards: queues emptied, the transfer in flight discarded
    EXPECT_TRUE(streamer.setPosition(1000, AvSampleFilter::KeyFramesOnly));
    EXPECT_TRUE(keyFrameSent()) << "backwards";
    // Another host thread sets the rate while this one seeks (setPlaybackRate takes no lock).
    std::thread rate([&] { streamer.setPlaybackRate(1000); });
    EXPECT_TRUE(streamer.setPosition(2000, AvSampleFilter::AllSamples));  // at 1000 it waits for segments 3 and 4
    rate.join();
    draining = false;
    reader.join();
    host.releaseFrom({kNothing}, "DASH release while a segment downloads", threadsBefore);
}

}  // namespace
