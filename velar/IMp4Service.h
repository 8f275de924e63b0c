#pragma once

#include <memory>
#include <string>

#include "avfile/IAvFile.h"
#include "avfile/IAvStreamer.h"
#include "platform/ContigMemBuffer.h"
#include "platform/ZUNCOM.h"

namespace velar {

// The library's one published service, registered as "Mp4Service" and reached through
// QueryInterface with "IMp4Service". Virtual slots after ISupports' destructor: createStreamer,
// openPath. Both keep no state in the service and may be called from any thread.
class IMp4Service : public ZUNCOM::ISupports {
public:
    // Builds the streaming pipeline that plays `file` into the host's ring `output`. Never throws:
    // an empty pointer (and a log line) on failure. The streamer's thread starts at the first
    // successful setPosition.
    virtual std::shared_ptr<avfile::IAvStreamer> createStreamer(
        std::shared_ptr<avfile::IAvFile>& file, std::shared_ptr<ContigMemBuffer>& output) = 0;
    // Opens a presentation by path or URL and MIME type ("video/mp4", "audio/mp4", "media/mp4",
    // "application/dash+xml"). Empty pointer for an unknown MIME type; the file layer's exceptions
    // (avfile::AvBaseException and subclasses) reach the caller.
    virtual std::shared_ptr<avfile::IAvFile> openPath(const std::string& path,
                                                      const std::string& mimeType) = 0;
};

}  // namespace velar
