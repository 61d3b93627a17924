// DeferredLock: blocks held back while locked, delivered in order on the main
// thread, and the context going to the first delivered block only.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "OVUtility/Concurrency/DeferredLock.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "support/MainQueuePump.h"

using namespace ov;

namespace {
struct Delivery {
    int index;
    std::optional<std::string> context;
    bool onMainThread;
};
}  // namespace

TEST(DeferredLockTest, OnlyTheFirstBlockAfterUnlockGetsTheContext) {
    auto lock = DeferredLock<std::string>::make("deferred");
    std::vector<Delivery> deliveries;
    lock->lock();
    for (int i = 0; i < 3; ++i) {
        lock->deferUntilUnlocked([&, i](std::optional<std::string> c) {
            deliveries.push_back({i, std::move(c), MainRunLoop::isMainThread()});
        });
    }
    ovtest::pumpMainFor(0.1);
    EXPECT_TRUE(deliveries.empty());  // held back while locked

    lock->unlock(std::string("c"));
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return deliveries.size() == 3; }));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(deliveries[i].index, i);
        EXPECT_TRUE(deliveries[i].onMainThread);
    }
    EXPECT_EQ(deliveries[0].context, std::optional<std::string>("c"));
    EXPECT_FALSE(deliveries[1].context.has_value());
    EXPECT_FALSE(deliveries[2].context.has_value());
}

TEST(DeferredLockTest, OpenLockDeliversPromptlyWithTheStoredContext) {
    auto lock = DeferredLock<int>::make("open");
    std::vector<std::optional<int>> seen;
    lock->deferUntilUnlocked([&](std::optional<int> c) { seen.push_back(c); });
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return seen.size() == 1; }));
    EXPECT_FALSE(seen[0].has_value());  // none stored yet

    lock->lock();
    lock->unlock(7);
    lock->deferUntilUnlocked([&](std::optional<int> c) { seen.push_back(c); });
    lock->deferUntilUnlocked([&](std::optional<int> c) { seen.push_back(c); });
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return seen.size() == 3; }));
    EXPECT_EQ(seen[1], std::optional<int>(7));
    EXPECT_FALSE(seen[2].has_value());
}

TEST(DeferredLockTest, BlocksOutliveTheLockWithoutContext) {
    std::vector<std::optional<int>> seen;
    {
        auto lock = DeferredLock<int>::make("gone");
        lock->unlock(5);
        lock->lock();
        lock->deferUntilUnlocked([&](std::optional<int> c) { seen.push_back(c); });
        auto queue = lock->operationQueue();
        lock.reset();
        queue->setSuspended(false);  // the deferred block still gets delivered
    }
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return seen.size() == 1; }));
    EXPECT_FALSE(seen[0].has_value());
}
