#pragma once

#include <curl/curl.h>

#include <mutex>

#include "manifest/network/CurlOwner.h"

namespace dash {
namespace network {

// Owns a libcurl share handle that shares the DNS cache and TLS session IDs between all transfers
// of the process, so a new connection to a known server skips the name look-up and resumes its
// TLS session. Locking: one mutex per kind of shared data, taken by libcurl through the lock
// callbacks, so transfers on different threads may use the share at once.
//
// Connections are deliberately not shared through it (CURL_LOCK_DATA_CONNECT is documented by
// libcurl as unsafe between concurrent threads); CurlHandlePool keeps them alive instead.
class CurlShare {
public:
    // Throws std::runtime_error when libcurl cannot make the handle.
    CurlShare();

    CURLSH* get() const { return mHandle.get(); }

    // The share used by every transfer of the process (made on first use, never destroyed).
    static CurlShare& instance();

private:
    static void lock(CURL* handle, curl_lock_data data, curl_lock_access access, void* user);
    static void unlock(CURL* handle, curl_lock_data data, void* user);

    // Declared first: curl_share_cleanup still takes the locks.
    std::mutex mLocks[CURL_LOCK_DATA_LAST];
    CurlOwner<CURLSH, curl_share_init, curl_share_cleanup> mHandle;
};

}  // namespace network
}  // namespace dash
