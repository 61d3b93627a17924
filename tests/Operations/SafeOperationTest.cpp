// SafeOperation: every row of the state table with its notifications in
// order and exactly one completion callback; the start/cancel race rule;
// hand-over to the callback queue; expiration; the unguarded mode.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Operations/SafeOperation.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/DynamicTask.h"
#include "Operations/RecordingTask.h"
#include "support/Eventually.h"
#include "support/Interleaving.h"

using namespace ov;
using ovtest::EventLog;
using ovtest::RecordingTask;
using Events = std::vector<std::string>;

namespace {

struct Fixture {
    std::shared_ptr<EventLog> log = std::make_shared<EventLog>();
    std::shared_ptr<RecordingTask> task;
    std::shared_ptr<SafeOperation> op;
    std::atomic<int> callbacks{0};

    explicit Fixture(
        std::shared_ptr<StoredOperationConfiguration> config = ovtest::inlineConfiguration()) {
        task = std::make_shared<RecordingTask>(log, std::move(config));
        op = SafeOperation::make(task);
        ovtest::observeAll(*op, log);
        op->setCallBackClosure([this] { ++callbacks; });
    }
    bool flags(bool ready, bool executing, bool finished, bool cancelled) const {
        return op->isReady() == ready && op->isExecuting() == executing &&
               op->isFinished() == finished && op->isCancelled() == cancelled;
    }
};

// The notifications of one transition from `from` to `to`.
Events transition(const std::string& from, const std::string& to) {
    return {"task-will:" + from + ">" + to, "will:" + to, "will:" + from, "did:" + from,
            "did:" + to};
}
Events concat(Events a, const Events& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
const Events kFinishedPair = {"will:isFinished", "did:isFinished"};

}  // namespace

TEST(SafeOperationTest, MakeWiresTheTaskAndCopiesItsSettings) {
    auto log = std::make_shared<EventLog>();
    auto config = std::make_shared<DefaultOperationConfiguration>();
    config->setIsAsync(false);
    auto task = std::make_shared<RecordingTask>(log, config);
    task->priority_ = TaskPriority::shared(TaskPriority::high);
    task->qos_ = TaskQualityOfService::high;
    auto op = SafeOperation::make(task);
    EXPECT_EQ(task->operationBridge(), op);
    EXPECT_EQ(op->task(), task);
    EXPECT_EQ(op->queuePriority(), 4);
    EXPECT_EQ(op->qualityOfService(), QualityOfService::userInitiated);
    EXPECT_EQ(op->callBackQueue(), sharedCallBackQueue());
    EXPECT_FALSE(op->isAsynchronous());
    EXPECT_TRUE(op->isReady());
    EXPECT_FALSE(op->isOperating());
    EXPECT_TRUE(op->isInState(OperationStateReady{}));

    // Without an operation configuration: asynchronous, guarded, no callback queue.
    auto bare = std::make_shared<RecordingTask>(log, nullptr);
    auto bareOp = SafeOperation::make(bare);
    EXPECT_TRUE(bareOp->isAsynchronous());
    EXPECT_TRUE(bareOp->isGuarded());
    EXPECT_EQ(bareOp->callBackQueue(), nullptr);

    // A priority that is not a TaskPriority leaves the queue priority alone.
    struct Odd : PriorityValue {
        int intValue() const override { return 6; }
    };
    auto odd = std::make_shared<RecordingTask>(log, nullptr);
    odd->priority_ = std::make_shared<Odd>();
    EXPECT_EQ(SafeOperation::make(odd)->queuePriority(), 0);
}

// Every row of the state table: the notifications of the last call in order,
// the four flags after it, and how many callbacks ran (exactly one once finished).
TEST(SafeOperationStateTableTest, EveryRowWithItsNotificationsFlagsAndCallback) {
    using Step = std::function<void(SafeOperation&)>;
    const Step start = [](SafeOperation& op) { op.start(); };
    const Step cancel = [](SafeOperation& op) { op.cancel(); };
    const Step finish = [](SafeOperation& op) { op.finish(); };
    const Step none = [](SafeOperation&) {};
    auto update = [](const TaskState& s) {
        return Step([&s](SafeOperation& op) { EXPECT_TRUE(op.update(s)); });
    };
    auto then = [](Step a, Step b) { return Step([a, b](SafeOperation& op) { a(op), b(op); }); };
    auto ended = [](const std::string& from, const std::string& to) {
        Events e = transition(from, to);
        if (to == "isCancelled") e = concat(e, kFinishedPair);
        return concat(e, {"task-did:" + from + ">" + to});
    };
    const Step ignoredAfterEnd =
        then(then(then(cancel, finish), then(update(OperationStateCanceled::instance()),
                                             update(OperationStateFinished::instance()))),
             start);
    struct Row {
        const char* name;
        Step before, last;
        Events events;
        bool ready, executing, finished;
        int callbacks;
    };
    const Row rows[] = {
        {"start", none, start, ended("isReady", "isExecuting"), false, true, false, 0},
        {"finish running", start, finish, ended("isExecuting", "isFinished"), false, false, true,
         1},
        {"cancel running", start, cancel, ended("isExecuting", "isCancelled"), false, false, true,
         1},
        {"update canceled", start, update(OperationStateCanceled::instance()),
         ended("isExecuting", "isCancelled"), false, false, true, 1},
        {"update terminated", start, update(OperationStateTerminated::instance()),
         ended("isExecuting", "isCancelled"), false, false, true, 1},
        {"early cancel", none, cancel, ended("isReady", "isTerminated"), true, false, false, 0},
        {"start after early cancel", cancel, start, ended("isTerminated", "isCancelled"), false,
         false, true, 1},
        {"executing after early cancel", cancel, update(OperationStateExecuting::instance()),
         ended("isTerminated", "isCancelled"), false, false, true, 1},
        {"early finish", none, finish, ended("isReady", "isPrematurelyFinished"), true, false,
         false, 0},
        {"early update finished", none, update(OperationStateFinished::instance()),
         ended("isReady", "isPrematurelyFinished"), true, false, false, 0},
        {"start after early finish", finish, start, ended("isPrematurelyFinished", "isFinished"),
         false, false, true, 1},
        {"after finishing", then(start, finish), ignoredAfterEnd, {}, false, false, true, 1},
        {"after cancelling", then(start, cancel), ignoredAfterEnd, {}, false, false, true, 1},
    };
    for (const Row& row : rows) {
        Fixture f;
        row.before(*f.op);
        f.log->take();
        row.last(*f.op);
        EXPECT_EQ(f.log->take(), row.events) << row.name;
        EXPECT_TRUE(f.flags(row.ready, row.executing, row.finished, false)) << row.name;
        EXPECT_EQ(f.callbacks.load(), row.callbacks) << row.name;
    }
}

TEST(SafeOperationStateTableTest, EarlyCancelLogsTheCallStackWhenItEnds) {
    auto capture = ovlog::CaptureSink::attach();
    ovlog::OLog::setLevel("OperationTask", ovlog::Level::verbose);
    Fixture f;
    f.op->cancel();
    f.op->start();
    EXPECT_EQ(capture->countStartingWith("Operation canceled "), 1u);
    auto records = capture->records();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back().unit, "SafeOperation");
    EXPECT_EQ(records.back().function, "dispatchCancel()");
    EXPECT_EQ(records.back().level, ovlog::Level::verbose);
    EXPECT_NE(records.back().message.find("[\"0"), std::string::npos);  // the call stack
}

TEST(SafeOperationStateTableTest, PrematureFinishArmsNoTimer) {
    auto capture = ovlog::CaptureSink::attach();
    ovlog::OLog::setLevel("OperationTask", ovlog::Level::verbose);
    auto config = ovtest::inlineConfiguration();
    config->setExpiration(0.05);
    Fixture f(config);
    f.op->finish();
    f.op->start();
    EXPECT_TRUE(f.flags(false, false, true, false));
    // Had a timer been armed, it would have cancelled (and logged) by now.
    EXPECT_FALSE(
        ovtest::eventually([&] { return capture->countStartingWith("Operation") > 0; }, 0.3));
}

TEST(SafeOperationStateTableTest, OtherStatesNeedTheTasksConsent) {
    Fixture f;
    f.op->start();
    f.log->take();
    f.task->accept = false;
    EXPECT_FALSE(f.op->update(TaskStatePaused{}));
    EXPECT_TRUE(f.log->take().empty());

    f.task->accept = true;
    EXPECT_TRUE(f.op->update(TaskStatePaused{}));
    EXPECT_EQ(f.log->take(),
              concat(transition("isExecuting", "isPaused"), {"task-did:isExecuting>isPaused"}));
    EXPECT_TRUE(f.op->isInState(TaskStatePaused{}));
    EXPECT_TRUE(f.flags(false, true, false, false));  // still executing to the queue
    EXPECT_TRUE(f.op->isOperating());

    EXPECT_TRUE(f.op->update(TaskStateResumed{}));
    f.log->take();
    f.op->finish();
    EXPECT_EQ(f.log->take(),
              concat(transition("isResumed", "isFinished"), {"task-did:isResumed>isFinished"}));
    EXPECT_EQ(f.callbacks.load(), 1);
}

TEST(SafeOperationTest, CallbackQueueCarriesFinishingAndTheCallback) {
    Fixture f(std::make_shared<DefaultOperationConfiguration>());
    std::atomic<bool> callbackOnSharedQueue{false};
    f.op->setCallBackClosure([&] {
        callbackOnSharedQueue = OperationQueue::current() == sharedCallBackQueue();
        ++f.callbacks;
    });
    auto queue = OperationQueue::make();
    queue->addOperation(f.op);
    ASSERT_TRUE(ovtest::eventually([&] { return f.op->isExecuting(); }));
    std::thread([&] { f.op->finish(); }).join();
    ASSERT_TRUE(ovtest::eventually([&] { return f.callbacks.load() == 1; }));
    EXPECT_TRUE(callbackOnSharedQueue.load());
    EXPECT_TRUE(f.op->isFinished());
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(queue->operationCount(), 0u);
    EXPECT_EQ(f.callbacks.load(), 1);
}

TEST(SafeOperationTest, ConsentedTransitionFromTheMainThreadIsHandedToTheCallbackQueue) {
    ASSERT_TRUE(MainRunLoop::isMainThread());
    auto config = std::make_shared<DefaultOperationConfiguration>();
    auto callbackQueue = OperationQueue::make("callbacks");
    callbackQueue->setMaxConcurrentOperationCount(1);
    config->setCallbackQueue(callbackQueue);
    Fixture f(config);
    std::shared_ptr<OperationQueue> ranOn;
    f.task->onWillChange = [&] { ranOn = OperationQueue::current(); };
    f.op->start();  // start applies at once
    EXPECT_EQ(ranOn, OperationQueue::main());
    EXPECT_TRUE(f.op->update(TaskStatePaused{}));
    ASSERT_TRUE(ovtest::eventually([&] { return f.op->isInState(TaskStatePaused{}); }));
    callbackQueue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ranOn, callbackQueue);
    // From another thread the transition applies at once, on that thread.
    std::thread([&] { f.op->update(TaskStateResumed{}); }).join();
    EXPECT_TRUE(f.op->isInState(TaskStateResumed{}));
    EXPECT_EQ(ranOn, nullptr);
    f.op->setCallBackClosure(nullptr);
    f.op->finish();
    callbackQueue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(f.op->isFinished());
}

TEST(SafeOperationTest, HandedOverTransitionIsDroppedWhenTheOperationIsGone) {
    auto config = std::make_shared<DefaultOperationConfiguration>();
    auto callbackQueue = OperationQueue::make("callbacks");
    callbackQueue->setSuspended(true);
    config->setCallbackQueue(callbackQueue);
    auto log = std::make_shared<EventLog>();
    auto task = std::make_shared<RecordingTask>(log, config);
    {
        auto op = SafeOperation::make(task);
        op->start();
        op->finish();  // queued on the suspended callback queue
        EXPECT_EQ(callbackQueue->operationCount(), 1u);
    }
    EXPECT_EQ(task->operationBridge(), nullptr);
    log->take();
    callbackQueue->setSuspended(false);
    callbackQueue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(log->take().empty());
}

TEST(SafeOperationTest, ExpirationCancelsARunningOperationAfterItsInterval) {
    auto capture = ovlog::CaptureSink::attach();
    ovlog::OLog::setLevel("OperationTask", ovlog::Level::verbose);
    auto config = std::make_shared<DefaultOperationConfiguration>();
    config->setExpiration(2.0);
    Fixture f(config);
    auto queue = OperationQueue::make();
    auto started = std::chrono::steady_clock::now();
    queue->addOperation(f.op);
    ASSERT_TRUE(ovtest::eventually([&] { return f.callbacks.load() == 1; }, 10.0));
    double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_GE(elapsed, 1.9);
    EXPECT_LT(elapsed, 5.0);
    EXPECT_TRUE(f.op->isFinished());
    EXPECT_TRUE(f.op->isInState(OperationStateCanceled{}));
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(capture->countStartingWith("Operation canceled "), 1u);
    auto events = f.log->events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "did:isFinished"), 1);
}

TEST(SafeOperationTest, UnguardedOperationTakesNoLockWhileNotifying) {
    // An observer blocks inside a transition while another thread tests the
    // state: guarded, that thread waits for the lock; unguarded, it does not.
    for (bool threadSafe : {true, false}) {
        auto config = ovtest::inlineConfiguration();
        config->setIsThreadSafe(threadSafe);
        Fixture f(config);
        EXPECT_EQ(f.op->isGuarded(), threadSafe);
        std::future_status status{};
        std::future<bool> probe;  // outlives the observer: its destructor waits for the probe
        f.op->addObserver("isExecuting", [&](std::string_view, KeyValueChange change) {
            if (change != KeyValueChange::willChange) return;
            probe = std::async(std::launch::async,
                               [&] { return f.op->isInState(OperationStateReady{}); });
            status = probe.wait_for(std::chrono::milliseconds(threadSafe ? 200 : 5000));
        });
        f.op->start();
        EXPECT_EQ(status, threadSafe ? std::future_status::timeout : std::future_status::ready);
        probe.wait();
        f.op->finish();
        EXPECT_EQ(f.callbacks.load(), 1);
    }
}

// Every pair of outside calls on one operation, in both orders (the first
// call held at its hand-over point until the second has returned) and raced
// freely, with and without a callback queue, and with an expiration timer
// racing them all. Each run ends Finished with exactly one callback: on its
// own when an end was asked for (cancel, finish), else when the work finishes.
TEST(SafeOperationRaceTest, EveryPairOfCallsEndsWithExactlyOneCallback) {
    if (!ov::interleaving::available()) GTEST_SKIP() << "interleaving points not compiled in";
    enum Call { kStart, kCancel, kFinish, kPause, kResume };
    const char* names[] = {"start", "cancel", "finish", "pause", "resume"};
    struct IdleWork : DynamicTask {
        void didExecute() override {}  // the run decides when the work ends
    };
    auto call = [](SafeOperation& op, Call c) {
        switch (c) {
            case kStart:
                op.start();
                break;
            case kCancel:
                op.cancel();
                break;
            case kFinish:
                op.finish();
                break;
            case kPause:
                op.update(TaskStatePaused::instance());
                break;
            case kResume:
                op.update(TaskStateResumed::instance());
                break;
        }
    };
    enum Variant { kInline, kCallbackQueue, kExpiring };
    for (int variant : {kInline, kCallbackQueue, kExpiring}) {
        for (int a = kStart; a <= kResume; ++a) {
            for (int b = a; b <= kResume; ++b) {
                if (a == kStart && b == kStart) continue;  // a queue starts an operation once
                for (int order = 0; order < 12; ++order) {
                    auto config = variant == kInline
                                      ? ovtest::inlineConfiguration()
                                      : std::make_shared<DefaultOperationConfiguration>();
                    if (variant == kExpiring) config->setExpiration(0.0005);
                    auto task = std::make_shared<IdleWork>();
                    task->setOperationConfiguration(config);
                    auto op = SafeOperation::make(task);
                    auto callbacks = std::make_shared<std::atomic<int>>(0);
                    op->setCallBackClosure([callbacks] { ++*callbacks; });
                    auto first = [&] { call(*op, static_cast<Call>(a)); };
                    auto second = [&] { call(*op, static_cast<Call>(b)); };
                    if (order == 0) {
                        ovtest::runInterleaved(first, second);
                    } else if (order == 1) {
                        ovtest::runInterleaved(second, first);
                    } else {
                        std::atomic<int> ready{0};
                        std::thread t([&] {
                            ++ready;
                            while (ready.load() < 2) {
                            }
                            first();
                        });
                        ++ready;
                        while (ready.load() < 2) {
                        }
                        second();
                        t.join();
                    }
                    const std::string what = std::string(names[a]) + "+" + names[b] + " variant " +
                                             std::to_string(variant) + " order " +
                                             std::to_string(order);
                    if (a != kStart) op->start();  // the queue starts whatever it holds
                    const bool endAsked = a == kCancel || a == kFinish || b == kCancel ||
                                          b == kFinish || variant == kExpiring;
                    if (!endAsked) {
                        ASSERT_FALSE(op->isFinished()) << what;
                        task->resume();
                        op->finish();
                    }
                    ASSERT_TRUE(ovtest::eventually([&] { return op->isFinished(); }, 10.0))
                        << what << " is stuck";
                    if (variant != kInline)
                        sharedCallBackQueue()->waitUntilAllOperationsAreFinished();
                    ASSERT_TRUE(ovtest::eventually([&] { return callbacks->load() >= 1; })) << what;
                    EXPECT_EQ(callbacks->load(), 1) << what;
                    EXPECT_FALSE(op->isExecuting()) << what;
                }
            }
        }
    }
}

// The two finish races, in the exact order that used to leave the
// operation executing for ever: the finish decided on "ready", then the start.
TEST(SafeOperationRaceTest, AFinishThatLandsWhileTheOperationStartsEndsIt) {
    if (!ov::interleaving::available()) GTEST_SKIP() << "interleaving points not compiled in";
    Fixture f;
    ovtest::runInterleaved([&] { f.op->finish(); }, [&] { f.op->start(); });
    EXPECT_EQ(f.log->take(),
              concat(concat(transition("isReady", "isExecuting"), {"task-did:isReady>isExecuting"}),
                     concat(transition("isExecuting", "isFinished"),
                            {"task-did:isExecuting>isFinished"})));
    EXPECT_TRUE(f.flags(false, false, true, false));
    EXPECT_EQ(f.callbacks.load(), 1);

    Fixture g;  // the start decided on "ready", then the early finish
    ovtest::runInterleaved([&] { g.op->start(); }, [&] { g.op->finish(); });
    EXPECT_TRUE(g.flags(false, false, true, false));
    EXPECT_EQ(g.callbacks.load(), 1);
}

TEST(SafeOperationTest, CancelledWhileQueuedItIsStartedAndLeavesTheQueueFinished) {
    auto queue = OperationQueue::make();
    queue->setSuspended(true);
    std::vector<std::unique_ptr<Fixture>> fixtures;
    for (int i = 0; i < 5; ++i) {
        fixtures.push_back(std::make_unique<Fixture>());
        queue->addOperation(fixtures.back()->op);
    }
    queue->cancelAllOperations();
    for (auto& f : fixtures) {
        EXPECT_TRUE(f->op->isReady());
        f->log->take();
    }
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    // The queue lets an operation go when it announces "isFinished"; the
    // task's didChange hook and the callback follow on the operation's thread.
    ASSERT_TRUE(ovtest::eventually([&] {
        for (auto& f : fixtures) {
            if (f->callbacks.load() != 1 || f->log->events().size() != 8) return false;
        }
        return true;
    }));
    for (auto& f : fixtures) {
        EXPECT_EQ(f->log->take(),
                  concat(concat(transition("isTerminated", "isCancelled"), kFinishedPair),
                         {"task-did:isTerminated>isCancelled"}));
        EXPECT_EQ(f->callbacks.load(), 1);
    }
    EXPECT_EQ(queue->operationCount(), 0u);
}
