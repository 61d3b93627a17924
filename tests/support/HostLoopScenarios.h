// Test helper: the checks every host-loop adapter of the main queue must pass,
// written once over a small driver interface that each adapter's test
// implements with a real loop of its library (run on the main thread).
//
//   struct GLibHost : ovtest::HostLoop { ... };
//   TEST(GLibMainQueueSource, ...) { GLibHost host; ovtest::expectCrossThreadOrder(host); }
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchSource.h"
#include "OVUtility/Platform/MainRunLoop.h"

namespace ovtest {

class HostLoop {
  public:
    virtual ~HostLoop() = default;
    // Runs the host's loop on the calling (main) thread until quit() or until
    // `seconds` pass; false on the timeout.
    virtual bool run(double seconds) = 0;
    // Makes run() return; called on the main thread.
    virtual void quit() = 0;
    // Schedules `work` through the host's own facility (not the main queue)
    // to run on the loop's thread after `seconds` (0: as soon as possible).
    virtual void hostCall(double seconds, std::function<void()> work) = 0;
};

// Blocks submitted from several threads (and one from the main thread before
// the loop starts) run on the main thread, each producer's in FIFO order, and
// a `sync` from a worker is answered while the loop sleeps.
inline void expectCrossThreadOrder(HostLoop& host) {
    constexpr int kProducers = 3;
    constexpr int kBlocks = 200;
    auto main = ov::DispatchQueue::main();
    constexpr int kTotal = kProducers * kBlocks + 1;  // and the sync block
    std::vector<int> last(kProducers, -1);
    std::atomic<int> misordered{0}, offMain{0}, done{0};
    // The loop ends only once every block, the sync one included, has run:
    // the sync caller could never return once nothing pumps the main queue.
    auto finishOne = [&] {
        if (++done == kTotal) host.quit();
    };
    bool first = false;
    main->async([&] { first = done.load() == 0; });
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < kBlocks; ++i) {
                main->async([&, p, i] {
                    if (!ov::MainRunLoop::isMainThread()) ++offMain;
                    if (last[p] != i - 1) ++misordered;
                    last[p] = i;
                    finishOne();
                });
            }
        });
    }
    int answer = 0;
    std::thread syncCaller([&] {
        answer = main->sync([&] {
            finishOne();
            return 42;
        });
    });
    bool finished = host.run(20.0);
    EXPECT_TRUE(finished);
    // Pump what is left after a failure, so that the threads can be joined.
    if (!finished) {
        ov::MainRunLoop::runUntil([&] { return done == kTotal; }, ov::DispatchTime::now() + 20.0);
    }
    for (auto& t : producers) t.join();
    syncCaller.join();
    EXPECT_TRUE(first);
    EXPECT_EQ(done.load(), kTotal);
    EXPECT_EQ(misordered.load(), 0);
    EXPECT_EQ(offMain.load(), 0);
    EXPECT_EQ(answer, 42);
}

// Main-queue timers (asyncAfter from the main thread and from a worker, and a
// repeating timer source) fire on the main thread in deadline order, never
// early, while the host loop sleeps in between.
inline void expectTimersInDeadlineOrder(HostLoop& host) {
    auto main = ov::DispatchQueue::main();
    auto start = ov::DispatchTime::now();
    std::vector<int> order;
    std::atomic<int> early{0};
    auto at = [&](int ms) {
        return [&, ms] {
            if (ov::DispatchTime::now() < start + std::chrono::milliseconds(ms)) ++early;
            order.push_back(ms);
            if (order.size() == 4) host.quit();
        };
    };
    main->asyncAfter(start + std::chrono::milliseconds(60), at(60));
    main->asyncAfter(start + std::chrono::milliseconds(20), at(20));
    std::thread([&] { main->asyncAfter(start + std::chrono::milliseconds(40), at(40)); }).join();
    // The host's own timer may schedule main-queue work too.
    host.hostCall(0.0, [&] { main->asyncAfter(start + std::chrono::milliseconds(80), at(80)); });
    auto source = ov::DispatchSource::makeTimer(main);
    int ticks = 0;
    source->setEventHandler([&] { ++ticks; });
    source->schedule(start + 0.005, 0.005);
    source->resume();
    ASSERT_TRUE(host.run(20.0));
    source->cancel();
    EXPECT_EQ(order, (std::vector<int>{20, 40, 60, 80}));
    EXPECT_EQ(early.load(), 0);
    EXPECT_GE(ticks, 3);
}

// A main-queue block that keeps re-submitting itself does not starve the
// host's other sources, and the host's calls do not starve the main queue.
inline void expectFairnessWithHostSources(HostLoop& host) {
    auto main = ov::DispatchQueue::main();
    std::atomic<bool> stop{false};
    int spins = 0;
    std::function<void()> spin = [&] {
        ++spins;
        if (!stop) main->async(spin);
    };
    main->async(spin);
    bool hostRan = false;
    host.hostCall(0.02, [&] {
        hostRan = true;
        stop = true;
        main->async([&] { host.quit(); });
    });
    ASSERT_TRUE(host.run(20.0));
    EXPECT_TRUE(hostRan);
    EXPECT_GT(spins, 1);
}

}  // namespace ovtest
