#include "dash/DashDownloadCommandFactory.h"

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashDownloadCommandFactory")

namespace dash {

std::shared_ptr<IDashDownloadCommand> DashDownloadCommandFactory::getDownloadCommand(
    const std::string& url) {
    ZUN_LOG(0, "DASH presentations are not supported by this build: %s", url.c_str());
    return nullptr;
}

}  // namespace dash
