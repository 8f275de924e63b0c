#include "velar/Mp4Service.h"

#include <stdexcept>

#include "avfile/AvCodecDataFactory.h"
#include "avfile/AvFeederFactory.h"
#include "avfile/AvFileFactory.h"
#include "avfile/AvPacketBuffer.h"
#include "avfile/AvRouter.h"
#include "avfile/AvStreamerThread.h"
#include "dash/DashDownloadCommandFactory.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("velar/Mp4Service")

namespace velar {

Mp4Service* Mp4Service::getInstance() {
    static Mp4Service instance;
    return &instance;
}

Mp4Service::Mp4Service() : mRefCount(0) {}

Mp4Service::~Mp4Service() {}

int32_t Mp4Service::AddRef() { return ++mRefCount; }

int32_t Mp4Service::Release() {
    const int32_t count = --mRefCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

ZUNCOM::ErrorCode Mp4Service::QueryInterface(ZUNCOM::ComId id, void** out) {
    if (id == ZUNCOM::ComId("IMp4Service") || id == ZUNCOM::ComId("ISupports")) {
        AddRef();
        *out = this;
        return 0;
    }
    *out = nullptr;
    return 1;
}

std::shared_ptr<avfile::IAvFile> Mp4Service::openPath(const std::string& path,
                                                      const std::string& mimeType) {
    auto codecDataFactory = std::make_shared<avfile::AvCodecDataFactory>();
    auto downloadCommandFactory = std::make_shared<dash::DashDownloadCommandFactory>();
    avfile::AvFileFactory fileFactory(codecDataFactory, downloadCommandFactory);
    ZUN_LOG(0, "openPath %s", path.c_str());
    return fileFactory.openPath(path, mimeType);
}

std::shared_ptr<avfile::IAvStreamer> Mp4Service::createStreamer(
    std::shared_ptr<avfile::IAvFile>& file, std::shared_ptr<ContigMemBuffer>& output) {
    try {
        if (!output) {
            throw std::invalid_argument("createStreamer needs an output buffer");
        }
        std::shared_ptr<avfile::IAvPacketBuffer> packetBuffer =
            std::make_shared<avfile::AvPacketBuffer>(output);
        if (!packetBuffer) {
            ZUN_LOG(0, "Failed to create packet buffer");
            return nullptr;
        }
        std::shared_ptr<avfile::IAvFeederFactory> feederFactory =
            std::make_shared<avfile::AvFeederFactory>(packetBuffer);
        if (!feederFactory) {
            ZUN_LOG(0, "Failed to create feeder factory");
            return nullptr;
        }
        std::shared_ptr<avfile::IAvRouter> router =
            std::make_shared<avfile::AvRouter>(feederFactory);
        if (!router) {
            ZUN_LOG(0, "Failed to create router");
            return nullptr;
        }
        std::shared_ptr<avfile::IAvStreamer> streamer =
            std::make_shared<avfile::AvStreamerThread>(file, router, packetBuffer);
        if (!streamer) {
            ZUN_LOG(0, "Failed to create streamer");
            return nullptr;
        }
        return streamer;
    } catch (...) {
        ZUN_LOG(0, "Exception thrown during getStreamer");
        return nullptr;
    }
}

}  // namespace velar
