#include "OVUtility/Collections/MemoryCache.h"

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Concurrency/DispatchQueueReaderWriter.h"

namespace {

using Policy = ov::MemoryCacheThreadSafePolicy;
using Item = ov::MemoryCacheItem<int>;

// Counts what goes through it; writes are held until `flush()` so that a
// write still pending can be observed.
struct RecordingAccess : ov::CacheAccess {
    void concurrentRead(ReadBody body) override { ++reads, body(); }
    void exclusiveWrite(std::function<void()> body) override {
        ++writes, pending.push_back(std::move(body));
    }
    void flush() {
        for (; !pending.empty(); pending.pop_front()) pending.front()();
    }
    int reads = 0, writes = 0;
    std::deque<std::function<void()>> pending;
};

// Strict goes through the access (reads concurrent, writes exclusive), fast
// bypasses it; either way only the key identifies an entry.
TEST(MemoryCache, StrictRoutesThroughTheAccessFastBypassesIt) {
    for (auto policy : {Policy::strict, Policy::fast}) {
        const bool strict = policy == Policy::strict;
        auto access = std::make_shared<RecordingAccess>();
        auto cache = ov::MemoryCache<int>::make(access, policy);
        cache->upsert(Item("k").withValue(5));
        EXPECT_EQ(cache->value(Item("k")), strict ? std::nullopt : std::optional(5));
        access->flush();
        EXPECT_EQ(cache->value(Item("k", 999)), 5);
        cache->upsert(Item("empty", std::nullopt));  // an entry without a value
        cache->upsert(Item("k", 6));
        access->flush();
        EXPECT_EQ(cache->value(Item("empty")), std::nullopt);
        EXPECT_EQ(cache->value(Item("k")), 6);
        cache->clear();
        access->flush();
        EXPECT_EQ(cache->value(Item("k")), std::nullopt);
        EXPECT_EQ(access->reads, strict ? 5 : 0);
        EXPECT_EQ(access->writes, strict ? 4 : 0);
    }
    // A write still pending when the cache goes does not keep it alive, and
    // does nothing once it runs.
    auto access = std::make_shared<RecordingAccess>();
    std::weak_ptr<ov::MemoryCache<int>> watched;
    {
        auto cache = ov::MemoryCache<int>::make(access, Policy::strict);
        watched = cache;
        cache->upsert(Item("k", 1));
    }
    EXPECT_TRUE(watched.expired());
    access->flush();
}

TEST(MemoryCache, StrictReadAfterWriteFromAnotherThread) {
    auto cache = ov::MemoryCache<int>::make(Policy::strict);
    // Ping-pong: the writer's upsert returns (possibly before the barrier has
    // run), the reader on another thread is told, and must see the value.
    constexpr int kRounds = 2000;
    std::atomic<int> written{-1};
    std::atomic<int> checked{-1};
    std::atomic<int> mismatches{0};
    std::thread reader([&] {
        for (int i = 0; i < kRounds; ++i) {
            while (written.load(std::memory_order_acquire) < i) std::this_thread::yield();
            if (cache->value(Item("k")) != i) mismatches++;
            checked.store(i, std::memory_order_release);
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        cache->upsert(Item("k", i));
        written.store(i, std::memory_order_release);
        while (checked.load(std::memory_order_acquire) < i) std::this_thread::yield();
    }
    reader.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(MemoryCache, CachesWithoutAnAccessShareOneQueue) {
    auto a = ov::MemoryCache<int>::make(Policy::strict);
    auto b = ov::MemoryCache<std::string>::make(nullptr, Policy::strict);
    EXPECT_EQ(a->access(), b->access());
    auto own = ov::DispatchQueue::make("own", ov::DispatchQueue::Attributes::concurrent);
    auto c = ov::MemoryCache<int>::make(own, Policy::strict);
    EXPECT_NE(c->access(), a->access());
    c->upsert(Item("x", 1));
    EXPECT_EQ(c->value(Item("x")), 1);
}

TEST(MemoryCache, ConcurrentReadersAndWritersSeeWholeItems) {
    auto cache = ov::MemoryCache<std::string>::make(Policy::strict);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 2; ++t) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                for (int k = 0; k < 8; ++k) {
                    auto v = cache->value(ov::MemoryCacheItem<std::string>(std::to_string(k)));
                    // Values are "<key>:<n>": a torn or misplaced entry shows.
                    if (v && v->rfind(std::to_string(k) + ":", 0) != 0) bad++;
                }
            }
        });
    }
    for (int i = 0; i < 3000; ++i) {
        const std::string key = std::to_string(i % 8);
        cache->upsert(ov::MemoryCacheItem<std::string>(key, key + ":" + std::to_string(i)));
        if (i % 1000 == 999) cache->clear();
    }
    cache->upsert(ov::MemoryCacheItem<std::string>("7", std::string("7:last")));
    EXPECT_EQ(cache->value(ov::MemoryCacheItem<std::string>("7")), "7:last");
    stop = true;
    for (auto& r : readers) r.join();
    EXPECT_EQ(bad.load(), 0);
}

}  // namespace
