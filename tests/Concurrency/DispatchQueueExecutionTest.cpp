#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Concurrency/DispatchQueueExecution.h"
#include "OVUtility/Concurrency/MainThreadExecutor.h"
#include "OVUtility/Concurrency/ThreadHandler.h"
#include "support/Eventually.h"
#include "support/MainQueuePump.h"

using ov::DispatchQueue;

TEST(DispatchQueueExecution, MainQueueTestsAndInlineExecution) {
    EXPECT_TRUE(ov::isOnMainQueue());  // the test body runs on the main thread
    bool ran = false;
    ov::executeOnMainQueue(true, [&] { ran = true; });  // inline, no deadlock
    EXPECT_TRUE(ran);

    std::atomic<bool> offMainSeen{true};
    std::atomic<bool> done{false};
    ov::executeOnNonMainQueue(false, [&] {
        offMainSeen = !ov::isOnMainQueue();
        // From a worker, blocking execution on main waits for the pump.
        ov::executeOnMainQueue(true, [&] { EXPECT_TRUE(ov::MainRunLoop::isMainThread()); });
        done = true;
    });
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return done.load(); }));
    EXPECT_TRUE(offMainSeen);
}

TEST(DispatchQueueExecution, ExecuteRecognisesQueueAndItsChildren) {
    auto queue = DispatchQueue::make("test.exec");
    auto child = DispatchQueue::make("test.exec.child", DispatchQueue::Attributes::serial,
                                     ov::QualityOfService::unspecified, queue);
    EXPECT_FALSE(ov::isRunningOn(*queue));
    int value = child->sync([&] {
        // Blocking execute onto the queue we run through must not deadlock.
        int inner = 0;
        ov::execute(*queue, true, [&] { inner = 5; });
        return inner + ov::executeBlockingWithResult(*queue, [] { return 1; });
    });
    EXPECT_EQ(value, 6);
    std::atomic<bool> ran{false};
    ov::execute(*queue, false, [&] { ran = true; });
    EXPECT_TRUE(ovtest::eventually([&] { return ran.load(); }));
    EXPECT_THROW(
        ov::executeBlockingWithResult(*queue, []() -> int { throw std::logic_error("x"); }),
        std::logic_error);
}

TEST(MainThreadExecutor, InlineOnMainAsyncElsewhere) {
    bool inlineRan = false;
    ov::MainThreadExecutor::performOnMainThread([&] { inlineRan = true; });
    EXPECT_TRUE(inlineRan);
    std::atomic<bool> ranOnMain{false};
    std::thread([&] {
        ov::MainThreadExecutor::performOnMainThread(
            [&] { ranOnMain = ov::MainRunLoop::isMainThread(); });
    }).join();
    EXPECT_FALSE(ranOnMain);
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return ranOnMain.load(); }));
}

TEST(ThreadHandler, PauseReturnsAtOnceOnMainAndWaitsForMainQueueElsewhere) {
    auto start = std::chrono::steady_clock::now();
    ov::ThreadHandler::pauseBackgroundThread(0.5);  // main thread: immediate
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));

    std::atomic<bool> done{false};
    std::atomic<long long> pausedMs{0};
    std::thread worker([&] {
        auto t0 = std::chrono::steady_clock::now();
        ov::ThreadHandler::pauseBackgroundThread(0.1);
        pausedMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::steady_clock::now() - t0)
                       .count();
        ov::ThreadHandler::pauseBackgroundThread(0);  // returns at once
        done = true;
    });
    EXPECT_TRUE(ovtest::pumpMainUntil([&] { return done.load(); }));
    worker.join();
    EXPECT_GE(pausedMs.load(), 95);
}
