#include "manifest/network/CurlOwner.h"

#include <mutex>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("manifest/CurlOwner")

namespace dash {
namespace network {

void curlGlobalInit() {
    static std::once_flag once;
    std::call_once(once, [] {
        const CURLcode rc = curl_global_init(CURL_GLOBAL_DEFAULT);
        if (rc != CURLE_OK) {
            ZUN_LOG(0, "curl_global_init failed: %s", curl_easy_strerror(rc));
        }
    });
}

}  // namespace network
}  // namespace dash
