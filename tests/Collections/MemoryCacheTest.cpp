#include "OVUtility/Collections/MemoryCache.h"

#include <deque>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Policy = ov::MemoryCacheThreadSafePolicy;
using Item = ov::MemoryCacheItem<int>;

// Counts what goes through it; writes are held until `flush()` so that a
// write still pending can be observed.
class RecordingAccess : public ov::CacheAccess {
  public:
    void concurrentRead(ReadBody body) override {
        ++reads;
        body();
    }
    void exclusiveWrite(std::function<void()> body) override {
        ++writes;
        pending.push_back(std::move(body));
    }
    void flush() {
        while (!pending.empty()) {
            auto body = std::move(pending.front());
            pending.pop_front();
            body();
        }
    }
    int reads = 0;
    int writes = 0;
    std::deque<std::function<void()>> pending;
};

TEST(MemoryCacheItem, CopiesWithValue) {
    Item probe("k");
    EXPECT_EQ(probe.value, std::nullopt);
    Item full = probe.withValue(5);
    EXPECT_EQ(full.key, "k");
    EXPECT_EQ(full.value, 5);
    EXPECT_EQ(probe.value, std::nullopt);
}

TEST(MemoryCache, StrictRoutesThroughTheAccessAndComparesKeysOnly) {
    auto access = std::make_shared<RecordingAccess>();
    auto cache = ov::MemoryCache<int>::make(access, Policy::strict);
    cache->upsert(Item("k", 5));
    EXPECT_EQ(access->writes, 1);
    EXPECT_EQ(cache->value(Item("k")), std::nullopt);  // the write has not run yet
    access->flush();
    EXPECT_EQ(cache->value(Item("k")), 5);
    EXPECT_EQ(cache->value(Item("k", 999)), 5);  // only the key counts
    EXPECT_EQ(access->reads, 3);

    cache->upsert(Item("empty", std::nullopt));  // an entry without a value
    cache->upsert(Item("k", 6));
    access->flush();
    EXPECT_EQ(cache->value(Item("empty")), std::nullopt);
    EXPECT_EQ(cache->value(Item("k")), 6);
    cache->clear();
    access->flush();
    EXPECT_EQ(cache->value(Item("k")), std::nullopt);
}

TEST(MemoryCache, PendingWriteAfterTheCacheIsGoneDoesNothing) {
    auto access = std::make_shared<RecordingAccess>();
    std::weak_ptr<ov::MemoryCache<int>> watched;
    {
        auto cache = ov::MemoryCache<int>::make(access, Policy::strict);
        watched = cache;
        cache->upsert(Item("k", 1));
        cache->clear();
    }
    EXPECT_TRUE(watched.expired());  // the pending bodies do not keep it alive
    access->flush();                 // and do nothing once it is gone
    EXPECT_EQ(access->writes, 2);
}

TEST(MemoryCache, FastBypassesTheAccess) {
    auto access = std::make_shared<RecordingAccess>();
    auto cache = ov::MemoryCache<std::string>::make(access, Policy::fast);
    cache->upsert(ov::MemoryCacheItem<std::string>("a", std::string("x")));
    EXPECT_EQ(cache->value(ov::MemoryCacheItem<std::string>("a")), "x");
    cache->clear();
    EXPECT_EQ(cache->value(ov::MemoryCacheItem<std::string>("a")), std::nullopt);
    EXPECT_EQ(access->reads + access->writes, 0);
}

}  // namespace
