// OperationQueue: priority order, the concurrency limit, suspension,
// asynchronous operations holding their slot, readiness, current() and the
// underlying and main queues.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "support/Eventually.h"
#include "support/Gate.h"
#include "support/MainQueuePump.h"

using namespace ov;
using ovtest::eventually;

namespace {

using ovtest::Gate;

// Reports itself finished only when told to; keeps executing after start().
class AsyncOperation : public Operation {
  public:
    bool isAsynchronous() const override { return true; }
    bool isExecuting() const override { return executing_.load(); }
    bool isFinished() const override { return finished_.load(); }
    void start() override {
        willChangeValue("isExecuting");
        executing_ = true;
        didChangeValue("isExecuting");
        started = true;
    }
    void complete() {
        willChangeValue("isExecuting");
        willChangeValue("isFinished");
        executing_ = false;
        finished_ = true;
        didChangeValue("isExecuting");
        didChangeValue("isFinished");
    }
    std::atomic<bool> started{false};

  private:
    std::atomic<bool> executing_{false};
    std::atomic<bool> finished_{false};
};

// Not ready until `makeReady()`, which announces "isReady".
class LateReadyOperation : public BlockOperation {
  public:
    using BlockOperation::BlockOperation;
    bool isReady() const override { return ready_.load(); }
    void makeReady() {
        willChangeValue("isReady");
        ready_ = true;
        didChangeValue("isReady");
    }

  private:
    std::atomic<bool> ready_{false};
};

struct OrderLog {
    std::mutex m;
    std::vector<std::string> items;
    void add(std::string s) {
        std::lock_guard lock(m);
        items.push_back(std::move(s));
    }
    std::vector<std::string> snapshot() {
        std::lock_guard lock(m);
        return items;
    }
};

}  // namespace

TEST(OperationQueueTest, ReadyOperationsStartByPriorityThenInOrderOfAddition) {
    auto queue = OperationQueue::make("priorities");
    queue->setMaxConcurrentOperationCount(1);
    queue->setSuspended(true);
    OrderLog log;
    const std::pair<const char*, Operation::QueuePriority> ops[] = {
        {"low", Operation::QueuePriority::low},
        {"veryHigh", Operation::QueuePriority::veryHigh},
        {"normal1", Operation::QueuePriority::normal},
        {"high1", Operation::QueuePriority::high},
        {"veryLow", Operation::QueuePriority::veryLow},
        {"high2", Operation::QueuePriority::high},
        {"normal2", Operation::QueuePriority::normal}};
    for (auto [name, priority] : ops) {
        auto op = BlockOperation::make([&log, name = std::string(name)] { log.add(name); });
        op->setQueuePriority(priority);
        queue->addOperation(op);
    }
    EXPECT_EQ(queue->operationCount(), 7u);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(log.snapshot(), (std::vector<std::string>{"veryHigh", "high1", "high2", "normal1",
                                                        "normal2", "low", "veryLow"}));
    EXPECT_EQ(queue->operationCount(), 0u);
}

TEST(OperationQueueTest, ConcurrencyLimitHoldsUnderLoadAndIsReached) {
    auto queue = OperationQueue::make("limited");
    queue->setMaxConcurrentOperationCount(3);
    std::atomic<int> active{0};
    std::atomic<int> peak{0};
    std::atomic<int> done{0};
    constexpr int kOps = 400;
    for (int i = 0; i < kOps; ++i) {
        queue->addOperation([&] {
            int now = ++active;
            int seen = peak.load();
            while (now > seen && !peak.compare_exchange_weak(seen, now)) {
            }
            // Let the first operations meet, so that the limit is actually reached.
            if (done.load() == 0) eventually([&] { return active.load() >= 3; }, 0.5);
            --active;
            ++done;
        });
    }
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(done.load(), kOps);
    EXPECT_EQ(peak.load(), 3);
}

TEST(OperationQueueTest, DefaultMaximumRunsManyAtOnce) {
    auto queue = OperationQueue::make();
    EXPECT_EQ(queue->maxConcurrentOperationCount(),
              OperationQueue::defaultMaxConcurrentOperationCount);
    std::atomic<int> arrived{0};
    Gate gate;
    for (int i = 0; i < 8; ++i) {
        queue->addOperation([&] {
            ++arrived;
            gate.wait();
        });
    }
    EXPECT_TRUE(eventually([&] { return arrived.load() == 8; }));
    gate.open();
    queue->waitUntilAllOperationsAreFinished();
}

TEST(OperationQueueTest, SuspensionHoldsBackStartsButNotRunningWork) {
    auto queue = OperationQueue::make("suspend");
    queue->setMaxConcurrentOperationCount(1);
    Gate gate;
    std::atomic<bool> firstStarted{false}, firstDone{false}, secondRan{false};
    queue->addOperation([&] {
        firstStarted = true;
        gate.wait();
        firstDone = true;
    });
    ASSERT_TRUE(eventually([&] { return firstStarted.load(); }));
    queue->setSuspended(true);
    EXPECT_TRUE(queue->isSuspended());
    queue->addOperation([&] { secondRan = true; });
    gate.open();
    EXPECT_TRUE(eventually([&] { return firstDone.load(); }));
    EXPECT_FALSE(eventually([&] { return secondRan.load(); }, 0.2));
    EXPECT_EQ(queue->operationCount(), 1u);
    queue->setSuspended(false);
    EXPECT_TRUE(eventually([&] { return secondRan.load(); }));
    queue->waitUntilAllOperationsAreFinished();
}

TEST(OperationQueueTest, AsynchronousOperationKeepsItsSlotUntilItAnnouncesFinished) {
    auto queue = OperationQueue::make("async");
    queue->setMaxConcurrentOperationCount(1);
    auto async = std::make_shared<AsyncOperation>();
    std::atomic<bool> nextRan{false};
    queue->addOperation(async);
    queue->addOperation([&] { nextRan = true; });
    ASSERT_TRUE(eventually([&] { return async->started.load(); }));
    EXPECT_FALSE(eventually([&] { return nextRan.load(); }, 0.2));
    auto ops = queue->operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_EQ(ops[0], async);  // order of addition
    async->complete();         // from this thread, not the queue's
    EXPECT_TRUE(eventually([&] { return nextRan.load(); }));
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(queue->operationCount(), 0u);
}

TEST(OperationQueueTest, NotReadyOperationWaitsWhileOthersRun) {
    auto queue = OperationQueue::make("readiness");
    queue->setMaxConcurrentOperationCount(1);
    OrderLog log;
    auto late = std::make_shared<LateReadyOperation>([&] { log.add("late"); });
    late->setQueuePriority(Operation::QueuePriority::veryHigh);
    queue->addOperation(late);
    queue->addOperation([&] { log.add("other"); });
    ASSERT_TRUE(eventually([&] { return log.snapshot().size() == 1; }));
    EXPECT_EQ(queue->operationCount(), 1u);
    late->makeReady();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(log.snapshot(), (std::vector<std::string>{"other", "late"}));
}

TEST(OperationQueueTest, CancelAllFinishesPendingOperationsWithoutRunningThem) {
    auto queue = OperationQueue::make("cancel");
    queue->setSuspended(true);
    std::atomic<int> ran{0};
    std::vector<std::shared_ptr<Operation>> ops;
    for (int i = 0; i < 20; ++i) {
        auto op = BlockOperation::make([&] { ++ran; });
        ops.push_back(op);
        queue->addOperation(op);
    }
    queue->cancelAllOperations();
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 0);
    for (auto& op : ops) EXPECT_TRUE(op->isFinished() && op->isCancelled());
}

TEST(OperationQueueTest, MisuseIsLoggedAndIgnored) {
    auto capture = ovlog::CaptureSink::attach();
    auto queue = OperationQueue::make();
    auto other = OperationQueue::make();
    std::atomic<int> ran{0};
    auto op = BlockOperation::make([&] { ++ran; });
    queue->setSuspended(true);
    queue->addOperation(op);
    queue->addOperation(op);
    other->addOperation(op);
    queue->setMaxConcurrentOperationCount(-5);
    EXPECT_EQ(queue->maxConcurrentOperationCount(), -1);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    other->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 1);
    queue->addOperation(op);  // already ran
    EXPECT_EQ(queue->operationCount(), 0u);
    EXPECT_EQ(capture->records().size(), 4u);
}

TEST(OperationQueueTest, CurrentIsTheRunningQueueAndWorkRunsOnTheUnderlyingQueue) {
    auto queue = OperationQueue::make("current");
    auto serial = DispatchQueue::make("com.orvanta.test.underlying");
    queue->setUnderlyingQueue(serial);
    EXPECT_EQ(queue->underlyingQueue(), serial);
    std::shared_ptr<OperationQueue> seen;
    bool onUnderlying = false;
    queue->addOperation([&] {
        seen = OperationQueue::current();
        onUnderlying = serial->isCurrent();
    });
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(seen, queue);
    EXPECT_TRUE(onUnderlying);

    std::shared_ptr<OperationQueue> fromPlainThread = queue;
    std::thread([&] { fromPlainThread = OperationQueue::current(); }).join();
    EXPECT_EQ(fromPlainThread, nullptr);
}

TEST(OperationQueueTest, MainQueueRunsOnTheMainThreadOnlyWhenPumped) {
    ASSERT_TRUE(MainRunLoop::isMainThread());
    EXPECT_EQ(OperationQueue::current(), OperationQueue::main());
    auto main = OperationQueue::main();
    EXPECT_EQ(main->maxConcurrentOperationCount(), 1);
    EXPECT_EQ(main->underlyingQueue(), DispatchQueue::main());
    std::atomic<int> ran{0};
    std::atomic<bool> onMainThread{true};
    std::shared_ptr<OperationQueue> current;
    std::thread([&] {
        for (int i = 0; i < 3; ++i) {
            main->addOperation([&] {
                onMainThread = onMainThread && MainRunLoop::isMainThread();
                current = OperationQueue::current();
                ++ran;
            });
        }
    }).join();
    EXPECT_EQ(ran.load(), 0);  // nobody pumped yet
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return ran.load() == 3; }));
    EXPECT_TRUE(onMainThread.load());
    EXPECT_EQ(current, main);
}

TEST(OperationQueueTest, ManyProducersAndWaitersSeeEveryOperationRunOnce) {
    auto queue = OperationQueue::make("stress");
    queue->setMaxConcurrentOperationCount(4);
    std::atomic<int> ran{0};
    std::vector<std::thread> producers;
    for (int t = 0; t < 4; ++t) {
        producers.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                auto op = BlockOperation::make([&] { ++ran; });
                op->setQueuePriority((i + t) % 2 ? Operation::QueuePriority::high
                                                 : Operation::QueuePriority::low);
                queue->addOperation(op);
                if (i % 500 == 0) queue->operations();
            }
        });
    }
    for (auto& p : producers) p.join();
    std::thread waiter([&] { queue->waitUntilAllOperationsAreFinished(); });
    queue->waitUntilAllOperationsAreFinished();
    waiter.join();
    EXPECT_EQ(ran.load(), 8000);
    EXPECT_EQ(queue->operationCount(), 0u);
}

TEST(OperationQueueTest, QueueStaysAliveWhileItHoldsOperations) {
    std::atomic<bool> ran{false};
    Gate gate;
    std::weak_ptr<OperationQueue> weak;
    {
        auto queue = OperationQueue::make();
        weak = queue;
        queue->addOperation([&] {
            gate.wait();
            ran = true;
        });
    }
    EXPECT_FALSE(weak.expired());
    gate.open();
    EXPECT_TRUE(eventually([&] { return ran.load() && weak.expired(); }));
}

TEST(OperationQueueTest, OperationStartedByHandWhileQueuedLeavesAndNeverRunsTwice) {
    std::atomic<int> ran{0};
    std::weak_ptr<Operation> weakOp;
    {
        auto queue = OperationQueue::make();
        queue->setSuspended(true);
        auto op = BlockOperation::make([&] { ++ran; });
        weakOp = op;
        queue->addOperation(op);
        op->start();  // by hand, while it waits in the suspended queue
        EXPECT_EQ(ran.load(), 1);
        EXPECT_EQ(queue->operationCount(), 0u);
        EXPECT_TRUE(queue->operations().empty());
        op.reset();
        EXPECT_FALSE(weakOp.expired());  // the queue still holds it in its FIFO
    }
    EXPECT_TRUE(weakOp.expired());  // released with the queue
    EXPECT_EQ(ran.load(), 1);

    // Resumed instead, the queue skips it and runs the rest.
    auto queue = OperationQueue::make();
    queue->setSuspended(true);
    auto first = BlockOperation::make([&] { ++ran; });
    queue->addOperation(first);
    queue->addOperation([&] { ++ran; });
    first->start();
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 3);
}
