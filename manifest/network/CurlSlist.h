#pragma once

#include <curl/curl.h>

#include <string>

namespace dash {
namespace network {

// Owns a libcurl string list (curl_slist_append / curl_slist_free_all), e.g. extra request
// headers. The list must outlive every transfer it was handed to.
class CurlSlist {
public:
    CurlSlist() = default;
    ~CurlSlist();
    CurlSlist(const CurlSlist&) = delete;
    CurlSlist& operator=(const CurlSlist&) = delete;

    // Appends a copy of `text`; throws std::runtime_error when libcurl runs out of memory.
    void append(const std::string& text);
    // The head of the list, null while empty.
    curl_slist* get() const { return mHead; }

private:
    curl_slist* mHead = nullptr;
};

}  // namespace network
}  // namespace dash
