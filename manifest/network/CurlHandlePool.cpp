#include "manifest/network/CurlHandlePool.h"

#include "manifest/network/CurlShare.h"

namespace dash {
namespace network {

std::unique_ptr<CurlHandlePool::Handle> CurlHandlePool::acquire(const std::string& origin) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        for (auto it = mIdle.rbegin(); it != mIdle.rend(); ++it) {
            if ((*it)->origin == origin) {
                std::unique_ptr<Handle> handle = std::move(*it);
                mIdle.erase(std::next(it).base());
                return handle;
            }
        }
        if (!mIdle.empty()) {
            std::unique_ptr<Handle> handle = std::move(mIdle.front());
            mIdle.pop_front();
            handle->origin = origin;
            return handle;
        }
    }
    auto handle = std::make_unique<Handle>();
    handle->origin = origin;
    curl_multi_setopt(handle->multi.get(), CURLMOPT_MAXCONNECTS, kMaxConnectionsPerHandle);
    return handle;
}

void CurlHandlePool::release(std::unique_ptr<Handle> handle) {
    if (!handle) {
        return;
    }
    std::unique_ptr<Handle> dropped;  // closed outside the lock
    std::lock_guard<std::mutex> lock(mMutex);
    mIdle.push_back(std::move(handle));
    if (mIdle.size() > kMaxIdle) {
        dropped = std::move(mIdle.front());
        mIdle.pop_front();
    }
}

size_t CurlHandlePool::idleCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mIdle.size();
}

CurlHandlePool& CurlHandlePool::instance() {
    CurlShare::instance();
    // Never destroyed: a detached transfer thread may still give its handle back while the
    // process runs its exit handlers.
    static CurlHandlePool* pool = new CurlHandlePool();
    return *pool;
}

}  // namespace network
}  // namespace dash
