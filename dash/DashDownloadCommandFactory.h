#pragma once

#include "dash/IDashDownloadCommandFactory.h"

namespace dash {

// Makes DASH download commands. Until the DASH client is built in, it makes none: it logs
// "DASH presentations are not supported by this build: %s" and returns an empty pointer, which
// the file factory reports as a failure to open.
class DashDownloadCommandFactory : public IDashDownloadCommandFactory {
public:
    std::shared_ptr<IDashDownloadCommand> getDownloadCommand(const std::string& url) override;
};

}  // namespace dash
