#include "manifest/network/CurlSlist.h"

#include <stdexcept>

namespace dash {
namespace network {

CurlSlist::~CurlSlist() { curl_slist_free_all(mHead); }

void CurlSlist::append(const std::string& text) {
    curl_slist* head = curl_slist_append(mHead, text.c_str());
    if (head == nullptr) {
        throw std::runtime_error("curl_slist_append failed");
    }
    mHead = head;
}

}  // namespace network
}  // namespace dash
