#include "avfile/AvFileFactory.h"

#include <utility>

#include "avfile/AvFileDash.h"
#include "avfile/AvFileFfmpeg.h"
#include "avfile/AvFileFfmpegMemory.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("avfile/AvFileFactory")

namespace avfile {

namespace {

const char* const kVideoMp4 = "video/mp4";
const char* const kAudioMp4 = "audio/mp4";
const char* const kMediaMp4 = "media/mp4";
const char* const kDash = "application/dash+xml";

bool isMp4(const std::string& mimeType) {
    return mimeType == kVideoMp4 || mimeType == kAudioMp4 || mimeType == kMediaMp4;
}

}  // namespace

AvFileFactory::AvFileFactory(std::shared_ptr<IAvCodecDataFactory> codecDataFactory,
                             std::shared_ptr<dash::IDashDownloadCommandFactory> dashCommandFactory)
    : mCodecDataFactory(std::move(codecDataFactory)),
      mDashCommandFactory(std::move(dashCommandFactory)) {}

std::shared_ptr<IAvFile> AvFileFactory::openPath(const std::string& path,
                                                 const std::string& mimeType) const {
    try {
        if (isMp4(mimeType)) {
            return std::make_shared<AvFileFfmpeg>(mCodecDataFactory, path);
        }
        if (mimeType == kDash) {
            return openDash(path, mimeType);
        }
    } catch (...) {
        ZUN_LOG(0, "end, Failed to open %s with mimetype %s", path.c_str(), mimeType.c_str());
        throw;
    }
    ZUN_LOG(0, "Mimetype %s is unknown", mimeType.c_str());
    return nullptr;
}

std::shared_ptr<IAvFile> AvFileFactory::openDash(const std::string& path,
                                                 const std::string& mimeType) const {
    std::shared_ptr<dash::IDashDownloadCommand> command;
    if (mDashCommandFactory) {
        command = mDashCommandFactory->getDownloadCommand(path);
    }
    if (!command) {
        ZUN_LOG(0, "end, Failed to open %s with mimetype %s", path.c_str(), mimeType.c_str());
        return nullptr;
    }
    // The DASH-backed file opens its segments in memory through its own copy of this factory.
    auto factory = std::make_shared<AvFileFactory>(*this);
    return std::make_shared<AvFileDash>(factory, command);
}

std::shared_ptr<IAvFile> AvFileFactory::openMemory(const std::vector<unsigned char>& data,
                                                   const std::string& mimeType) const {
    try {
        if (isMp4(mimeType)) {
            return std::make_shared<AvFileFfmpegMemory>(mCodecDataFactory, data);
        }
    } catch (...) {
        ZUN_LOG(0, "end, Failed to open mimetype %s", mimeType.c_str());
        throw;
    }
    ZUN_LOG(0, "Mimetype %s is unknown", mimeType.c_str());
    return nullptr;
}

AvTrackType AvFileFactory::supportedMimeType(const std::string& mimeType) const {
    if (mimeType == kVideoMp4 || mimeType == kMediaMp4) {
        return AvTrackType::Video;
    }
    if (mimeType == kAudioMp4) {
        return AvTrackType::Audio;
    }
    return AvTrackType::Unknown;
}

}  // namespace avfile
