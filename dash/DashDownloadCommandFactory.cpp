#include "dash/DashDownloadCommandFactory.h"

#include <exception>

#include "dash/DashDownloadCommand.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashDownloadCommandFactory")

namespace dash {

std::shared_ptr<IDashDownloadCommand> DashDownloadCommandFactory::getDownloadCommand(const std::string& url) {
    try {
        return std::make_shared<DashDownloadCommand>(url);
    } catch (const std::exception& e) {
        ZUN_LOG(0, "end, No download command for %s: %s", url.c_str(), e.what());
    }
    return nullptr;
}

}  // namespace dash
