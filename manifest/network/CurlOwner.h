#pragma once

#include <curl/curl.h>

#include <stdexcept>

namespace dash {
namespace network {

// curl_global_init(CURL_GLOBAL_DEFAULT), once per process; safe from any thread. Every owner below
// runs it before making its handle.
void curlGlobalInit();

// Owns one libcurl handle, made by `Init` and freed by `Cleanup`. Not copyable, not movable:
// libcurl keeps the handle's address in callbacks and share data.
template <typename Handle, Handle* (*Init)(), auto Cleanup>
class CurlOwner {
public:
    // Throws std::runtime_error when libcurl cannot make the handle (out of memory).
    CurlOwner() : mHandle(make()) {}
    ~CurlOwner() { Cleanup(mHandle); }
    CurlOwner(const CurlOwner&) = delete;
    CurlOwner& operator=(const CurlOwner&) = delete;

    Handle* get() const { return mHandle; }

private:
    static Handle* make() {
        curlGlobalInit();
        Handle* handle = Init();
        if (handle == nullptr) {
            throw std::runtime_error("libcurl cannot make a handle");
        }
        return handle;
    }

    Handle* const mHandle;
};

// An easy handle: one transfer at a time.
using CurlEasy = CurlOwner<CURL, curl_easy_init, curl_easy_cleanup>;
// A multi handle: it keeps the connection cache of the transfers run through it, so keeping it
// alive between transfers keeps their connections open (HTTP keep-alive).
using CurlMulti = CurlOwner<CURLM, curl_multi_init, curl_multi_cleanup>;

}  // namespace network
}  // namespace dash
