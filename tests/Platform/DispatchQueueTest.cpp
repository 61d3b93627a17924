#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Platform/DispatchGroup.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/DispatchSemaphore.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/WorkerPool.h"
#include "support/Eventually.h"
#include "support/Gate.h"
#include "support/MainQueuePump.h"

using ov::DispatchQueue;
using ov::DispatchSemaphore;
using ov::DispatchTime;

namespace {

// Keeps a read from being optimised away.
void benchmark_sink(long v) {
    static std::atomic<long> sink;
    sink.store(v, std::memory_order_relaxed);
}

void waitAll(const std::shared_ptr<DispatchQueue>& queue) {
    // A barrier sync returns once everything submitted before it has run.
    if (queue->isConcurrent()) {
        queue->syncBarrier([] {});
    } else {
        queue->sync([] {});
    }
}

}  // namespace

TEST(DispatchQueue, SerialQueueKeepsFifoOrderPerProducerAndNeverOverlaps) {
    auto queue = DispatchQueue::make("test.serial.fifo");
    constexpr int kProducers = 4, kPerProducer = 5000;
    std::vector<std::vector<int>> seen(kProducers);
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < kPerProducer; ++i) {
                queue->async([&, p, i] {
                    if (inside.fetch_add(1) != 0) overlapped = true;
                    seen[p].push_back(i);  // unsynchronised on purpose: the queue is the lock
                    inside.fetch_sub(1);
                });
            }
        });
    }
    for (auto& t : producers) t.join();
    waitAll(queue);
    EXPECT_FALSE(overlapped);
    for (int p = 0; p < kProducers; ++p) {
        ASSERT_EQ(seen[p].size(), size_t(kPerProducer));
        for (int i = 0; i < kPerProducer; ++i) ASSERT_EQ(seen[p][i], i);
    }
}

TEST(DispatchQueue, BarrierNeverOverlapsOtherBlocksAndKeepsItsPlace) {
    auto queue =
        DispatchQueue::make("test.concurrent.barrier", DispatchQueue::Attributes::concurrent);
    std::atomic<int> readers{0}, writes{0};
    std::atomic<bool> violated{false};
    for (int round = 0; round < 50; ++round) {
        for (int r = 0; r < 8; ++r) {
            queue->async([&, round] {
                readers.fetch_add(1);
                if (writes.load() != round) violated = true;  // reader ran across a barrier
                readers.fetch_sub(1);
            });
        }
        queue->asyncBarrier([&] {
            if (readers.load() != 0) violated = true;
            writes.fetch_add(1);
            if (readers.load() != 0) violated = true;
        });
    }
    waitAll(queue);
    EXPECT_FALSE(violated);
    EXPECT_EQ(writes.load(), 50);
}

TEST(DispatchQueue, BarrierWaitsForEveryEarlierBlockStillRunning) {
    auto queue =
        DispatchQueue::make("test.concurrent.barrier.long", DispatchQueue::Attributes::concurrent);
    ovtest::Gate startedA, startedB, releaseA, releaseB, barrierRan;
    std::atomic<bool> aDone{false}, barrierSawADone{false};
    queue->async([&] {
        startedA.open();
        releaseA.wait();
        aDone = true;
    });
    queue->async([&] {
        startedB.open();
        releaseB.wait();
    });
    ASSERT_TRUE(startedA.wait());
    ASSERT_TRUE(startedB.wait());
    queue->asyncBarrier([&] {
        barrierSawADone = aDone.load();
        barrierRan.open();
    });
    // B ends first: neither its worker nor an idle one may start the barrier
    // while A still runs (one that did would run it now).
    releaseB.open();
    EXPECT_FALSE(barrierRan.wait(0.2));
    releaseA.open();
    ASSERT_TRUE(barrierRan.wait());
    EXPECT_TRUE(barrierSawADone);
}

TEST(DispatchQueue, SyncRunsOnCallingThreadReturnsValueAndRethrows) {
    auto serial = DispatchQueue::make("test.sync.serial");
    auto concurrent =
        DispatchQueue::make("test.sync.concurrent", DispatchQueue::Attributes::concurrent);
    for (auto& queue : {serial, concurrent}) {
        auto caller = std::this_thread::get_id();
        std::thread::id ranOn;
        int value = queue->sync([&] {
            ranOn = std::this_thread::get_id();
            EXPECT_TRUE(queue->isCurrent());
            EXPECT_EQ(DispatchQueue::current(), queue);
            return 42;
        });
        EXPECT_EQ(value, 42);
        EXPECT_EQ(ranOn, caller);
        EXPECT_THROW(queue->sync([]() -> int { throw std::runtime_error("boom"); }),
                     std::runtime_error);
        // The queue is usable after a block threw through sync.
        std::atomic<bool> ran{false};
        queue->async([&] { ran = true; });
        waitAll(queue);
        EXPECT_TRUE(ran);
    }
}

TEST(DispatchQueue, SyncWaitsBehindEarlierBlocks) {
    auto queue = DispatchQueue::make("test.sync.order");
    std::vector<int> order;
    DispatchSemaphore gate(0);
    queue->async([&] {
        gate.wait();
        order.push_back(1);
    });
    queue->async([&] { order.push_back(2); });
    std::thread releaser([&] { gate.signal(); });
    queue->sync([&] { order.push_back(3); });
    releaser.join();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(DispatchQueue, BlockingBlocksDoNotStarveEachOther) {
    // Each block waits for a semaphore that a later block signals: only an
    // elastic pool that adds threads for blocked workers finishes this.
    constexpr int kBlocks = 64;
    auto queue = DispatchQueue::make("test.starvation", DispatchQueue::Attributes::concurrent);
    std::vector<std::unique_ptr<DispatchSemaphore>> sems;
    for (int i = 0; i <= kBlocks; ++i) sems.push_back(std::make_unique<DispatchSemaphore>(0));
    std::atomic<int> finished{0};
    for (int i = 0; i < kBlocks; ++i) {
        queue->async([&, i] {
            if (i > 0) sems[i - 1]->signal();
            if (i + 1 < kBlocks) sems[i]->wait();  // released by block i + 1 only
            finished.fetch_add(1);
        });
    }
    EXPECT_TRUE(ovtest::eventually([&] { return finished.load() == kBlocks; }, 20));
}

TEST(DispatchQueue, WaitChainAcrossQueuesFinishes) {
    // 64 blocks on separate serial queues; block i waits for i+1 to signal it.
    constexpr int kBlocks = 64;
    std::vector<std::shared_ptr<DispatchQueue>> queues;
    std::vector<std::unique_ptr<DispatchSemaphore>> sems;
    for (int i = 0; i < kBlocks; ++i) {
        queues.push_back(DispatchQueue::make("test.chain." + std::to_string(i)));
        sems.push_back(std::make_unique<DispatchSemaphore>(0));
    }
    ov::DispatchGroup group;
    for (int i = 0; i < kBlocks; ++i) {
        group.async(queues[i], [&, i] {
            if (i + 1 < kBlocks) sems[i]->wait();
            if (i > 0) sems[i - 1]->signal();
        });
    }
    // Block 63 signals 62 without waiting, and so on down the chain.
    EXPECT_TRUE(group.wait(DispatchTime::now() + 20.0));
}

TEST(DispatchQueue, AsyncAfterUsesDeadlineAndTargetQueueSerialises) {
    auto target = DispatchQueue::make("test.target");
    auto a = DispatchQueue::make("test.target.a", DispatchQueue::Attributes::serial,
                                 ov::QualityOfService::unspecified, target);
    auto b = DispatchQueue::make("test.target.b", DispatchQueue::Attributes::serial,
                                 ov::QualityOfService::unspecified, target);
    std::atomic<int> inside{0}, done{0};
    std::atomic<bool> overlapped{false};
    for (int i = 0; i < 2000; ++i) {
        auto& q = (i % 2) ? a : b;
        q->async([&] {
            if (inside.fetch_add(1) != 0) overlapped = true;
            EXPECT_TRUE(target->isCurrent());
            inside.fetch_sub(1);
            done.fetch_add(1);
        });
    }
    EXPECT_TRUE(ovtest::eventually([&] { return done.load() == 2000; }));
    EXPECT_FALSE(overlapped);

    auto start = DispatchTime::now();
    std::atomic<long long> elapsedMs{-1};
    a->asyncAfter(0.2, [&] {
        elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                        DispatchTime::now().timePoint() - start.timePoint())
                        .count();
    });
    EXPECT_TRUE(ovtest::eventually([&] { return elapsedMs.load() >= 0; }));
    EXPECT_GE(elapsedMs.load(), 195);
}

TEST(DispatchQueue, SpecificsAreFoundThroughRunningQueueAndTargets) {
    static ov::DispatchSpecificKey<int> key;
    auto target = DispatchQueue::make("test.specific.target");
    auto child = DispatchQueue::make("test.specific.child", DispatchQueue::Attributes::serial,
                                     ov::QualityOfService::unspecified, target);
    target->setSpecific(key, std::make_shared<int>(7));
    EXPECT_EQ(DispatchQueue::getSpecificCurrent(key), nullptr);
    int seen = child->sync([] {
        auto v = DispatchQueue::getSpecificCurrent(key);
        return v ? *v : -1;
    });
    EXPECT_EQ(seen, 7);
    child->setSpecific(key, std::make_shared<int>(9));
    std::atomic<int> async{-1};
    child->async([&] { async = *DispatchQueue::getSpecificCurrent(key); });
    EXPECT_TRUE(ovtest::eventually([&] { return async.load() == 9; }));
    EXPECT_EQ(*child->getSpecific(key), 9);
    child->setSpecific<int>(key, nullptr);
    EXPECT_EQ(child->getSpecific(key), nullptr);
}

TEST(DispatchQueue, SuspendHoldsBackStartsUntilResumed) {
    auto queue = DispatchQueue::make("test.suspend");
    ovtest::Gate started, release;
    std::atomic<int> ran{0};
    queue->async([&] {
        started.open();
        release.wait();
    });
    queue->async([&] { ran.fetch_add(1); });
    ASSERT_TRUE(started.wait());
    queue->suspend();  // while a block runs: the one queued behind it must wait
    queue->suspend();
    queue->async([&] { ran.fetch_add(1); });
    release.open();
    queue->resume();
    ovtest::eventually([] { return false; }, 0.05);
    EXPECT_EQ(ran.load(), 0);
    queue->resume();
    EXPECT_TRUE(ovtest::eventually([&] { return ran.load() == 2; }));
}

TEST(DispatchQueue, MainQueueRunsOnlyOnMainThreadWhenPumped) {
    ASSERT_TRUE(ov::MainRunLoop::isMainThread());
    std::atomic<int> ran{0};
    std::atomic<bool> offMain{false};
    std::thread poster([&] {
        for (int i = 0; i < 10; ++i) {
            DispatchQueue::main()->async([&] {
                if (!ov::MainRunLoop::isMainThread()) offMain = true;
                ran.fetch_add(1);
            });
        }
    });
    poster.join();
    ovtest::eventually([] { return false; }, 0.05);
    EXPECT_EQ(ran.load(), 0) << "main-queue blocks ran without the main queue being pumped";
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return ran.load() == 10; }));
    EXPECT_FALSE(offMain);
    EXPECT_EQ(DispatchQueue::current(), DispatchQueue::main());

    // sync from a worker onto the main queue runs on the main thread.
    std::atomic<bool> syncDone{false};
    bool ranOnMain = false;
    DispatchQueue::global()->async([&] {
        ranOnMain = DispatchQueue::main()->sync([] { return ov::MainRunLoop::isMainThread(); });
        syncDone = true;
    });
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return syncDone.load(); }));
    EXPECT_TRUE(ranOnMain);
}

TEST(DispatchQueue, DrainRunsOnlyWhatIsReady) {
    std::atomic<int> runs{0};
    std::function<void()> again = [&] {
        runs.fetch_add(1);
        DispatchQueue::main()->async(again);
    };
    DispatchQueue::main()->async(again);
    EXPECT_EQ(ov::MainRunLoop::drain(), 1u);
    EXPECT_EQ(ov::MainRunLoop::drain(), 1u);
    EXPECT_EQ(runs.load(), 2);
    // Leave the main queue clean for other tests: swallow the pending block.
    DispatchQueue::main()->suspend();
    again = [] {};
    DispatchQueue::main()->resume();
    ov::MainRunLoop::drain();
}

TEST(DispatchQueueDeathTest, SyncOntoOwnSerialQueueFailsFast) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto queue = DispatchQueue::make("test.deadlock");
    EXPECT_DEATH(queue->sync([&] { queue->sync([] {}); }), "already running");
    EXPECT_DEATH(DispatchQueue::main()->sync([] {}), "main queue from the main thread");
}

TEST(DispatchQueue, SyncReadersAndBarrierWritersExcludeEachOther) {
    // Readers enter through the lock-free path while barriers (async and
    // sync) keep arriving: no reader may ever see a write in progress, and
    // every write must see no reader.
    auto queue = DispatchQueue::make("test.rw.mixed", DispatchQueue::Attributes::concurrent);
    std::atomic<int> readersInside{0};
    std::atomic<bool> writing{false};
    std::atomic<bool> violated{false};
    std::atomic<bool> stop{false};
    long value = 0;
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                queue->sync([&] {
                    readersInside.fetch_add(1);
                    if (writing.load()) violated = true;
                    benchmark_sink(value);
                    readersInside.fetch_sub(1);
                });
            }
        });
    }
    auto write = [&] {
        writing = true;
        if (readersInside.load() != 0) violated = true;
        ++value;
        writing = false;
    };
    for (int i = 0; i < 300; ++i) {
        if (i % 2) {
            queue->asyncBarrier(write);
        } else {
            queue->syncBarrier(write);
        }
    }
    queue->syncBarrier([] {});
    stop = true;
    for (auto& t : readers) t.join();
    EXPECT_FALSE(violated);
    EXPECT_EQ(value, 300);
}

TEST(DispatchQueue, SyncBarrierOnIdleQueueHoldsBackWhatArrivesThenHandsOver) {
    // A sync barrier on an idle queue takes it without the queue's lock; what
    // arrives while it runs must wait for it and then run, never be lost.
    enum class Arrival { asyncBlock, asyncBarrier, syncRead, syncBarrier };
    for (auto arrival :
         {Arrival::asyncBlock, Arrival::asyncBarrier, Arrival::syncRead, Arrival::syncBarrier}) {
        SCOPED_TRACE(static_cast<int>(arrival));
        auto queue = DispatchQueue::make("test.rw.handover", DispatchQueue::Attributes::concurrent);
        std::atomic<bool> holding{false};
        std::atomic<bool> overlapped{false};
        ovtest::Gate entered, release, ran;
        std::thread holder([&] {
            queue->syncBarrier([&] {
                holding = true;
                entered.open();
                release.wait();
                holding = false;
            });
        });
        ASSERT_TRUE(entered.wait());
        auto block = [&] {
            if (holding.load()) overlapped = true;
            ran.open();
        };
        std::thread caller;
        switch (arrival) {
            case Arrival::asyncBlock:
                queue->async(block);
                break;
            case Arrival::asyncBarrier:
                queue->asyncBarrier(block);
                break;
            case Arrival::syncRead:
                caller = std::thread([&] { queue->sync(block); });
                break;
            case Arrival::syncBarrier:
                caller = std::thread([&] { queue->syncBarrier(block); });
                break;
        }
        EXPECT_FALSE(ran.wait(0.05)) << "ran while the barrier held the queue";
        release.open();
        EXPECT_TRUE(ran.wait()) << "lost when the barrier handed the queue over";
        holder.join();
        if (caller.joinable()) caller.join();
        waitAll(queue);
        EXPECT_FALSE(overlapped);
    }
}
