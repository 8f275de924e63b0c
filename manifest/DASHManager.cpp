#include "manifest/DASHManager.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "manifest/mpd/MPDParser.h"
#include "manifest/mpd/UrlResolver.h"
#include "manifest/network/HttpDownload.h"
#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/DASHManager")

namespace dash {

namespace {

bool startsWith(const std::string& s, const char* prefix) {
    return s.compare(0, std::strlen(prefix), prefix) == 0;
}

uint32_t nowSeconds() { return static_cast<uint32_t>(std::time(nullptr)); }

// Owner of a stdio stream.
struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

}  // namespace

std::shared_ptr<IDASHManager> CreateDashManager() { return std::make_shared<DASHManager>(); }

bool DASHManager::readLocalFile(const std::string& path, size_t limit, std::vector<uint8_t>& out,
                                std::string& error) {
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        error = std::strerror(errno);
        return false;
    }
    // Read in chunks up to one byte past the limit, so that special files and files growing
    // while read are bounded too.
    out.clear();
    uint8_t chunk[64 * 1024];
    for (;;) {
        const size_t n = std::fread(chunk, 1, sizeof(chunk), file.get());
        if (n == 0) break;
        if (out.size() + n > limit) {
            error = "larger than " + std::to_string(limit) + " bytes";
            out.clear();
            return false;
        }
        out.insert(out.end(), chunk, chunk + n);
    }
    if (std::ferror(file.get())) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

std::shared_ptr<mpd::IMPD> DASHManager::Open(const std::string& url) {
    std::vector<uint8_t> bytes;
    std::string error;
    std::string documentUrl;
    if (startsWith(url, "http://") || startsWith(url, "https://")) {
        documentUrl = url;
        if (!network::FetchUrl(url, bytes, error)) {
            ZUN_LOG(0, "Fetching MPD %s failed: %s", url.c_str(), error.c_str());
            return nullptr;
        }
    } else {
        std::string path;
        if (startsWith(url, "file://")) {
            path = mpd::UrlResolver::PathFromFileUrl(url);
            documentUrl = url;
        } else {
            path = url;
            documentUrl = mpd::UrlResolver::FileUrlFromPath(url);
        }
        if (path.empty()) {
            ZUN_LOG(0, "Reading MPD %s failed: not a local file", url.c_str());
            return nullptr;
        }
        if (!readLocalFile(path, mpd::MPDParser::kMaxDocumentBytes, bytes, error)) {
            ZUN_LOG(0, "Reading MPD %s failed: %s", url.c_str(), error.c_str());
            return nullptr;
        }
    }
    return mpd::MPDParser::Parse(reinterpret_cast<const char*>(bytes.data()), bytes.size(), documentUrl,
                                 nowSeconds());
}

std::shared_ptr<mpd::MPD> DASHManager::OpenFromMemory(const std::string& text, const std::string& documentUrl) {
    return mpd::MPDParser::Parse(text.data(), text.size(), documentUrl, nowSeconds());
}

}  // namespace dash
