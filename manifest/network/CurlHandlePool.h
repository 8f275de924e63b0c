#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "manifest/network/CurlOwner.h"

namespace dash {
namespace network {

// Keeps the handles of finished transfers, with their open connections, for the next transfer of
// the process: this is how segment downloads of one presentation reuse their keep-alive
// connection although each runs on a thread of its own.
//
// A transfer takes a Handle with acquire() for the origin it talks to ("http://host:port"), runs
// on it alone and gives it back with release(). acquire() prefers the most recently released
// handle of the same origin (its connection is warm), then any idle handle, then a new one. At
// most kMaxIdle handles are kept; each multi handle keeps at most kMaxConnectionsPerHandle
// connections. Thread-safe.
class CurlHandlePool {
public:
    static constexpr size_t kMaxIdle = 8;
    static constexpr long kMaxConnectionsPerHandle = 2;

    // One easy handle run through its own multi handle; the multi handle holds the connections.
    struct Handle {
        CurlMulti multi;
        CurlEasy easy;
        std::string origin;  // origin of the last transfer run on it
    };

    CurlHandlePool() = default;
    CurlHandlePool(const CurlHandlePool&) = delete;
    CurlHandlePool& operator=(const CurlHandlePool&) = delete;

    // Throws std::runtime_error when libcurl cannot make a new handle.
    std::unique_ptr<Handle> acquire(const std::string& origin);
    // The easy handle must no longer be added to the multi handle.
    void release(std::unique_ptr<Handle> handle);
    size_t idleCount() const;

    // The pool of the process, made on first use and never destroyed (a detached transfer thread
    // may still release a handle while the process exits).
    static CurlHandlePool& instance();

private:
    mutable std::mutex mMutex;
    std::deque<std::unique_ptr<Handle>> mIdle;  // oldest first
};

}  // namespace network
}  // namespace dash
