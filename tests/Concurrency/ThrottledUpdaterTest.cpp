#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "OVUtility/Concurrency/ThrottledUpdater.h"
#include "OVUtility/Concurrency/ToggleOnce.h"
#include "support/Eventually.h"

namespace {

// A timer provider whose timers fire only when the test says so.
class FakeTimerProvider final : public ov::DispatchTimerProvider {
  public:
    struct Timer final : ov::BlockTimer {
        double interval = 0;
        std::shared_ptr<ov::DispatchQueue> queue;
        long long leeway = 0;
        std::function<void()> event;
        bool invalidated = false;
        void invalidate() override {
            invalidated = true;
            event = nullptr;  // a real source releases its handler too
        }
    };

    std::shared_ptr<ov::BlockTimer> makeTimer(double interval,
                                              std::shared_ptr<ov::DispatchQueue> queue,
                                              long long leeway,
                                              std::function<void()> event) override {
        auto timer = std::make_shared<Timer>();
        timer->interval = interval;
        timer->queue = std::move(queue);
        timer->leeway = leeway;
        timer->event = std::move(event);
        timers.push_back(timer);
        return timer;
    }

    // Fires the newest timer, as its queue would, when it is still valid.
    void fireLatest() {
        ASSERT_FALSE(timers.empty());
        auto timer = timers.back();
        if (!timer->invalidated && timer->event) {
            auto event = timer->event;  // keep it alive while it runs
            event();
        }
    }
    std::size_t validTimers() const {
        return std::count_if(timers.begin(), timers.end(), [](auto& t) { return !t->invalidated; });
    }

    std::vector<std::shared_ptr<Timer>> timers;
};

class ThrottledUpdaterFakeTimer : public ::testing::Test {
  protected:
    std::shared_ptr<ov::DispatchQueue> queue = ov::DispatchQueue::make("test.throttle.fake");
    std::shared_ptr<FakeTimerProvider> provider = std::make_shared<FakeTimerProvider>();
    int runs = 0;
    std::shared_ptr<ov::ThrottledUpdater> updater =
        ov::ThrottledUpdater::make(2.5, queue, provider, [this] { ++runs; });
};

TEST_F(ThrottledUpdaterFakeTimer, BurstRunsOnceNowAndOnceAfterTheCooldown) {
    for (int i = 0; i < 10; ++i) updater->setNeedsUpdate();
    EXPECT_EQ(runs, 1);
    ASSERT_EQ(provider->timers.size(), 1u);
    EXPECT_EQ(provider->timers[0]->interval, 2.5);
    EXPECT_EQ(provider->timers[0]->leeway, 100'000'000);
    EXPECT_EQ(provider->timers[0]->queue, queue);

    provider->fireLatest();  // cooldown ends with a pending request
    EXPECT_EQ(runs, 2);
    EXPECT_TRUE(provider->timers[0]->invalidated);
    ASSERT_EQ(provider->timers.size(), 2u);  // the served request starts a new period
    EXPECT_EQ(provider->validTimers(), 1u);

    provider->fireLatest();  // nothing pending: idle
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(provider->timers.size(), 2u);
    EXPECT_EQ(provider->validTimers(), 0u);

    updater->setNeedsUpdate();  // idle again: runs at once
    EXPECT_EQ(runs, 3);
}

TEST_F(ThrottledUpdaterFakeTimer, CancelDropsThePendingRequest) {
    updater->setNeedsUpdate();
    updater->setNeedsUpdate();  // pending
    updater->cancelUpdate();
    EXPECT_EQ(provider->validTimers(), 0u);
    provider->fireLatest();  // invalidated: never delivers
    EXPECT_EQ(runs, 1);
    updater->setNeedsUpdate();  // no cooldown any more: runs at once
    EXPECT_EQ(runs, 2);
}

TEST_F(ThrottledUpdaterFakeTimer, UpdateImmediatelyRestartsTheCooldown) {
    updater->setNeedsUpdate();
    updater->setNeedsUpdate();  // pending
    updater->updateImmediately();
    EXPECT_EQ(runs, 2);
    ASSERT_EQ(provider->timers.size(), 2u);
    EXPECT_TRUE(provider->timers[0]->invalidated);
    EXPECT_FALSE(provider->timers[1]->invalidated);
    provider->fireLatest();  // the pending request was served by the immediate run
    EXPECT_EQ(runs, 2);
}

TEST_F(ThrottledUpdaterFakeTimer, ReleasedUpdaterNeverRunsAgain) {
    updater->setNeedsUpdate();
    updater->setNeedsUpdate();  // pending
    auto timer = provider->timers.back();
    auto event = timer->event;  // as if the event was already on its way
    std::weak_ptr<ov::ThrottledUpdater> weak = updater;
    updater.reset();
    EXPECT_TRUE(weak.expired());  // the timer's event does not keep it alive
    EXPECT_TRUE(timer->invalidated);
    event();  // a late event finds no updater and does nothing
    EXPECT_EQ(runs, 1);
}

TEST_F(ThrottledUpdaterFakeTimer, ProviderWithoutTimersMeansNoThrottling) {
    struct NoTimers final : ov::DispatchTimerProvider {
        std::shared_ptr<ov::BlockTimer> makeTimer(double, std::shared_ptr<ov::DispatchQueue>,
                                                  long long, std::function<void()>) override {
            return nullptr;
        }
    };
    int n = 0;
    auto u =
        ov::ThrottledUpdaterFactory().make(1.0, queue, std::make_shared<NoTimers>(), [&] { ++n; });
    for (int i = 0; i < 2; ++i) u->setNeedsUpdate();
    EXPECT_EQ(n, 2);
}

TEST(ThrottledUpdaterRealTimer, PendingRequestRunsAboutOneCooldownLater) {
    auto queue = ov::DispatchQueue::make("test.throttle.real");
    using Clock = std::chrono::steady_clock;
    std::mutex mutex;
    std::vector<Clock::time_point> runTimes;
    auto updater = ov::ThrottledUpdaterFactory().make(
        0.2, queue, std::make_shared<ov::DispatchTimerFactory>(), [&] {
            std::lock_guard lock(mutex);
            runTimes.push_back(Clock::now());
        });
    auto count = [&] {
        std::lock_guard lock(mutex);
        return runTimes.size();
    };
    // Requests go through the work queue, as the updater's contract asks.
    queue->sync([&] {
        for (int i = 0; i < 10; ++i) updater->setNeedsUpdate();
    });
    EXPECT_EQ(count(), 1u);
    ASSERT_TRUE(ovtest::eventually([&] { return count() >= 2; }, 10.0));
    {
        std::lock_guard lock(mutex);
        auto gap = std::chrono::duration<double>(runTimes[1] - runTimes[0]).count();
        EXPECT_GE(gap, 0.19);
        EXPECT_LT(gap, 5.0);
    }
    // No requests after that: the updater goes idle, no third run.
    EXPECT_FALSE(ovtest::eventually([&] { return count() > 2; }, 0.8));
    queue->sync([&] { updater.reset(); });
}

TEST(ToggleOnce, RunsTheActionOnlyOnTheFirstActivation) {
    ov::ToggleOnce toggle;
    int runs = 0;
    toggle.onActivated([&] { runs += 1; });
    toggle.onActivated([&] { runs += 10; });  // replaces the first
    EXPECT_EQ(runs, 0);                       // storing never runs it
    toggle.activate();
    toggle.activate();
    EXPECT_TRUE(toggle.isActivated());
    EXPECT_EQ(runs, 10);

    // An action stored after activation never runs.
    toggle.onActivated([&] { runs += 100; });
    toggle.activate();
    EXPECT_EQ(runs, 10);

    ov::ToggleOnce().activate();  // no action: fine
}

TEST(ToggleOnce, ConcurrentActivationRunsTheActionOnce) {
    for (int round = 0; round < 50; ++round) {
        ov::ToggleOnce toggle;
        std::atomic<int> runs{0};
        toggle.onActivated([&] { runs.fetch_add(1); });
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) threads.emplace_back([&] { toggle.activate(); });
        for (auto& th : threads) th.join();
        EXPECT_EQ(runs.load(), 1);
    }
}

}  // namespace
