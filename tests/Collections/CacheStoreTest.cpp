// The platform object cache, the memory-pressure monitor, and CacheStore /
// CacheStoreData on top of them.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Collections/CacheStore.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MemoryPressureMonitor.h"
#include "OVUtility/Platform/ObjectCache.h"
#include "support/Eventually.h"

namespace {

using Box = ov::CacheStoreData<std::string>;
const std::string kWarning(ov::MemoryPressureMonitor::didReceiveMemoryWarningNotification);

TEST(CacheStoreData, AccessCountingProtectsTheContent) {
    Box box("payload");
    EXPECT_TRUE(box.beginContentAccess() && box.beginContentAccess());
    box.endContentAccess();
    box.discardContentIfPossible();
    EXPECT_EQ(box.data(), "payload");  // one access still open
    box.endContentAccess();
    box.discardContentIfPossible();
    EXPECT_TRUE(box.isContentDiscarded());
    EXPECT_EQ(box.data(), std::nullopt);
    EXPECT_FALSE(box.beginContentAccess());  // gone for good
    box.endContentAccess();                  // never below 0
    EXPECT_EQ(box.accessCount(), 0u);
}

TEST(ObjectCache, CountAndCostLimitsEvictLeastRecentlyUsed) {
    auto cache = ov::ObjectCache<std::string, int>::make();
    std::vector<int> evicted;
    cache->setWillEvictObject([&](const std::shared_ptr<int>& v) { evicted.push_back(*v); });
    cache->setCountLimit(2);
    cache->setObject(std::make_shared<int>(1), "a");
    cache->setObject(std::make_shared<int>(2), "b");
    ASSERT_TRUE(cache->objectForKey("a"));  // "b" is now least recent
    cache->setObject(std::make_shared<int>(3), "c");
    EXPECT_EQ(cache->objectForKey("b"), nullptr);
    EXPECT_EQ(evicted, std::vector<int>{2});

    cache->setCountLimit(0);
    cache->setTotalCostLimit(10);
    cache->setObject(std::make_shared<int>(4), "d", 6);
    cache->setObject(std::make_shared<int>(5), "e", 6);  // 12 > 10: a, c go (cost 0) then d
    EXPECT_EQ(cache->count(), 1u);
    EXPECT_EQ(cache->totalCost(), 6u);
    EXPECT_TRUE(cache->objectForKey("e"));
    cache->setObject(nullptr, "e");  // an empty value removes
    EXPECT_EQ(cache->count(), 0u);
    EXPECT_EQ(evicted, (std::vector<int>{2, 1, 3, 4}));
}

TEST(ObjectCache, HonoursOpenContentAccess) {
    auto cache = ov::ObjectCache<std::string, Box>::make();
    cache->setCountLimit(1);
    auto used = std::make_shared<Box>("used");
    ASSERT_TRUE(used->beginContentAccess());
    cache->setObject(used, "used");
    cache->setObject(std::make_shared<Box>("other"), "other");
    // The entry in use is passed over; the newer one is evicted instead.
    EXPECT_EQ(cache->objectForKey("used"), used);
    EXPECT_EQ(cache->objectForKey("other"), nullptr);

    cache->evictUnderMemoryPressure();
    EXPECT_EQ(cache->objectForKey("used"), used);
    EXPECT_EQ(used->data(), "used");
    used->endContentAccess();
    cache->evictUnderMemoryPressure();
    EXPECT_EQ(cache->objectForKey("used"), nullptr);
    EXPECT_TRUE(used->isContentDiscarded());

    // Content discarded by someone else: the entry is no longer returned.
    cache->setCountLimit(0);
    auto elsewhere = std::make_shared<Box>("x");
    cache->setObject(elsewhere, "x");
    elsewhere->discardContentIfPossible();
    EXPECT_EQ(cache->objectForKey("x"), nullptr);
    EXPECT_EQ(cache->count(), 0u);
}

// Only a rise of "high", "max" or "oom" is pressure; reclaim below "low" is not.
TEST(MemoryPressureMonitor, ParsesCgroupMemoryEvents) {
    using Monitor = ov::MemoryPressureMonitor;
    auto events =
        Monitor::parseMemoryEvents("low 0\nhigh 12\nmax 3\noom 1\noom_kill 1\noom_group_kill 0\n");
    ASSERT_TRUE(events);
    EXPECT_EQ(std::tuple(events->high, events->max, events->oomKill), std::tuple(12u, 3u, 1u));
    EXPECT_FALSE(Monitor::parseMemoryEvents(""));
    EXPECT_FALSE(Monitor::parseMemoryEvents("garbage here"));
    auto later = *events;
    later.low += 5;
    EXPECT_FALSE(Monitor::isPressure(*events, later));
    for (auto field : {&Monitor::MemoryEvents::high, &Monitor::MemoryEvents::max,
                       &Monitor::MemoryEvents::oom}) {
        auto raised = later;
        raised.*field += 1;
        EXPECT_TRUE(Monitor::isPressure(*events, raised));
    }
}

TEST(MemoryPressureMonitor, WarningPurgesCachesThenPostsTheNotification) {
    auto center = ov::NotificationCenter::defaultCenter();
    std::atomic<int> posts{0};
    std::atomic<bool> cacheEmptyWhenPosted{false};
    auto cache = ov::ObjectCache<std::string, int>::make();
    cache->setObject(std::make_shared<int>(1), "k");
    auto store = ov::CacheStore<int, std::string>::make();  // listens to the monitor by default
    store->set(1, "one");
    auto token = center->addObserver(kWarning, nullptr, nullptr, [&](const ov::Notification&) {
        cacheEmptyWhenPosted = cache->count() == 0;
        posts++;
    });

    // Not started: delivered at once on this thread.
    ov::MemoryPressureMonitor::stop();
    ov::MemoryPressureMonitor::simulateMemoryWarning();
    EXPECT_EQ(posts.load(), 1);
    EXPECT_TRUE(cacheEmptyWhenPosted.load());
    EXPECT_EQ(store->get(1), std::nullopt);

    // Started (where the kernel offers a signal): delivered by its thread.
    const auto source = ov::MemoryPressureMonitor::start();
    EXPECT_EQ(ov::MemoryPressureMonitor::activeSource(), source);
    cache->setObject(std::make_shared<int>(2), "k");
    ov::MemoryPressureMonitor::simulateMemoryWarning();
    EXPECT_TRUE(ovtest::eventually([&] { return posts.load() >= 2; }));
    EXPECT_TRUE(cacheEmptyWhenPosted.load());
    ov::MemoryPressureMonitor::stop();
    EXPECT_EQ(ov::MemoryPressureMonitor::activeSource(), ov::MemoryPressureMonitor::Source::none);
    center->removeObserver(token);
    if (source == ov::MemoryPressureMonitor::Source::none)
        GTEST_LOG_(INFO) << "no kernel memory pressure source on this machine";
}

TEST(MemoryPressureMonitor, ArmsPressureStallTriggerWhereAvailable) {
    if (access("/proc/pressure/memory", W_OK) != 0) GTEST_SKIP() << "no /proc/pressure/memory";
    ov::MemoryPressureMonitor::Options options;
    options.useCgroupEvents = false;
    const auto source = ov::MemoryPressureMonitor::start(options);
    ov::MemoryPressureMonitor::stop();
    // Triggers need Linux 5.2+ (and 6.4+ without privileges).
    if (source == ov::MemoryPressureMonitor::Source::none) GTEST_SKIP() << "triggers refused";
    EXPECT_EQ(source, ov::MemoryPressureMonitor::Source::pressureStallInformation);

    options.pressurePath = "/nonexistent/pressure";
    EXPECT_EQ(ov::MemoryPressureMonitor::start(options), ov::MemoryPressureMonitor::Source::none);
}

TEST(CacheStore, StoresRemovesAndEmptiesOnMemoryWarning) {
    auto center = ov::NotificationCenter::make();
    auto store = ov::CacheStore<std::string, int>::make(nullptr, center);
    for (auto [key, value] : {std::pair{"a", 1}, {"b", 2}, {"c", 3}}) store->set(key, value);
    store->set("a", std::nullopt);
    EXPECT_EQ((*store)["a"], std::nullopt);
    EXPECT_EQ(store->get("b"), 2);
    // A box discarded behind the store's back reads as none.
    store->cache()->objectForKey("c")->discardContentIfPossible();
    EXPECT_EQ(store->get("c"), std::nullopt);
    center->post(kWarning);
    EXPECT_EQ(store->get("b"), std::nullopt);
    EXPECT_EQ(store->cache()->count(), 0u);

    // The registration ends with the store; the cache it used is emptied.
    store->set("d", 4);
    auto cache = store->cache();
    const auto registrations = center->registrationCount();
    store.reset();
    EXPECT_EQ(center->registrationCount(), registrations - 1);
    EXPECT_EQ(cache->count(), 0u);
    center->post(kWarning);  // nothing left to call
}

// Values are written under the key they belong to: a read of another key's
// value (a torn or misplaced entry) shows, whatever warnings and evictions do.
TEST(CacheStore, ConcurrentReadersWritersAndWarningsSeeOnlyOwnValues) {
    auto center = ov::NotificationCenter::make();
    auto store = ov::CacheStore<int, int>::make(nullptr, center);
    store->cache()->setCountLimit(64);
    std::atomic<int> misplaced{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 5000; ++i) {
                const int key = i % 100;
                if (t == 0)
                    store->set(key, i);
                else if (auto v = store->get(key); v && *v % 100 != key)
                    misplaced++;
                if (t == 2 && i % 500 == 0) center->post(kWarning);
                if (t == 1 && i % 700 == 0) store->cache()->evictUnderMemoryPressure();
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(misplaced.load(), 0);
    EXPECT_LE(store->cache()->count(), 64u);
}

}  // namespace
