#pragma once

#include <memory>
#include <string>

#include "manifest/mpd/IMPD.h"

namespace dash {

// Fetches and parses MPDs. Thread-safe: one manager may open several documents at once.
class IDASHManager {
public:
    virtual ~IDASHManager() {}
    // Reads the MPD at `url` (http://, https://, file:// or a plain local path) and returns its
    // model, or null with a log line when the fetch or the parse fails.
    virtual std::shared_ptr<mpd::IMPD> Open(const std::string& url) = 0;
};

// Makes the manifest library's manager. Never null.
std::shared_ptr<IDASHManager> CreateDashManager();

}  // namespace dash
