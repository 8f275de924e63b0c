#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dash/IDashDownloadCommand.h"
#include "dash/IDashDownloader.h"
#include "dash/IDashFactory.h"

namespace dash {

// The download command of one DASH presentation: a thin façade over its DashDownloader, made by
// DashDownloadCommandFactory for the file layer. Holds the process's factory and the downloader the
// factory made for the url. Adds no locking: the file layer calls it from its thread while the
// downloader's thread fills the queues; the downloader and its sets lock themselves.
//
// Decisions of this implementation:
// - The constructor throws DashException FAIL_UNKNOWN_ERROR when the factory makes no downloader
//   (the command factory turns that into an empty pointer).
// - getBufferedSegment appends the initialisation bytes of the segment's representation, then the
//   segment's bytes, to `data` (nothing is cleared); positionMs is the segment's start (ms).
// - findSegmentPosition answers false, with a log line, when the set's representation throws.
// - setDashConfig accepts and ignores its argument: every setting comes from the settings file.
class DashDownloadCommand : public IDashDownloadCommand {
public:
    // Makes the downloader for the MPD at `url`; nothing is fetched before start().
    explicit DashDownloadCommand(const std::string& url);

    bool start() override;
    bool cancel() override;
    bool seek(std::string mimeType, uint64_t ms) override;
    DashDownloadStatus getStatus() override;
    bool getBufferedSegment(std::string mimeType, std::vector<uint8_t>& data, uint64_t& positionMs) override;
    DashCapability getDashCapability() override;
    void setDashConfig(DashConfig config) override;
    void registerListener(const DashDownloadEvent& event, std::function<void()> listener) override;
    void setTrickMode(int rate) override;
    bool findSegmentPosition(std::string mimeType, uint64_t& positionMs, uint64_t& segmentDurationMs) override;

private:
    std::shared_ptr<IDashFactory> mFactory;
    std::shared_ptr<IDashDownloader> mDownloader;
};

}  // namespace dash
