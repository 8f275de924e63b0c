#include "velar/Mp4Service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/common/LogCapture.h"
#include "tests/common/TestMedia.h"
#include "tests/common/WaitFor.h"
#include "avfile/AvBaseException.h"
#include "avfile/IAvStreamerListener.h"
#include "platform/ContigMemBuffer.h"

namespace {

// Counts its own destruction, so that a test can see Release() delete the object.
class CountedService : public velar::Mp4Service {
public:
    explicit CountedService(int& destroyed) : mDestroyed(destroyed) {}
    ~CountedService() override { ++mDestroyed; }

private:
    int& mDestroyed;
};

TEST(Mp4ServiceTest, CountsReferencesAndDeletesItselfAtZero) {
    int destroyed = 0;
    velar::Mp4Service* service = new CountedService(destroyed);
    EXPECT_EQ(1, service->AddRef());
    EXPECT_EQ(2, service->AddRef());
    EXPECT_EQ(1, service->Release());
    EXPECT_EQ(0, destroyed);
    EXPECT_EQ(0, service->Release());  // deletes
    EXPECT_EQ(1, destroyed);
}

TEST(Mp4ServiceTest, ReleaseWithoutAddRefGoesNegativeAndKeepsTheObject) {
    // Only exactly 0 deletes; balancing the calls is the host's duty.
    int destroyed = 0;
    velar::Mp4Service* service = new CountedService(destroyed);
    EXPECT_EQ(-1, service->Release());
    EXPECT_EQ(0, destroyed);
    EXPECT_EQ(0, service->AddRef());
    EXPECT_EQ(0, destroyed);
    EXPECT_EQ(1, service->AddRef());
    EXPECT_EQ(0, service->Release());
    EXPECT_EQ(1, destroyed);
}

TEST(Mp4ServiceTest, CountIsAtomicUnderConcurrentCalls) {
    int destroyed = 0;
    velar::Mp4Service* service = new CountedService(destroyed);
    service->AddRef();  // keeps the object alive while the threads run
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 4; ++t) {
        threads.push_back(std::async(std::launch::async, [service] {
            for (int i = 0; i < 10000; ++i) {
                service->AddRef();
                service->Release();
            }
        }));
    }
    for (auto& t : threads) {
        t.get();
    }
    EXPECT_EQ(0, destroyed);
    EXPECT_EQ(0, service->Release());
    EXPECT_EQ(1, destroyed);
}

struct QueryCase {
    const char* name;
    std::string id;  // a std::string, so that its text never shares the literal's address
    ZUNCOM::ErrorCode result;
};

class Mp4ServiceQueryTest : public ::testing::TestWithParam<QueryCase> {};

TEST_P(Mp4ServiceQueryTest, AnswersByInterfaceName) {
    int destroyed = 0;
    velar::Mp4Service* service = new CountedService(destroyed);
    service->AddRef();
    void* out = reinterpret_cast<void*>(0x1);
    const std::string id = GetParam().id;
    EXPECT_EQ(GetParam().result, service->QueryInterface(ZUNCOM::ComId(id.c_str()), &out));
    if (GetParam().result == 0) {
        EXPECT_EQ(static_cast<void*>(service), out);
        EXPECT_EQ(3, service->AddRef());  // the query took a reference
        service->Release();
        service->Release();
    } else {
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(2, service->AddRef());  // no reference taken
        service->Release();
    }
    EXPECT_EQ(0, service->Release());
    EXPECT_EQ(1, destroyed);
}

INSTANTIATE_TEST_SUITE_P(
    Names, Mp4ServiceQueryTest,
    ::testing::Values(QueryCase{"IMp4Service", "IMp4Service", 0},
                      QueryCase{"ISupports", "ISupports", 0},
                      QueryCase{"IAvFile", "IAvFile", 1},
                      QueryCase{"LowerCase", "imp4service", 1},
                      QueryCase{"Prefix", "IMp4", 1},
                      QueryCase{"Empty", "", 1}),
    [](const ::testing::TestParamInfo<QueryCase>& info) { return info.param.name; });

TEST(Mp4ServiceTest, OneInstanceForConcurrentFirstCalls) {
    std::vector<std::future<velar::Mp4Service*>> callers;
    for (int i = 0; i < 8; ++i) {
        callers.push_back(std::async(std::launch::async, [] { return velar::Mp4Service::getInstance(); }));
    }
    velar::Mp4Service* first = velar::Mp4Service::getInstance();
    ASSERT_NE(nullptr, first);
    for (auto& c : callers) {
        EXPECT_EQ(first, c.get());
    }
}

TEST(Mp4ServiceTest, OpenPathWithUnknownMimeTypeGivesNothing) {
    velar_test::LogCapture log;
    velar::Mp4Service service;
    EXPECT_FALSE(service.openPath("/tmp/whatever.mp4", "video/MP4"));
    ASSERT_FALSE(log.lines().empty());
    EXPECT_TRUE(log.contains("openPath /tmp/whatever.mp4"));
    for (const auto& line : log.lines()) {
        if (line.message == "openPath /tmp/whatever.mp4") {
            EXPECT_EQ("velar/Mp4Service", line.source);
            EXPECT_EQ(0, line.level);
        }
    }
}

TEST(Mp4ServiceTest, OpenPathPassesTheFileLayersExceptions) {
    velar::Mp4Service service;
    try {
        service.openPath("/nonexistent/dir/clip.mp4", "video/mp4");
        FAIL() << "no exception";
    } catch (const avfile::AvBaseException& e) {
        EXPECT_EQ(6, e.getErrorCode());
    }
}

TEST(Mp4ServiceTest, CreateStreamerNeverThrows) {
    velar::Mp4Service service;
    velar_test::LogCapture log;
    std::shared_ptr<avfile::IAvFile> noFile;
    auto ring = std::make_shared<ContigMemBuffer>(65536);
    std::shared_ptr<ContigMemBuffer> noRing;
    std::shared_ptr<avfile::IAvStreamer> streamer;

    EXPECT_NO_THROW(streamer = service.createStreamer(noFile, ring));
    EXPECT_FALSE(streamer);
    EXPECT_EQ(1u, log.count("Exception thrown during getStreamer"));

    auto file = service.openPath(velar_test::testMedia("baseline.mp4"), "video/mp4");
    ASSERT_TRUE(file);
    EXPECT_NO_THROW(streamer = service.createStreamer(file, noRing));
    EXPECT_FALSE(streamer);
    EXPECT_EQ(2u, log.count("Exception thrown during getStreamer"));
}

// Records the streamer's callbacks from any thread.
class Recorder : public avfile::IAvStreamerListener {
public:
    void onAvTracks() override { add("tracks"); }
    void onAvStateChanged(const avfile::AvStreamerState& state) override {
        add(avfile::toString(state));
    }
    void onAvError(const avfile::AvBaseException& e) override { add(std::string("error ") + e.what()); }
    std::vector<std::string> events() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }

private:
    void add(const std::string& e) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back(e);
    }
    mutable std::mutex mMutex;
    std::vector<std::string> mEvents;
};

// Counts the PES packets of one stream id that start an access unit (PTS_DTS_flags not 0) in an
// MPEG-2 program stream (ISO/IEC 13818-1, 2.5.3.3 pack header, 2.4.3.6 PES packet).
struct ProgramStream {
    size_t packHeaders = 0;
    size_t videoUnits = 0;  // stream id E0, with PTS
    size_t audioUnits = 0;  // stream id C0, with PTS
    bool wellFormed = true;
};

ProgramStream walk(const std::vector<uint8_t>& ps) {
    ProgramStream out;
    size_t pos = 0;
    while (pos + 6 <= ps.size()) {
        if (ps[pos] != 0 || ps[pos + 1] != 0 || ps[pos + 2] != 1) {
            out.wellFormed = false;
            break;
        }
        const uint8_t id = ps[pos + 3];
        if (id == 0xBA) {
            ++out.packHeaders;
            pos += 14 + (ps[pos + 13] & 0x07);  // pack_stuffing_length
            continue;
        }
        const size_t length = (size_t(ps[pos + 4]) << 8) | ps[pos + 5];  // PES_packet_length
        const bool timed = pos + 7 < ps.size() && (ps[pos + 7] & 0xC0) != 0;
        if (id == 0xE0 && timed) ++out.videoUnits;
        if (id == 0xC0 && timed) ++out.audioUnits;
        pos += 6 + length;
    }
    if (pos != ps.size()) {
        out.wellFormed = false;
    }
    return out;
}

size_t packetCount(const std::string& clip, const char* stream) {
    return std::stoul(velar_test::commandOutput(
        std::string("ffprobe -v error -select_streams ") + stream +
        " -count_packets -show_entries stream=nb_read_packets -of csv=p=0 '" + clip + "'"));
}

// The whole pipeline over a real clip: every access unit of both tracks reaches the host's ring as
// a PES packet behind one pack header.
TEST(Mp4ServiceTest, StreamerPlaysAClipIntoTheHostsRing) {
    const std::string clip = velar_test::testMedia("high_bframes.mp4");
    velar::Mp4Service service;
    std::shared_ptr<avfile::IAvFile> file = service.openPath(clip, "video/mp4");
    ASSERT_TRUE(file);
    auto ring = std::make_shared<ContigMemBuffer>(256 * 1024);
    Recorder recorder;  // outlives the streamer, which calls it until destroyed
    std::shared_ptr<avfile::IAvStreamer> streamer = service.createStreamer(file, ring);
    ASSERT_TRUE(streamer);
    streamer->addListener(recorder);
    ASSERT_TRUE(streamer->setPosition(0, avfile::AvSampleFilter::AllSamples));

    std::vector<uint8_t> output;
    std::vector<uint8_t> chunk(65536);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (;;) {
        const bool atEnd = streamer->getState() == avfile::AvStreamerState::EndOfFile;
        const size_t n = ring->read(chunk.data(), chunk.size(), 10);
        output.insert(output.end(), chunk.begin(), chunk.begin() + n);
        if (atEnd && n == 0) {
            break;
        }
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "no EndOfFile";
    }
    EXPECT_GE(streamer->getPosition(), 3800u);  // last video PTS of a 4 s clip, milliseconds
    const std::vector<std::string> events = recorder.events();
    streamer.reset();

    const ProgramStream ps = walk(output);
    EXPECT_TRUE(ps.wellFormed);
    EXPECT_EQ(1u, ps.packHeaders);
    EXPECT_EQ(packetCount(clip, "v:0"), ps.videoUnits);
    EXPECT_EQ(packetCount(clip, "a:0"), ps.audioUnits);
    const std::vector<uint8_t> packHeader = {
        0x00, 0x00, 0x01, 0xBA,  // pack_start_code
        0x44, 0x00, 0x04, 0x00, 0x04, 0x01,  // '01', SCR 0 with marker bits, SCR extension 0
        0xFF, 0xFF, 0xFF,  // program_mux_rate all ones, markers
        0x00};  // reserved, pack_stuffing_length 0
    ASSERT_GE(output.size(), packHeader.size());
    EXPECT_EQ(packHeader, std::vector<uint8_t>(output.begin(), output.begin() + 14));

    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ((std::vector<std::string>{"Starting", "tracks", "Playing"}),
              std::vector<std::string>(events.begin(), events.begin() + 3));
    EXPECT_EQ("EndOfFile", events.back());
}

}  // namespace
