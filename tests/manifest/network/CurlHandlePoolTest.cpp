#include "manifest/network/CurlHandlePool.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using dash::network::CurlHandlePool;

TEST(CurlHandlePool, PrefersTheWarmHandleOfTheOriginAndKeepsAtMostTheLimit) {
    CurlHandlePool pool;
    auto a = pool.acquire("http://a:80");
    auto b = pool.acquire("http://b:80");
    auto* aRaw = a.get();
    auto* bRaw = b.get();
    pool.release(std::move(a));
    pool.release(std::move(b));
    auto again = pool.acquire("http://a:80");
    EXPECT_EQ(aRaw, again.get());  // not the newer handle of b
    auto other = pool.acquire("http://c:80");
    EXPECT_EQ(bRaw, other.get());  // an idle handle serves a new origin
    EXPECT_EQ("http://c:80", other->origin);
    EXPECT_EQ(0u, pool.idleCount());

    std::vector<std::unique_ptr<CurlHandlePool::Handle>> handles;
    for (size_t i = 0; i < CurlHandlePool::kMaxIdle + 5; ++i) {
        handles.push_back(pool.acquire("http://h:80"));
    }
    for (auto& h : handles) {
        pool.release(std::move(h));
    }
    pool.release(nullptr);
    EXPECT_EQ(CurlHandlePool::kMaxIdle, pool.idleCount());
}

}  // namespace
