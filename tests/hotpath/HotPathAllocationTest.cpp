// Allocations on the hot path: a generated clip streamed through the real pipeline (FFmpeg file, router, feeders, PES
// and packet buffers, a host ring drained by a reader thread), counted per sample once playback is under way.
//
// What is counted: every C++ allocation on any thread (this executable replaces the global operator new and delete;
// the over-aligned forms are left alone, nothing on the path uses them). Under AddressSanitizer, the sanitizer's
// allocation hook also counts malloc-family calls, C and C++, FFmpeg's included; those are printed, not bounded:
// libavformat allocates each packet's buffer and references itself, outside this library's control.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFeederFactory.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvRouter.h"
#include "avfile/AvStreamer.h"
#include "platform/ContigMemBuffer.h"
#include "tests/common/TestMedia.h"

#if defined(__SANITIZE_ADDRESS__)
#define VELAR_COUNT_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELAR_COUNT_MALLOC 1
#endif
#endif
#ifdef VELAR_COUNT_MALLOC
// The sanitizer runtime's hook on every allocation and release it serves.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));
#endif

namespace {

std::atomic<uint64_t> gNews{0};
std::atomic<uint64_t> gMallocs{0};

void* countedNew(size_t size) {
    gNews.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}

#ifdef VELAR_COUNT_MALLOC
void onMalloc(const volatile void*, size_t) { gMallocs.fetch_add(1, std::memory_order_relaxed); }
void onFree(const volatile void*) {}
const int kHooksInstalled = __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
#endif

}  // namespace

void* operator new(size_t size) { return countedNew(size); }
void* operator new[](size_t size) { return countedNew(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try {
        return countedNew(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

using namespace avfile;

TEST(HotPathAllocationTest, SteadyPlaybackAllocatesNothingPerSample) {
    auto file = std::make_shared<AvFileFfmpeg>(std::make_shared<AvCodecDataFactory>(),
                                               velar_test::testMedia("high_bframes.mp4"));
    auto ring = std::make_shared<ContigMemBuffer>(64 * 1024);  // smaller than the clip's output: the writer waits
    auto packets = std::make_shared<AvPacketBuffer>(ring);
    AvStreamer streamer(file, std::make_shared<AvRouter>(std::make_shared<AvFeederFactory>(packets)), packets);
    ASSERT_TRUE(streamer.setPosition(0, AvSampleFilter::AllSamples));

    std::atomic<bool> done{false};
    uint64_t drained = 0;
    std::vector<uint8_t> chunk(16 * 1024);  // allocated here: the reader may start after the warm-up
    std::thread reader([&] {
        while (!done.load() || ring->size() != 0) {
            drained += ring->read(chunk.data(), chunk.size(), 10);
        }
    });

    // The first samples of each track log their text form and the state changes: a warm-up, not counted.
    const size_t kWarmUp = 20;
    size_t steps = 0, samples = 0;
    uint64_t news = 0, mallocs = 0;
    for (; steps < 5000 && streamer.getState() != AvStreamerState::EndOfFile; ++steps) {
        const uint64_t news0 = gNews.load(), mallocs0 = gMallocs.load();
        streamer.step();
        if (steps >= kWarmUp && streamer.getState() == AvStreamerState::Playing) {
            news += gNews.load() - news0;
            mallocs += gMallocs.load() - mallocs0;
            ++samples;
        }
    }
    done.store(true);
    reader.join();

    ASSERT_EQ(AvStreamerState::EndOfFile, streamer.getState());
    EXPECT_EQ(ring->totalWritten(), drained);
    ASSERT_GE(samples, 200u);
    EXPECT_EQ(0u, news) << "C++ allocations over " << samples << " samples";
#ifdef VELAR_COUNT_MALLOC
    EXPECT_NE(0, kHooksInstalled) << "sanitizer allocation hooks not installed";
    std::printf("malloc-family calls per sample (FFmpeg's packets): %.2f over %zu samples\n",
                double(mallocs) / double(samples), samples);
#endif
}

}  // namespace
