#include "manifest/network/CurlHandlePool.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using dash::network::CurlHandlePool;

TEST(CurlHandlePool, GivesBackTheHandleOfTheSameOriginFirst) {
    CurlHandlePool pool;
    auto a = pool.acquire("http://a:80");
    auto b = pool.acquire("http://b:80");
    auto* aRaw = a.get();
    auto* bRaw = b.get();
    pool.release(std::move(a));
    pool.release(std::move(b));
    ASSERT_EQ(2u, pool.idleCount());

    auto again = pool.acquire("http://a:80");
    EXPECT_EQ(aRaw, again.get());  // not the newer handle of b
    EXPECT_EQ("http://a:80", again->origin);
    auto other = pool.acquire("http://c:80");
    EXPECT_EQ(bRaw, other.get());  // an idle handle is reused for a new origin
    EXPECT_EQ("http://c:80", other->origin);
    EXPECT_EQ(0u, pool.idleCount());
    auto fresh = pool.acquire("http://a:80");
    EXPECT_NE(nullptr, fresh.get());
    EXPECT_NE(aRaw, fresh.get());
    EXPECT_NE(bRaw, fresh.get());
}

TEST(CurlHandlePool, KeepsAtMostTheIdleLimit) {
    CurlHandlePool pool;
    std::vector<std::unique_ptr<CurlHandlePool::Handle>> handles;
    for (size_t i = 0; i < CurlHandlePool::kMaxIdle + 5; ++i) {
        handles.push_back(pool.acquire("http://h:80"));
    }
    for (auto& h : handles) {
        pool.release(std::move(h));
    }
    EXPECT_EQ(CurlHandlePool::kMaxIdle, pool.idleCount());
    pool.release(nullptr);
    EXPECT_EQ(CurlHandlePool::kMaxIdle, pool.idleCount());
}

}  // namespace
