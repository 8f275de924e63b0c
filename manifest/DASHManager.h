#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "manifest/IDASHManager.h"
#include "manifest/mpd/MPD.h"

namespace dash {

// The manifest library's IDASHManager.
//
// Open reads http:// and https:// URLs through dash::network::FetchUrl; file:// URLs and plain
// paths are read here directly (no network code involved), at most
// mpd::MPDParser::kMaxDocumentBytes of them: a larger file is refused before it is read whole.
// The model records the absolute URL of the document (a plain path becomes a file:// URL) and
// the time of the fetch in epoch seconds.
// Stateless; Open may run on several threads at once.
class DASHManager : public IDASHManager {
public:
    std::shared_ptr<mpd::IMPD> Open(const std::string& url) override;

    // Parses a document already in memory as if it had been fetched from `documentUrl` now.
    static std::shared_ptr<mpd::MPD> OpenFromMemory(const std::string& text, const std::string& documentUrl);

private:
    // Reads a local file, refusing files larger than `limit`. False with `error` set on failure.
    static bool readLocalFile(const std::string& path, size_t limit, std::vector<uint8_t>& out,
                              std::string& error);
};

}  // namespace dash
