#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "velar/IMp4Service.h"

namespace velar {

// The library's one published service: registered with the host's component manager as
// "Mp4Service", reached through QueryInterface as "IMp4Service" (or "ISupports"). It opens
// presentations (openPath) and builds the streaming pipeline that plays one into a host-owned
// ContigMemBuffer (createStreamer). Each call builds fresh objects; nothing is cached here.
//
// Reference counting: the count starts at 0 and changes atomically. Release() destroys the object
// when the count reaches exactly 0, although the published instance is a function-local static
// (getInstance). Balancing AddRef and Release is the host's duty; this behaviour is intended and
// kept. The constructor is public so that other instances (tests) can live on the heap.
//
// Threads: getInstance is safe against concurrent first calls; openPath and createStreamer may be
// called from any thread.
class Mp4Service : public IMp4Service {
public:
    // The one published instance, created at the first call, destroyed at library unload.
    static Mp4Service* getInstance();

    Mp4Service();
    ~Mp4Service() override;
    Mp4Service(const Mp4Service&) = delete;
    Mp4Service& operator=(const Mp4Service&) = delete;

    // Adds 1 to the count; returns the new count.
    int32_t AddRef() override;
    // Subtracts 1; returns the new count, deleting the object when it reaches 0.
    int32_t Release() override;
    // "IMp4Service" or "ISupports" (names compared by content): AddRef, *out = this, 0.
    // Anything else: *out = null, 1.
    ZUNCOM::ErrorCode QueryInterface(ZUNCOM::ComId id, void** out) override;

    // Builds packet buffer -> feeder factory -> router -> streamer thread over `output`. Never
    // throws; empty pointer and a log line on failure. The thread starts at the first successful
    // setPosition.
    std::shared_ptr<avfile::IAvStreamer> createStreamer(
        std::shared_ptr<avfile::IAvFile>& file, std::shared_ptr<ContigMemBuffer>& output) override;
    // Opens `path` through a file factory made for this call. Empty pointer for an unknown MIME
    // type; the file layer's exceptions reach the caller.
    std::shared_ptr<avfile::IAvFile> openPath(const std::string& path,
                                              const std::string& mimeType) override;

private:
    std::atomic<int32_t> mRefCount;
};

}  // namespace velar
