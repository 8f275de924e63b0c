#pragma once

#include <curl/curl.h>

namespace dash {
namespace network {

// Owns one libcurl easy handle (curl_easy_init / curl_easy_cleanup). Not copyable, not movable:
// the handle's address is stored in libcurl's callbacks. The first CurlEasy, CurlMulti or
// CurlShare of the process runs curl_global_init once, thread-safely.
class CurlEasy {
public:
    // Throws std::runtime_error when libcurl cannot make a handle.
    CurlEasy();
    ~CurlEasy();
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    CURL* get() const { return mHandle; }

    // curl_global_init(CURL_GLOBAL_DEFAULT), once per process; safe from any thread.
    static void globalInit();

private:
    CURL* mHandle;
};

}  // namespace network
}  // namespace dash
