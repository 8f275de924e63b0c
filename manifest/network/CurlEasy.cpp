#include "manifest/network/CurlEasy.h"

#include <mutex>
#include <stdexcept>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/CurlEasy")

namespace dash {
namespace network {

void CurlEasy::globalInit() {
    static std::once_flag once;
    std::call_once(once, [] {
        const CURLcode rc = curl_global_init(CURL_GLOBAL_DEFAULT);
        if (rc != CURLE_OK) {
            ZUN_LOG(0, "curl_global_init failed: %s", curl_easy_strerror(rc));
        }
    });
}

CurlEasy::CurlEasy() {
    globalInit();
    mHandle = curl_easy_init();
    if (mHandle == nullptr) {
        throw std::runtime_error("curl_easy_init failed");
    }
}

CurlEasy::~CurlEasy() { curl_easy_cleanup(mHandle); }

}  // namespace network
}  // namespace dash
