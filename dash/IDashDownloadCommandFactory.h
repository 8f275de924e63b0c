#pragma once

#include <memory>
#include <string>

#include "dash/IDashDownloadCommand.h"

namespace dash {

// Makes the download command of a DASH presentation from its MPD address.
class IDashDownloadCommandFactory {
public:
    virtual std::shared_ptr<IDashDownloadCommand> getDownloadCommand(const std::string& url) = 0;
    virtual ~IDashDownloadCommandFactory() {}
};

}  // namespace dash
