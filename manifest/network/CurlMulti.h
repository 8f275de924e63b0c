#pragma once

#include <curl/curl.h>

namespace dash {
namespace network {

// Owns one libcurl multi handle (curl_multi_init / curl_multi_cleanup). The multi handle keeps the
// connection cache of the transfers run through it, so keeping a CurlMulti alive between
// transfers keeps their connections open (HTTP keep-alive). Not copyable, not movable.
class CurlMulti {
public:
    // Throws std::runtime_error when libcurl cannot make a handle.
    CurlMulti();
    ~CurlMulti();
    CurlMulti(const CurlMulti&) = delete;
    CurlMulti& operator=(const CurlMulti&) = delete;

    CURLM* get() const { return mHandle; }

private:
    CURLM* mHandle;
};

}  // namespace network
}  // namespace dash
