#include "manifest/mpd/MPD.h"

namespace dash {
namespace mpd {

namespace {

// The document URL without its last path segment, query and fragment: "http://h/a/m.mpd?x" ->
// "http://h/a/".
std::string directoryOf(const std::string& url) {
    const size_t end = url.find_first_of("?#");
    const std::string path = url.substr(0, end);
    const size_t slash = path.rfind('/');
    const size_t authority = path.find("//");
    if (slash == std::string::npos) return std::string();
    if (authority != std::string::npos && slash <= authority + 1) return path + "/";  // "http://host"
    return path.substr(0, slash + 1);
}

}  // namespace

MPD::MPD(std::string documentUrl, uint32_t fetchTime)
    : mDocumentUrl(std::move(documentUrl)), mFetchTime(fetchTime) {
    mPathBaseUrl.reset(new BaseUrl(&mDocumentUrl, directoryOf(mDocumentUrl)));
}

}  // namespace mpd
}  // namespace dash
