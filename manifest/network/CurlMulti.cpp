#include "manifest/network/CurlMulti.h"

#include <stdexcept>

#include "manifest/network/CurlEasy.h"

namespace dash {
namespace network {

CurlMulti::CurlMulti() {
    CurlEasy::globalInit();
    mHandle = curl_multi_init();
    if (mHandle == nullptr) {
        throw std::runtime_error("curl_multi_init failed");
    }
}

CurlMulti::~CurlMulti() { curl_multi_cleanup(mHandle); }

}  // namespace network
}  // namespace dash
