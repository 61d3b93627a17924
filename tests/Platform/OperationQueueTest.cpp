// OperationQueue: priority order, the concurrency limit, suspension,
// asynchronous operations holding their slot, readiness, current() and the
// underlying and main queues.
#include <gtest/gtest.h>

#include <atomic>
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
using ovtest::Gate;
using Names = std::vector<std::string>;

namespace {

// Reports itself finished only when told to; keeps executing after start().
class AsyncOperation : public Operation {
  public:
    bool isAsynchronous() const override { return true; }
    bool isExecuting() const override { return started && !finished_; }
    bool isFinished() const override { return finished_; }
    void start() override {
        willChangeValue("isExecuting");
        started = true;
        didChangeValue("isExecuting");
    }
    void complete() {
        willChangeValue("isFinished");
        finished_ = true;
        didChangeValue("isFinished");
    }
    std::atomic<bool> started{false};

  private:
    std::atomic<bool> finished_{false};
};

// Not ready until `makeReady()`, which announces "isReady".
class LateReadyOperation : public BlockOperation {
  public:
    using BlockOperation::BlockOperation;
    bool isReady() const override { return ready_; }
    void makeReady() {
        willChangeValue("isReady");
        ready_ = true;
        didChangeValue("isReady");
    }

  private:
    std::atomic<bool> ready_{false};
};

}  // namespace

TEST(OperationQueueTest, ReadyOperationsStartByPriorityThenInOrderOfAddition) {
    using P = Operation::QueuePriority;
    auto queue = OperationQueue::make("priorities");
    queue->setMaxConcurrentOperationCount(1);
    queue->setSuspended(true);
    Names log;  // appended by one operation at a time
    auto add = [&log](std::string name) { return [&log, name] { log.push_back(name); }; };
    // Not ready: waits while the others run, whatever its priority.
    auto late = std::make_shared<LateReadyOperation>(add("late"));
    late->setQueuePriority(P::veryHigh);
    queue->addOperation(late);
    const std::pair<const char*, P> ops[] = {{"low", P::low},         {"veryHigh", P::veryHigh},
                                             {"normal1", P::normal},  {"high1", P::high},
                                             {"veryLow", P::veryLow}, {"high2", P::high},
                                             {"normal2", P::normal}};
    for (auto [name, priority] : ops) {
        auto op = BlockOperation::make(add(name));
        op->setQueuePriority(priority);
        queue->addOperation(op);
    }
    EXPECT_EQ(queue->operationCount(), 8u);
    queue->setSuspended(false);
    ASSERT_TRUE(eventually([&] { return queue->operationCount() == 1; }));
    late->makeReady();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(
        log, (Names{"veryHigh", "high1", "high2", "normal1", "normal2", "low", "veryLow", "late"}));
}
TEST(OperationQueueTest, ManyProducersNeverPassTheLimitAndEveryOperationRunsOnce) {
    auto queue = OperationQueue::make("limited");
    queue->setMaxConcurrentOperationCount(3);
    std::atomic<int> active{0}, peak{0}, done{0};
    auto work = [&] {
        int now = ++active;
        for (int seen = peak; now > seen && !peak.compare_exchange_weak(seen, now);) {
        }
        // The first operations wait briefly for a fourth to join them.
        if (done == 0) eventually([&] { return active > 3; }, 0.3);
        --active;
        ++done;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 1000; ++i) {
                auto op = BlockOperation::make(work);
                op->setQueuePriority((i + t) % 2 ? 4 : -4);
                queue->addOperation(op);
                if (i % 250 == 0) queue->operations();
            }
        });
    }
    for (auto& t : threads) t.join();
    std::thread waiter([&] { queue->waitUntilAllOperationsAreFinished(); });
    queue->waitUntilAllOperationsAreFinished();
    waiter.join();
    EXPECT_EQ(done, 4000);
    EXPECT_EQ(peak, 3);
    EXPECT_EQ(queue->operationCount(), 0u);
}

TEST(OperationQueueTest, DefaultLimitLetsManyRunAtOnce) {
    auto queue = OperationQueue::make();
    std::atomic<int> arrived{0};
    Gate gate;
    for (int i = 0; i < 8; ++i) {
        queue->addOperation([&] {
            ++arrived;
            gate.wait();
        });
    }
    EXPECT_TRUE(eventually([&] { return arrived == 8; }));
    gate.open();
    queue->waitUntilAllOperationsAreFinished();
}
TEST(OperationQueueTest, AsyncOperationHoldsItsSlotAndSuspensionHoldsBackStarts) {
    auto queue = OperationQueue::make("async");
    queue->setMaxConcurrentOperationCount(1);
    auto async = std::make_shared<AsyncOperation>();
    std::atomic<bool> nextRan{false};
    queue->addOperation(async);
    queue->addOperation([&] { nextRan = true; });
    ASSERT_TRUE(eventually([&] { return async->started.load(); }));
    EXPECT_FALSE(eventually([&] { return nextRan.load(); }, 0.2));  // start() returned
    const auto ops = queue->operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_EQ(ops[0], async);  // order of addition
    queue->setSuspended(true);
    async->complete();  // from this thread, not the queue's
    EXPECT_FALSE(eventually([&] { return nextRan.load(); }, 0.2));
    EXPECT_EQ(queue->operationCount(), 1u);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(nextRan);
}
TEST(OperationQueueTest, CancelAllFinishesPendingOperationsWithoutRunningThem) {
    auto queue = OperationQueue::make("cancel");
    queue->setSuspended(true);
    std::atomic<int> ran{0};
    std::vector<std::shared_ptr<Operation>> ops;
    for (int i = 0; i < 20; ++i) {
        ops.push_back(BlockOperation::make([&] { ++ran; }));
        queue->addOperation(ops.back());
    }
    queue->cancelAllOperations();
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 0);
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
    queue->addOperation(op);  // twice
    other->addOperation(op);  // to a second queue
    queue->setMaxConcurrentOperationCount(-5);
    EXPECT_EQ(queue->maxConcurrentOperationCount(), -1);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    other->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 1);
    queue->addOperation(op);  // after it ran
    EXPECT_EQ(queue->operationCount(), 0u);
    EXPECT_EQ(capture->records().size(), 4u);
}

TEST(OperationQueueTest, CurrentIsTheRunningQueueAndWorkRunsOnTheUnderlyingQueue) {
    auto queue = OperationQueue::make("current");
    auto serial = DispatchQueue::make("com.orvanta.test.underlying");
    queue->setUnderlyingQueue(serial);
    std::shared_ptr<OperationQueue> seen;
    bool onUnderlying = false;
    queue->addOperation([&] {
        seen = OperationQueue::current();
        onUnderlying = serial->isCurrent() && OperationQueue::currentRunsOn(*serial);
    });
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(seen, queue);
    EXPECT_TRUE(onUnderlying);
    std::thread([&] { seen = OperationQueue::current(); }).join();
    EXPECT_EQ(seen, nullptr);
}

TEST(OperationQueueTest, MainQueueRunsOnTheMainThreadOnlyWhenPumped) {
    ASSERT_TRUE(MainRunLoop::isMainThread());
    auto main = OperationQueue::main();
    EXPECT_EQ(OperationQueue::current(), main);
    EXPECT_EQ(main->maxConcurrentOperationCount(), 1);
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
    EXPECT_EQ(ran, 0);  // nobody pumped yet
    ASSERT_TRUE(ovtest::pumpMainUntil([&] { return ran == 3; }));
    EXPECT_TRUE(onMainThread);
    EXPECT_EQ(current, main);
}

TEST(OperationQueueTest, QueueStaysAliveWhileItHoldsOperations) {
    std::atomic<bool> ran{false};
    std::weak_ptr<OperationQueue> weak;
    {
        auto queue = OperationQueue::make();
        weak = queue;
        queue->setSuspended(true);  // nothing running holds the queue
        queue->addOperation([&] { ran = true; });
    }
    ASSERT_FALSE(weak.expired());
    weak.lock()->setSuspended(false);
    EXPECT_TRUE(eventually([&] { return ran && weak.expired(); }));
}

TEST(OperationQueueTest, OperationStartedByHandWhileQueuedLeavesAndNeverRunsTwice) {
    std::atomic<int> ran{0};
    for (bool resume : {false, true}) {
        std::weak_ptr<Operation> weakOp;
        {
            auto queue = OperationQueue::make();
            queue->setSuspended(true);
            auto op = BlockOperation::make([&] { ++ran; });
            weakOp = op;
            queue->addOperation(op);
            if (resume) queue->addOperation([&] { ++ran; });
            op->start();  // by hand, while it waits in the suspended queue
            EXPECT_EQ(queue->operationCount(), resume ? 1u : 0u);
            op.reset();
            EXPECT_FALSE(weakOp.expired());  // the queue still holds it in its FIFO
            // Resumed, the queue skips it and runs the rest.
            if (resume) queue->setSuspended(false);
            queue->waitUntilAllOperationsAreFinished();
        }
        EXPECT_TRUE(weakOp.expired());  // released with the queue
    }
    EXPECT_EQ(ran, 3);
}
