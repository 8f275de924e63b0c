#pragma once

#include <memory>
#include <string>
#include <vector>

#include "avfile/IAvCodecDataFactory.h"
#include "avfile/IAvFileFactory.h"
#include "dash/IDashDownloadCommandFactory.h"

namespace avfile {

// The one place where a MIME type selects the kind of file (compared whole and case-sensitively):
//   openPath:   "video/mp4", "audio/mp4", "media/mp4" -> AvFileFfmpeg over a local path;
//               "application/dash+xml"                -> a DASH-backed file (see below);
//   openMemory: "video/mp4", "audio/mp4", "media/mp4" -> AvFileFfmpegMemory over a copy of the
//               bytes; everything else, DASH included, is unknown;
//   anything else: log "Mimetype %s is unknown", empty pointer.
// Exceptions of the file constructors are logged ("end, Failed to open %s with mimetype %s",
// "end, Failed to open mimetype %s") and passed on unchanged.
//
// DASH: openPath asks the DASH command factory for the presentation's download command and makes an
// AvFileDash over it with a copy of this factory (sharing both factories), which it uses for the
// segments it opens in memory. The file starts the command and waits for its first segments, so
// openPath blocks until then; its exceptions are logged and passed on like the others. When the
// command factory gives no command, openPath logs "end, Failed to open %s with mimetype %s" and
// returns an empty pointer.
//
// Holds no mutable state: any thread may call it. Copyable; a copy shares both factories.
class AvFileFactory : public IAvFileFactory {
public:
    AvFileFactory(std::shared_ptr<IAvCodecDataFactory> codecDataFactory,
                  std::shared_ptr<dash::IDashDownloadCommandFactory> dashCommandFactory);

    std::shared_ptr<IAvFile> openPath(const std::string& path,
                                      const std::string& mimeType) const override;
    std::shared_ptr<IAvFile> openMemory(const std::vector<unsigned char>& data,
                                        const std::string& mimeType) const override;
    // "video/mp4" and "media/mp4" -> Video, "audio/mp4" -> Audio, anything else -> Unknown (a DASH
    // manifest's own type included).
    AvTrackType supportedMimeType(const std::string& mimeType) const override;

private:
    std::shared_ptr<IAvFile> openDash(const std::string& path, const std::string& mimeType) const;

    std::shared_ptr<IAvCodecDataFactory> mCodecDataFactory;
    std::shared_ptr<dash::IDashDownloadCommandFactory> mDashCommandFactory;
};

}  // namespace avfile
