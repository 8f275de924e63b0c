// FetchUrl: the synchronous whole-resource fetch declared in HttpDownload.h (used for MPDs).
#include <algorithm>

#include "manifest/network/HttpDownload.h"
#include "manifest/network/HttpTransfer.h"

namespace dash {
namespace network {

bool FetchUrl(const std::string& url, std::vector<uint8_t>& out, std::string& error,
              const DownloadOptions& options) {
    out.clear();
    error.clear();
    HttpTransfer transfer(url, std::string(), options);
    HttpTransfer::Sink sink;
    sink.expectedSize = [&out, &options](uint64_t size) {
        out.reserve(static_cast<size_t>(std::min(size, options.maxBodyBytes)));
    };
    sink.data = [&out](const uint8_t* data, size_t size) { out.insert(out.end(), data, data + size); };
    const HttpTransfer::Result result = transfer.run(sink);
    if (result.outcome != HttpTransfer::Outcome::Completed) {
        error = result.error.empty() ? "download failed" : result.error;
        out.clear();
        out.shrink_to_fit();
        return false;
    }
    return true;
}

}  // namespace network
}  // namespace dash
