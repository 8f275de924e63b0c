#pragma once

namespace dash {

// One DASH presentation as the file layer sees it: started, queried, seeked and cancelled through
// this one object. The operations arrive with the DASH client.
class IDashDownloadCommand {
public:
    virtual ~IDashDownloadCommand() {}
};

}  // namespace dash
