#include "manifest/network/CurlShare.h"

#include <stdexcept>

#include "manifest/network/CurlEasy.h"

namespace dash {
namespace network {

CurlShare::CurlShare() {
    CurlEasy::globalInit();
    mHandle = curl_share_init();
    if (mHandle == nullptr) {
        throw std::runtime_error("curl_share_init failed");
    }
    curl_share_setopt(mHandle, CURLSHOPT_LOCKFUNC, &CurlShare::lock);
    curl_share_setopt(mHandle, CURLSHOPT_UNLOCKFUNC, &CurlShare::unlock);
    curl_share_setopt(mHandle, CURLSHOPT_USERDATA, this);
    curl_share_setopt(mHandle, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(mHandle, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

CurlShare::~CurlShare() { curl_share_cleanup(mHandle); }

CurlShare& CurlShare::instance() {
    static CurlShare share;
    return share;
}

void CurlShare::lock(CURL*, curl_lock_data data, curl_lock_access, void* user) {
    static_cast<CurlShare*>(user)->mLocks[data].lock();
}

void CurlShare::unlock(CURL*, curl_lock_data data, void* user) {
    static_cast<CurlShare*>(user)->mLocks[data].unlock();
}

}  // namespace network
}  // namespace dash
