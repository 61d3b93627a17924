#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Concurrency/DispatchTimer.h"
#include "OVUtility/Concurrency/DispatchTimerFactory.h"
#include "OVUtility/Platform/DispatchSource.h"
#include "OVUtility/Platform/TimerScheduler.h"
#include "support/Eventually.h"
#include "support/Gate.h"
#include "support/MainQueuePump.h"

using namespace std::chrono;
using ov::DispatchQueue;

namespace {
void settle(double seconds) {
    ovtest::eventually([] { return false; }, seconds);
}

// Returns once the timer thread has passed `deadline`. It fires in deadline
// order, so every source tick due by then has been fired.
void waitForTimerThreadPast(ov::DispatchTime deadline) {
    ovtest::Gate passed;
    ov::TimerScheduler::shared().schedule(deadline, [passed]() mutable { passed.open(); });
    ASSERT_TRUE(passed.wait());
}
}  // namespace

// A timer source delivers one event at a time, also on a concurrent queue:
// ticks that fire while its handler runs merge into one delivery after it.
TEST(DispatchSource, HandlerNeverRunsTwiceAtOnceOnConcurrentQueues) {
    struct Row {
        const char* name;
        std::shared_ptr<DispatchQueue> queue;  // null: the default global queue
    };
    const Row rows[] = {
        {"default queue", nullptr},
        {"own concurrent queue",
         DispatchQueue::make("test.source.concurrent", DispatchQueue::Attributes::concurrent)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        struct Shared {
            std::mutex m;
            int entries = 0, inside = 0, maxInside = 0;
            ovtest::Gate firstEntered, release;
        };
        auto s = std::make_shared<Shared>();
        auto timer = ov::DispatchSource::makeTimer(row.queue);
        timer->schedule(ov::DispatchTime::now(), 0.002);
        timer->setEventHandler([s] {
            int entry = 0;
            {
                std::lock_guard lock(s->m);
                entry = ++s->entries;
                s->maxInside = std::max(s->maxInside, ++s->inside);
            }
            if (entry == 1) {
                s->firstEntered.open();
                s->release.wait();
            }
            std::lock_guard lock(s->m);
            --s->inside;
        });
        timer->resume();
        ASSERT_TRUE(s->firstEntered.wait());
        waitForTimerThreadPast(ov::DispatchTime::now() + 0.03);  // ~15 ticks while it is held
        // A delivery queued beside the held one leaves the queue before this probe.
        ovtest::Gate probed;
        (row.queue ? row.queue : DispatchQueue::global())->async([probed]() mutable {
            probed.open();
        });
        ASSERT_TRUE(probed.wait());
        {
            std::lock_guard lock(s->m);
            EXPECT_EQ(s->entries, 1) << "a second delivery started beside the running one";
        }
        s->release.open();
        EXPECT_TRUE(ovtest::eventually([&] {
            std::lock_guard lock(s->m);
            return s->entries >= 3;  // the merged ticks, then the timer goes on
        }));
        ov::invalidate(*timer);
        std::lock_guard lock(s->m);
        EXPECT_EQ(s->maxInside, 1);
    }
}

// A suspended source delivers on resume the event it observed: one that was
// already waiting on its queue, or one whose deadline passed while suspended.
TEST(DispatchSource, SuspendedSourceDeliversObservedEventOnResume) {
    for (bool queuedBeforeSuspend : {true, false}) {
        SCOPED_TRACE(queuedBeforeSuspend ? "event queued, then suspended" : "due while suspended");
        auto queue = DispatchQueue::make("test.source.suspend");
        auto fired = std::make_shared<std::atomic<int>>(0);
        auto timer = ov::DispatchSource::makeTimer(queue);
        timer->setEventHandler([fired] { fired->fetch_add(1); });
        auto deadline = ov::DispatchTime::now() + 0.005;
        if (queuedBeforeSuspend) {
            ovtest::Gate busy;
            queue->async([busy]() mutable { busy.wait(); });
            timer->schedule(deadline);  // one shot
            timer->resume();
            waitForTimerThreadPast(deadline);  // the event waits behind the busy block
            timer->suspend();
            busy.open();
        } else {
            timer->resume();
            timer->suspend();
            timer->schedule(deadline);
            waitForTimerThreadPast(deadline);
        }
        queue->sync([] {});
        EXPECT_EQ(fired->load(), 0) << "delivered while suspended";
        timer->resume();
        EXPECT_TRUE(ovtest::eventually([&] { return fired->load() >= 1; }, 5.0));
        queue->sync([] {});
        EXPECT_EQ(fired->load(), 1);
    }
}

TEST(DispatchTimer, FiresOnlyWhileStartedAndStartSuspendAreNotCounted) {
    auto queue = DispatchQueue::make("test.timer");
    std::atomic<int> fired{0};
    auto timer = std::make_unique<ov::DispatchTimer>(0.02, queue, 0, [&] { fired.fetch_add(1); });
    settle(0.1);
    EXPECT_EQ(fired.load(), 0) << "a new timer fired before start()";

    timer->start();
    timer->start();  // must not over-resume the source
    EXPECT_TRUE(ovtest::eventually([&] { return fired.load() >= 3; }));

    timer->suspend();  // one suspend undoes the single effective start
    queue->sync([] {});
    int stopped = fired.load();
    settle(0.1);
    EXPECT_LE(fired.load(), stopped + 1);  // at most an event already queued
    timer->suspend();                      // second suspend is a no-op
    timer->start();
    EXPECT_TRUE(ovtest::eventually([&] { return fired.load() > stopped + 1; }));
    timer.reset();
    queue->sync([] {});
    int atRelease = fired.load();
    {
        // Releasing a timer that never started, or one left suspended, is safe.
        ov::DispatchTimer never(0.01, queue, 0, [&] { fired.fetch_add(1); });
        ov::DispatchTimer suspended(0.01, queue, 0, [&] { fired.fetch_add(1); });
        suspended.start();
        suspended.suspend();
        queue->sync([] {});
        atRelease = fired.load();
    }
    settle(0.1);
    EXPECT_EQ(fired.load(), atRelease) << "a released timer fired again";
}

TEST(DispatchTimerFactory, RunningTimerRepeatsUntilInvalidatedAndReleasesClosure) {
    ov::DispatchTimerFactory factory;
    auto queue = DispatchQueue::make("test.factory");
    std::vector<steady_clock::time_point> events;
    std::mutex m;
    auto token = std::make_shared<int>(1);
    std::weak_ptr<int> weakToken = token;
    auto start = steady_clock::now();
    auto timer = factory.scheduleTimer(0.25, queue, 0, [&, token] {
        std::lock_guard lock(m);
        events.push_back(steady_clock::now());
    });
    token.reset();
    ASSERT_TRUE(timer);
    EXPECT_TRUE(ovtest::eventually([&] {
        std::lock_guard lock(m);
        return events.size() >= 2;
    }));
    timer->invalidate();
    queue->sync([] {});
    {
        std::lock_guard lock(m);
        EXPECT_GE(duration_cast<milliseconds>(events[0] - start).count(), 245);
        EXPECT_GE(duration_cast<milliseconds>(events[1] - events[0]).count(), 150);
    }
    size_t count = events.size();
    settle(0.4);
    EXPECT_EQ(events.size(), count);
    EXPECT_TRUE(weakToken.expired()) << "invalidate() must release the event closure";
}

TEST(DispatchTimerFactory, InvalidateFromOwnHandlerAndHugeIntervals) {
    ov::DispatchTimerFactory factory;
    std::atomic<int> fired{0};
    std::shared_ptr<ov::BlockTimer> timer;
    std::mutex m;
    {
        std::lock_guard lock(m);
        timer = factory.makeTimer(0.01, DispatchQueue::global(), 0, [&] {
            fired.fetch_add(1);
            std::lock_guard lock(m);
            if (timer) timer->invalidate();
        });
    }
    EXPECT_TRUE(ovtest::eventually([&] { return fired.load() >= 1; }));
    settle(0.08);
    EXPECT_EQ(fired.load(), 1);

    // Intervals too large for milliseconds (and NaN) never fire; one under a
    // millisecond fires once.
    std::atomic<int> never{0};
    auto huge = factory.makeTimer(1e300, DispatchQueue::global(), 0, [&] { never.fetch_add(1); });
    auto nan =
        factory.makeTimer(std::nan(""), DispatchQueue::global(), 0, [&] { never.fetch_add(1); });
    std::atomic<int> once{0};
    auto tiny = factory.makeTimer(0.0004, DispatchQueue::global(), 0, [&] { once.fetch_add(1); });
    EXPECT_TRUE(ovtest::eventually([&] { return once.load() >= 1; }));
    settle(0.05);
    EXPECT_EQ(never.load(), 0);
    EXPECT_EQ(once.load(), 1);
}

TEST(DispatchTimerFactoryDeathTest, NegativeInfinityEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ov::DispatchTimerFactory factory;
    EXPECT_DEATH(factory.makeTimer(-INFINITY, DispatchQueue::global(), 0, [] {}), "not a finite");
}

TEST(DispatchTimerFactory, MainQueueTimerRunsOnMainThreadWhenPumped) {
    ov::DispatchTimerFactory factory;
    std::atomic<int> fired{0};
    bool onMain = false;
    auto timer = factory.scheduleMainQueueTimer(0.01, 0, [&] {
        onMain = ov::MainRunLoop::isMainThread();
        fired.fetch_add(1);
    });
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return fired.load() >= 1; }));
    EXPECT_TRUE(onMain);
    timer.reset();  // releasing stops it
    ovtest::pumpMainFor(0.02);
    int seen = fired.load();
    ovtest::pumpMainFor(0.05);
    EXPECT_EQ(fired.load(), seen);
}
