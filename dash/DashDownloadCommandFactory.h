#pragma once

#include "dash/IDashDownloadCommandFactory.h"

namespace dash {

// Makes the download command (DashDownloadCommand) of a DASH presentation from its MPD address.
// Never throws: a failure is logged ("end, ...") and answered with an empty pointer, which the
// file factory reports as a failure to open. Any thread.
class DashDownloadCommandFactory : public IDashDownloadCommandFactory {
public:
    std::shared_ptr<IDashDownloadCommand> getDownloadCommand(const std::string& url) override;
};

}  // namespace dash
