#include "manifest/network/CurlShare.h"

namespace dash {
namespace network {

CurlShare::CurlShare() {
    CURLSH* share = mHandle.get();
    curl_share_setopt(share, CURLSHOPT_LOCKFUNC, &CurlShare::lock);
    curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, &CurlShare::unlock);
    curl_share_setopt(share, CURLSHOPT_USERDATA, this);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

CurlShare& CurlShare::instance() {
    // Never destroyed, like the handle pool whose handles use it: a detached transfer thread may
    // still be running while the process exits.
    static CurlShare* share = new CurlShare();
    return *share;
}

void CurlShare::lock(CURL*, curl_lock_data data, curl_lock_access, void* user) {
    static_cast<CurlShare*>(user)->mLocks[data].lock();
}

void CurlShare::unlock(CURL*, curl_lock_data data, void* user) {
    static_cast<CurlShare*>(user)->mLocks[data].unlock();
}

}  // namespace network
}  // namespace dash
