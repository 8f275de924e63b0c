#include "velar/Mp4Service.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/ContigMemBuffer.h"
#include "tests/common/LogCapture.h"
#include "tests/common/TestMedia.h"

namespace {

// A heap instance that counts its own destruction, so that a test sees Release() delete it.
class CountedService : public velar::Mp4Service {
public:
    explicit CountedService(int& destroyed) : mDestroyed(destroyed) {}
    ~CountedService() override { ++mDestroyed; }

private:
    int& mDestroyed;
};

// Only a Release that reaches exactly 0 deletes; balancing the calls is the host's duty.
TEST(Mp4ServiceTest, ReleaseDeletesAtExactlyZero) {
    for (const std::string calls : {"++--", "-++-"}) {
        int destroyed = 0;
        velar::Mp4Service* service = new CountedService(destroyed);
        int count = 0;
        for (size_t i = 0; i < calls.size(); ++i) {
            EXPECT_EQ(0, destroyed) << calls << " before call " << i;
            count += calls[i] == '+' ? 1 : -1;
            EXPECT_EQ(count, calls[i] == '+' ? service->AddRef() : service->Release()) << calls;
        }
        EXPECT_EQ(1, destroyed) << calls;
    }
}

// A success answers the service and takes a reference; names compare by content.
TEST(Mp4ServiceTest, QueryInterfaceAnswersByInterfaceName) {
    const std::pair<std::string, ZUNCOM::ErrorCode> table[] = {
        {"IMp4Service", 0}, {"ISupports", 0}, {"imp4service", 1}, {"", 1}};
    for (const auto& row : table) {
        velar::Mp4Service service;
        void* out = &service + 1;
        EXPECT_EQ(row.second, service.QueryInterface(ZUNCOM::ComId(row.first.c_str()), &out));
        EXPECT_EQ(row.second == 0 ? static_cast<void*>(&service) : nullptr, out);
        EXPECT_EQ(row.second == 0 ? 2 : 1, service.AddRef()) << row.first;
    }
}

// openPath lets the file layer's exceptions through; createStreamer never throws: failures give an
// empty streamer and a log line, a good pair a streamer whose output starts with a pack header.
TEST(Mp4ServiceTest, OpenPathThrowsCreateStreamerNever) {
    velar::Mp4Service service;
    velar_test::LogCapture log;
    EXPECT_EQ(6, velar_test::failureOf([&] { service.openPath("/nonexistent/a.mp4", "video/mp4"); })
                     .first);
    std::shared_ptr<avfile::IAvFile> noFile;
    std::shared_ptr<avfile::IAvFile> file =
        service.openPath(velar_test::testMedia("baseline.mp4"), "video/mp4");
    auto ring = std::make_shared<ContigMemBuffer>(65536);
    std::shared_ptr<ContigMemBuffer> noRing;
    std::shared_ptr<avfile::IAvStreamer> streamer;
    EXPECT_NO_THROW(streamer = service.createStreamer(noFile, ring));
    EXPECT_FALSE(streamer);
    EXPECT_NO_THROW(streamer = service.createStreamer(file, noRing));
    EXPECT_FALSE(streamer);
    EXPECT_EQ(2u, log.count("Exception thrown during getStreamer"));

    streamer = service.createStreamer(file, ring);
    ASSERT_TRUE(streamer);
    ASSERT_TRUE(streamer->setPosition(0, avfile::AvSampleFilter::AllSamples));
    std::vector<uint8_t> head(4);
    ASSERT_EQ(4u, ring->read(head.data(), head.size(), 10000));
    EXPECT_EQ((std::vector<uint8_t>{0x00, 0x00, 0x01, 0xBA}), head);
}

}  // namespace
