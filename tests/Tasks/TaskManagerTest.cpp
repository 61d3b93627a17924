// The task manager end to end: admission, priority suspension and
// resumption, dependencies, duplicates and exclusivity, cancellation,
// expiration, pausing, disposable queues, and the manager's idle/index state
// around all of them. Every test uses its own manager.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Operations/OperationState.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "Tasks/TaskTestSupport.h"
#include "support/Interleaving.h"
#include "support/MainQueuePump.h"

using namespace ov;
using namespace ovtest;

namespace {

class TaskManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        previousLevel_ = ovlog::Module::named("OperationTask").level();
        ovlog::OLog::setLevel("OperationTask", ovlog::Level::debug);
        manager = TaskManager::make(TaskManager::defaultConfigurations());
    }
    void TearDown() override {
        EXPECT_TRUE(settles(manager)) << "manager did not end idle with an empty index";
        ovlog::OLog::setLevel("OperationTask", previousLevel_);
    }

    std::shared_ptr<DynamicTask> dynamicTask(std::string id, EventLog& log, std::string name) {
        auto task = DynamicTask::make();
        task->setTaskExecutor(manager);
        task->setTaskId(std::move(id));
        task->setResult(succeeded());  // the base work finishes with the stored result
        task->setCompletionClosure([log, name](std::shared_ptr<TaskResult> r) {
            log.add(name + (r && r->success() ? " done" : " failed"));
        });
        return task;
    }

    std::shared_ptr<TaskManager> manager;
    EventLog log;

  private:
    ovlog::Level previousLevel_ = ovlog::Level::warning;
};

std::shared_ptr<StoredOperationConfiguration> configWith(double expiration, bool deIndexFirst) {
    auto config = std::make_shared<DefaultOperationConfiguration>();
    config->setExpiration(expiration);
    config->setDeIndexBeforeCompletion(deIndexFirst);
    return config;
}

}  // namespace

TEST_F(TaskManagerTest, FreshManagersAndQueuesMadeOnDemand) {
    EXPECT_NE(TaskManager::defaultConfigurations()[0].get(),
              TaskManager::defaultConfigurations()[0].get());  // new values on every call
    EXPECT_EQ(manager->queuePriorities(), (std::vector<int>{-4, 0, 4}));
    EXPECT_EQ(manager->operationQueue(-4)->maxConcurrentOperationCount(), 1);
    EXPECT_EQ(manager->operationQueue(0)->maxConcurrentOperationCount(), -1);
    EXPECT_EQ(manager->operationQueue(4)->maxConcurrentOperationCount(), 1);
    EXPECT_TRUE(manager->isIdle());
    EXPECT_FALSE(manager->taskExists("--standard-task-nothing"));

    auto empty = TaskManager::make(std::nullopt);
    EXPECT_TRUE(empty->queuePriorities().empty());
    auto task = loggedTask(empty, log, "veryHigh", TaskPriority::veryHigh);
    task->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("veryHigh done"); }));
    EXPECT_EQ(empty->queuePriorities(), (std::vector<int>{8}));
    auto queue = empty->operationQueue(8);
    ASSERT_TRUE(queue);
    EXPECT_EQ(queue->name(), std::optional<std::string>("--task-manager-dynamic-queue"));
    EXPECT_EQ(queue->maxConcurrentOperationCount(), 1);
    EXPECT_TRUE(settles(empty));

    // Two configurations for one band: the later one's queue is kept.
    auto first = std::make_shared<SerialQueueConfiguration>();
    auto second = std::make_shared<ConcurrentQueueConfiguration>();
    auto twice = TaskManager::make(TaskManager::Configurations{first, second});
    EXPECT_EQ(twice->queuePriorities(), (std::vector<int>{0}));
    EXPECT_EQ(twice->operationQueue(0)->maxConcurrentOperationCount(), -1);
}

TEST_F(TaskManagerTest, ATaskRunsOnceAndLeavesTheIndexWithTheLoggedLifecycle) {
    auto capture = ovlog::CaptureSink::attach();
    std::atomic<int> completions{0};
    std::shared_ptr<TaskResult> received;
    auto task = StandardClosureTask::make(
        [](GeneralTask&) { return std::make_shared<IndexableTaskResult>(true, std::nullopt, ""); });
    task->setTaskExecutor(manager);
    std::mutex m;
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        std::lock_guard lock(m);
        received = r;
        ++completions;
    });
    EXPECT_EQ(task->taskId().rfind("--standard-closure-task-", 0), 0u);
    task->execute();
    ASSERT_TRUE(settles(manager));
    ASSERT_TRUE(eventually([&] { return completions.load() == 1; }));
    EXPECT_FALSE(manager->taskExists(task->taskId()));
    {
        std::lock_guard lock(m);
        ASSERT_TRUE(received);
        EXPECT_TRUE(received->success());
        auto indexed = std::dynamic_pointer_cast<TaskResultIndexable>(received);
        ASSERT_TRUE(indexed);
        EXPECT_EQ(indexed->taskId(), task->taskId());  // the result names its task
    }
    EXPECT_FALSE(task->markCancelled());
    EXPECT_EQ(capture->countStartingWith(
                  "adding task StandardClosureTask existingCount:0 suspended:false"),
              1u);
    EXPECT_EQ(
        capture->countStartingWith("task StandardClosureTask finish with result success:true"), 1u);
    EXPECT_EQ(capture->countStartingWith(":::: start checking all queues"), 1u);
    bool sawUnit = false;
    for (const auto& r : capture->records()) {
        if (r.message.rfind("adding task ", 0) == 0) {
            EXPECT_EQ(r.unit, "TaskManager");
            EXPECT_EQ(r.function, "addToQueue(_:)");
            EXPECT_EQ(r.level, ovlog::Level::debug);
            EXPECT_EQ(r.module, "OperationTask");
            sawUnit = true;
        }
        if (r.message.rfind("task StandardClosureTask finish", 0) == 0) {
            EXPECT_EQ(r.unit, "GeneralTask");
            EXPECT_EQ(r.function, "finish()");
        }
    }
    EXPECT_TRUE(sawUnit);
    // Nothing more arrives later.
    EXPECT_FALSE(happensWithin([&] { return completions.load() > 1; }, 0.2));
}

TEST_F(TaskManagerTest, HigherPriorityWorkHoldsLowerQueuesUntilItDrains) {
    auto capture = ovlog::CaptureSink::attach();
    Gate highGate, mediumGate;
    auto high = loggedTask(manager, log, "high", TaskPriority::high, &highGate);
    high->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("high start"); }));

    auto medium = loggedTask(manager, log, "medium", TaskPriority::medium, &mediumGate);
    auto low = loggedTask(manager, log, "low", TaskPriority::low);
    medium->execute();
    low->execute();
    EXPECT_FALSE(manager->isIdle());
    EXPECT_TRUE(manager->taskExists(medium->taskId()));
    EXPECT_FALSE(happensWithin(
        [&] { return log.contains("medium start") || log.contains("low start"); }, 0.3));
    EXPECT_TRUE(manager->operationQueue(0)->isSuspended());
    EXPECT_TRUE(manager->operationQueue(-4)->isSuspended());

    highGate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("medium start"); }));
    // Medium now runs, but low still waits for it.
    EXPECT_FALSE(happensWithin([&] { return log.contains("low start"); }, 0.3));
    EXPECT_TRUE(manager->operationQueue(-4)->isSuspended());
    mediumGate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("low done"); }));
    EXPECT_LT(log.indexOf("high done"), log.indexOf("medium start"));
    EXPECT_LT(log.indexOf("medium end"), log.indexOf("low start"));
    EXPECT_FALSE(manager->operationQueue(-4)->isSuspended());
    EXPECT_FALSE(manager->operationQueue(0)->isSuspended());

    // The suspension and resumption, as logged.
    for (const char* line :
         {"lower priority than 4 suspend queue priority -4",
          "lower priority than 4 suspend queue priority 0",
          "queue with priority 4 with operation count: 1",
          "dependency with high priority 4 to priority queue:0",
          "should enable queue lower than priority 4", "enable queue with priority 0",
          "queue with priority 0 with operation count: 1",
          "should enable queue lower than priority 0", "enable queue with priority -4"}) {
        EXPECT_GE(capture->countStartingWith(line), 1u) << line;
    }
    EXPECT_EQ(capture->countStartingWith(
                  "adding task StandardClosureTask existingCount:0 suspended:true"),
              2u);
    for (const auto& r : capture->records()) {
        if (r.message.rfind("enable queue with priority", 0) == 0) {
            EXPECT_EQ(r.function, "enableQueues(thatHavePriorityLowerThan:)");
            EXPECT_EQ(r.unit, "TaskManager");
        }
        if (r.message.rfind("should enable queue", 0) == 0) {
            EXPECT_EQ(r.function, "completeOperation(taskId:priority:)");
        }
    }
}

TEST_F(TaskManagerTest, ARunningLowTaskIsNotInterruptedButTheNextOneWaitsForHigh) {
    Gate lowGate, highGate;
    auto low1 = loggedTask(manager, log, "low1", TaskPriority::low, &lowGate);
    auto low2 = loggedTask(manager, log, "low2", TaskPriority::low);
    low1->execute();
    low2->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("low1 start"); }));
    auto high = loggedTask(manager, log, "high", TaskPriority::high, &highGate);
    high->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("high start"); }));
    lowGate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("low1 done"); }));
    EXPECT_FALSE(happensWithin([&] { return log.contains("low2 start"); }, 0.3));
    highGate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("low2 done"); }));
    EXPECT_LT(log.indexOf("high end"), log.indexOf("low2 start"));
}

TEST_F(TaskManagerTest, ChainsAndFanInStartOnlyAfterEveryBlockingTask) {
    // Chain: a -> b -> c, submitted in reverse.
    auto a = loggedTask(manager, log, "a");
    auto b = loggedTask(manager, log, "b");
    auto c = loggedTask(manager, log, "c");
    b->depend(a);
    c->depend(b);
    c->execute();
    b->execute();
    EXPECT_TRUE(manager->taskExists(c->taskId()));  // registered while waiting
    a->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("c done"); }));
    EXPECT_LT(log.indexOf("a end"), log.indexOf("b start"));
    EXPECT_LT(log.indexOf("b end"), log.indexOf("c start"));
    ASSERT_TRUE(settles(manager));
    ASSERT_EQ(b->previousResults().size(), 1u);
    EXPECT_EQ(b->previousResults()[0], a->result());
    EXPECT_TRUE(b->dependencies().empty());

    // Fan-in: d waits for three gated tasks on the concurrent queue.
    Gate g1, g2, g3;
    auto p1 = loggedTask(manager, log, "p1", TaskPriority::medium, &g1);
    auto p2 = loggedTask(manager, log, "p2", TaskPriority::medium, &g2);
    auto p3 = loggedTask(manager, log, "p3", TaskPriority::medium, &g3);
    auto d = loggedTask(manager, log, "d", TaskPriority::medium);
    d->depend(p1);
    d->depend(p2);
    d->executeAfter(p3);
    p1->execute();
    p2->execute();
    p3->execute();
    g2.open();
    g1.open();
    ASSERT_TRUE(eventually([&] { return log.contains("p1 done") && log.contains("p2 done"); }));
    EXPECT_FALSE(happensWithin([&] { return log.contains("d start"); }, 0.3));
    g3.open();
    ASSERT_TRUE(eventually([&] { return log.contains("d done"); }));
    EXPECT_LT(log.indexOf("p3 end"), log.indexOf("d start"));
    ASSERT_TRUE(settles(manager));
    EXPECT_EQ(d->previousResults().size(), 3u);
}

TEST_F(TaskManagerTest, ACancelledBlockingTaskLeavesItsDependantWaiting) {
    auto capture = ovlog::CaptureSink::attach();
    Gate gate;
    auto blocker = loggedTask(manager, log, "blocker", TaskPriority::medium, &gate);
    auto waiting = loggedTask(manager, log, "waiting");
    waiting->executeAfter(blocker);
    waiting->execute();  // the same waiting task again: a duplicate
    ASSERT_TRUE(eventually([&] { return capture->countStartingWith("duplication of ") == 1; }));
    blocker->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("blocker start"); }));
    blocker->abort(Error{"test", 1, "stop"});
    // The cancelled operation ends, and its completion runs, while the work
    // still runs; the work's own result arrives later and is only stored.
    ASSERT_TRUE(eventually([&] { return log.contains("blocker failed"); }));
    EXPECT_TRUE(blocker->markCancelled());
    gate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("blocker end"); }));
    EXPECT_FALSE(happensWithin([&] { return log.contains("waiting start"); }, 0.3));
    EXPECT_TRUE(manager->taskExists(waiting->taskId()));
    EXPECT_FALSE(manager->taskExists(blocker->taskId()));
    EXPECT_TRUE(manager->isIdle());  // nothing queued: the dependant is only registered

    // Aborting the waiting task completes it once and removes it.
    waiting->abort(Error{"test", 2});
    ASSERT_TRUE(eventually([&] { return log.contains("waiting failed"); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_FALSE(log.contains("waiting start"));
}

TEST_F(TaskManagerTest, DuplicatesRunOnceAndShareTheResult) {
    auto capture = ovlog::CaptureSink::attach();
    Gate gate;
    std::atomic<int> runs{0};
    class Counting : public DynamicTask {
      public:
        Counting(std::atomic<int>& runs, Gate& gate) : runs_(runs), gate_(gate) {}
        void didExecute() override {
            ++runs_;
            gate_.wait();
            setResult(std::make_shared<GeneralTaskResult>(true, std::nullopt));
            finish();
        }
        std::atomic<int>& runs_;
        Gate& gate_;
    };
    auto first = std::make_shared<Counting>(runs, gate);
    first->setTaskExecutor(manager);
    first->setTaskId("--dynamic-task-shared");
    std::shared_ptr<TaskResult> firstResult, secondResult;
    std::mutex m;
    first->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        std::lock_guard lock(m);
        firstResult = r;
    });
    auto second = std::make_shared<Counting>(runs, gate);
    second->setTaskExecutor(manager);
    second->setTaskId("--dynamic-task-shared");
    // Absorbed, it is still called back where its own configuration says.
    second->setOperationConfiguration(std::make_shared<MainQueueOperationConfiguration>());
    std::atomic<bool> secondOnMain{false};
    second->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        secondOnMain = MainRunLoop::isMainThread();
        std::lock_guard lock(m);
        secondResult = r;
    });
    first->execute();
    second->execute();
    first->execute();  // the same object again
    ASSERT_TRUE(eventually([&] { return runs.load() == 1; }));
    ASSERT_TRUE(eventually([&] { return capture->countStartingWith("duplication of ") == 2; }));
    gate.open();
    ASSERT_TRUE(pumpMainUntil([&] {
        std::lock_guard lock(m);
        return firstResult && secondResult;
    }));
    ASSERT_TRUE(settles(manager));
    EXPECT_TRUE(secondOnMain.load());
    EXPECT_EQ(runs.load(), 1);
    std::lock_guard lock(m);
    EXPECT_EQ(firstResult, secondResult);
    EXPECT_TRUE(secondResult->success());
    EXPECT_EQ(capture->countStartingWith("duplication of Counting is found in indexer"), 2u);
    for (const auto& r : capture->records()) {
        if (r.message.rfind("duplication of ", 0) == 0) {
            EXPECT_EQ(r.level, ovlog::Level::warning);
        }
    }
    EXPECT_EQ(capture->countStartingWith("adding task Counting"), 1u);
}

TEST_F(TaskManagerTest, ExclusiveIdsRefuseTheSecondTaskOnlyWhenTheIdsMatch) {
    auto capture = ovlog::CaptureSink::attach();
    Gate gate;
    auto holder = dynamicTask("--dynamic-task-ex", log, "holder");
    holder->setExclusiveId("player");
    auto same = dynamicTask("--dynamic-task-ex", log, "same");
    same->setExclusiveId("player");
    auto other = dynamicTask("--dynamic-task-other", log, "other");
    other->setExclusiveId("player");
    // Hold the first one in its queue behind a gated task.
    auto blocker = loggedTask(manager, log, "blocker", TaskPriority::medium, &gate);
    blocker->execute();
    holder->execute();
    same->execute();
    other->execute();
    ASSERT_TRUE(eventually([&] { return capture->countStartingWith("duplication of ") == 1; }));
    gate.open();
    ASSERT_TRUE(
        eventually([&] { return log.contains("holder done") && log.contains("other done"); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_FALSE(log.contains("same done"));  // refused, not absorbed as a duplicate
    EXPECT_TRUE(holder->duplicatedTasks().empty());
}

TEST_F(TaskManagerTest, CancellingBeforeAndAfterStart) {
    // Queued behind a gated task on the serial low queue, cancelled before it starts.
    Gate gate;
    auto first = loggedTask(manager, log, "first", TaskPriority::low, &gate);
    auto queued = loggedTask(manager, log, "queued", TaskPriority::low);
    first->execute();
    queued->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("first start"); }));
    ASSERT_TRUE(manager->taskExists(queued->taskId()));
    manager->cancelTask(queued->taskId(), Error{"test", 7});
    ASSERT_TRUE(eventually([&] { return queued->markCancelled(); }));  // cancelTask is asynchronous
    gate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("queued failed"); }));
    EXPECT_FALSE(log.contains("queued start"));
    EXPECT_EQ(queued->result()->error(), (std::optional<Error>(Error{"test", 7})));

    // Running (an asynchronous task that never reports), cancelled through the manager.
    std::atomic<bool> started{false};
    auto hanging = StandardAsyncClosureTask::make(
        [&](GeneralTask&, StandardAsyncClosureTask::Callback) { started = true; });
    hanging->setTaskExecutor(manager);
    hanging->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        log.add(r->success() ? "hanging done" : "hanging failed");
    });
    hanging->execute();
    ASSERT_TRUE(eventually([&] { return started.load(); }));
    EXPECT_FALSE(manager->isIdle());
    hanging->abort(Error{"test", 8});
    ASSERT_TRUE(eventually([&] { return log.contains("hanging failed"); }));
    EXPECT_TRUE(hanging->markCancelled());
    ASSERT_TRUE(settles(manager));
    EXPECT_TRUE(manager->isIdle());
    // cancelTask of an unknown id does nothing at all.
    manager->cancelTask("--standard-task-unknown", std::nullopt);
}

TEST_F(TaskManagerTest, CancelAllTasksByPriorityQueryAndEverything) {
    Gate gate;
    auto blocker = loggedTask(manager, log, "blocker", TaskPriority::high, &gate);
    blocker->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("blocker start"); }));
    auto low = loggedTask(manager, log, "low", TaskPriority::low);
    auto medium = loggedTask(manager, log, "medium", TaskPriority::medium);
    auto picked = loggedTask(manager, log, "picked", TaskPriority::medium);
    auto waiting = loggedTask(manager, log, "waiting", TaskPriority::medium);
    low->execute();
    medium->execute();
    picked->execute();
    waiting->executeAfter(blocker);
    manager->cancelAllTasks(TaskPriority(TaskPriority::low));
    const std::string pickedId = picked->taskId();
    manager->cancelAllTasks(
        [pickedId](const std::shared_ptr<TaskIndexable>& t) { return t->taskId() == pickedId; });
    gate.open();
    ASSERT_TRUE(eventually([&] {
        return log.contains("low failed") && log.contains("picked failed") &&
               log.contains("medium done") && log.contains("waiting done");
    }));
    EXPECT_FALSE(log.contains("low start"));
    EXPECT_FALSE(log.contains("picked start"));
    ASSERT_TRUE(settles(manager));

    // Everything: queued tasks of every band end cancelled.
    Gate gate2;
    auto holder = loggedTask(manager, log, "holder", TaskPriority::veryHigh, &gate2);
    holder->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("holder start"); }));
    auto x = loggedTask(manager, log, "x", TaskPriority::high);
    auto y = loggedTask(manager, log, "y", TaskPriority::medium);
    auto after = loggedTask(manager, log, "after", TaskPriority::medium);
    after->executeAfter(holder);  // an outside cancel of its blocker lets it run
    x->execute();
    y->execute();
    manager->cancelAllTasks();
    // The running operation is cancelled too; its work's late result is dropped.
    ASSERT_TRUE(eventually([&] { return log.contains("holder failed"); }));
    gate2.open();
    // The cancelled work still runs to its end: wait for it before the log goes away.
    ASSERT_TRUE(eventually([&] { return log.contains("holder end"); }));
    ASSERT_TRUE(eventually([&] { return log.contains("x failed") && log.contains("y failed"); }));
    EXPECT_FALSE(log.contains("x start"));
    EXPECT_FALSE(log.contains("y start"));
    ASSERT_TRUE(eventually([&] { return log.contains("after done"); }));
    EXPECT_FALSE(holder->markCancelled());  // cancelled from outside: the task is not marked
}

TEST_F(TaskManagerTest, ExpirationCancelsARunningTask) {
    auto task = StandardAsyncClosureTask::make(
        [](GeneralTask&, StandardAsyncClosureTask::Callback) { /* never reports */ });
    task->setTaskExecutor(manager);
    task->setOperationConfiguration(configWith(0.3, false));
    std::atomic<int> completions{0};
    std::atomic<bool> success{true};
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        success = r->success();
        ++completions;
    });
    // Expiry is an outside cancel of the operation: the task is not marked,
    // so a task waiting for it runs (and nothing stays in the index).
    auto dependant = loggedTask(manager, log, "dependant");
    dependant->executeAfter(task);
    auto started = std::chrono::steady_clock::now();
    task->execute();
    ASSERT_TRUE(eventually([&] { return completions.load() == 1; }));
    auto elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_GE(elapsed, 0.25);
    EXPECT_FALSE(success.load());
    EXPECT_FALSE(task->markCancelled());
    ASSERT_TRUE(eventually([&] { return log.contains("dependant done"); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_EQ(completions.load(), 1);
}

TEST_F(TaskManagerTest, DeIndexBeforeCompletionDecidesWhatTheCompletionSees) {
    for (bool first : {false, true}) {
        std::atomic<int> seen{-1};
        auto task = StandardClosureTask::make([](GeneralTask&) { return succeeded(); });
        task->setTaskExecutor(manager);
        task->setOperationConfiguration(configWith(0, first));
        auto id = task->taskId();
        task->setCompletionClosure([&, id](std::shared_ptr<TaskResult>) {
            seen = manager->taskExists(id) ? 1 : 0;  // runs on the callback queue
        });
        task->execute();
        ASSERT_TRUE(eventually([&] { return seen.load() != -1; }));
        EXPECT_EQ(seen.load(), first ? 0 : 1) << "deIndexBeforeCompletion " << first;
        ASSERT_TRUE(settles(manager));
    }
}

namespace {

// Works in steps with a pausable point before each; `step` counts finished steps.
class SteppingTask : public DynamicTask {
  public:
    explicit SteppingTask(Gate& firstStep) : firstStep_(firstStep) {}
    void didExecute() override {
        firstStep_.wait();
        for (int i = 0; i < 3; ++i) {
            markPausablePoint();
            if (markCancelled()) return;
            ++step;
        }
        setResult(std::make_shared<GeneralTaskResult>(true, std::nullopt));
        finish();
    }
    std::atomic<int> step{0};

  private:
    Gate& firstStep_;
};

}  // namespace

TEST_F(TaskManagerTest, PauseHoldsTheWorkAtItsNextPausablePointUntilResume) {
    Gate firstStep;
    auto task = std::make_shared<SteppingTask>(firstStep);
    task->setTaskExecutor(manager);
    task->setCompletionClosure(
        [&](std::shared_ptr<TaskResult> r) { log.add(r->success() ? "done" : "failed"); });
    task->resume();  // no operation yet: nothing happens
    task->execute();
    ASSERT_TRUE(eventually([&] { return task->isOperating(); }));
    task->resume();  // not paused: refused
    EXPECT_FALSE(task->isInState(TaskStateResumed::instance()));
    task->pause();  // from the main thread: applied through the callback queue
    ASSERT_TRUE(eventually([&] { return task->isInState(TaskStatePaused::instance()); }));
    firstStep.open();
    ASSERT_TRUE(eventually([&] { return task->isBlockedAtPausablePoint(); }));
    EXPECT_EQ(task->step.load(), 0);
    EXPECT_FALSE(manager->isIdle());
    EXPECT_TRUE(manager->taskExists(task->taskId()));
    task->pause();  // already paused: refused, still blocked
    EXPECT_TRUE(task->isBlockedAtPausablePoint());
    task->resume();
    ASSERT_TRUE(eventually([&] { return log.contains("done"); }));
    EXPECT_EQ(task->step.load(), 3);
    ASSERT_TRUE(settles(manager));
}

TEST_F(TaskManagerTest, ACancelledPausedTaskIsReleasedAndCannotBePausedAgain) {
    Gate firstStep;
    auto task = std::make_shared<SteppingTask>(firstStep);
    task->setTaskExecutor(manager);
    task->setCompletionClosure(
        [&](std::shared_ptr<TaskResult> r) { log.add(r->success() ? "done" : "failed"); });
    task->execute();
    ASSERT_TRUE(eventually([&] { return task->isOperating(); }));
    task->pause();
    ASSERT_TRUE(eventually([&] { return task->isInState(TaskStatePaused::instance()); }));
    firstStep.open();
    ASSERT_TRUE(eventually([&] { return task->isBlockedAtPausablePoint(); }));
    task->abort(Error{"test", 3});
    ASSERT_TRUE(eventually([&] { return log.contains("failed"); }));
    ASSERT_TRUE(eventually([&] { return !task->isBlockedAtPausablePoint(); }));
    EXPECT_EQ(task->step.load(), 0);
    task->pause();
    EXPECT_FALSE(task->isInState(TaskStatePaused::instance()));
}

TEST_F(TaskManagerTest, ADisposableTaskRemovesOnlyItsOnDemandQueue) {
    auto disposable = loggedTask(manager, log, "veryLow", TaskPriority::veryLow);
    disposable->setShouldRemoveQueueOnComplete(true);
    Gate gate;
    auto blocker = loggedTask(manager, log, "blocker", TaskPriority::veryLow, &gate);
    blocker->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("blocker start"); }));
    EXPECT_EQ(manager->queuePriorities(), (std::vector<int>{-8, -4, 0, 4}));
    disposable->execute();
    gate.open();
    ASSERT_TRUE(eventually([&] { return log.contains("veryLow done"); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_EQ(manager->queuePriorities(), (std::vector<int>{-4, 0, 4}));

    // Still in use by another task when the disposable one completes: out of
    // the table all the same, while the work left in it runs to its end (a
    // concurrent on-demand queue, made by a manager without configurations).
    auto bare = TaskManager::make(std::nullopt);
    Gate gate2;
    auto holder = loggedTask(bare, log, "holder", TaskPriority::medium, &gate2);
    auto quick = loggedTask(bare, log, "quick", TaskPriority::medium);
    quick->setShouldRemoveQueueOnComplete(true);
    holder->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("holder start"); }));
    quick->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("quick done"); }));
    EXPECT_TRUE(bare->queuePriorities().empty());
    EXPECT_FALSE(bare->isIdle());  // the retired queue still runs the holder
    gate2.open();
    ASSERT_TRUE(eventually([&] { return log.contains("holder done"); }));
    ASSERT_TRUE(settles(bare));
    EXPECT_TRUE(bare->queuePriorities().empty());

    // A queue given to make() is never removed.
    auto lowDisposable = loggedTask(manager, log, "lowDisposable", TaskPriority::low);
    lowDisposable->setShouldRemoveQueueOnComplete(true);
    lowDisposable->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("lowDisposable done"); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_EQ(manager->queuePriorities(), (std::vector<int>{-4, 0, 4}));
}

TEST_F(TaskManagerTest, SerializeWithoutWaitingRunsLaterInSubmissionOrder) {
    std::vector<int> order;
    Gate gate;
    manager->serialize(false, [&] { gate.wait(); });
    for (int i = 0; i < 5; ++i) manager->serialize(false, [&order, i] { order.push_back(i); });
    std::size_t seenBefore = 0;
    // Returned at once, although the first closure is still blocked.
    seenBefore = order.size();
    EXPECT_EQ(seenBefore, 0u);
    gate.open();
    manager->serialize(true, [] {});
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));

    // Added tasks and serialized steps of one thread keep their order: a
    // step submitted between two executes sees the first task, not the second.
    Gate hold;
    auto a = loggedTask(manager, log, "a", TaskPriority::medium, &hold);
    auto b = loggedTask(manager, log, "b");
    std::atomic<int> seen{-1};
    a->execute();
    manager->serialize(false, [&] {
        auto index = manager->taskIndexer();
        seen = (index->isIndexed(a->taskId()) ? 1 : 0) + (index->isIndexed(b->taskId()) ? 2 : 0);
    });
    b->execute();
    ASSERT_TRUE(eventually([&] { return seen.load() >= 0; }));
    EXPECT_EQ(seen.load(), 1);
    hold.open();
    // `hold` lives on this stack: the task may only start waiting on it now.
    ASSERT_TRUE(eventually([&] { return log.contains("a done"); }));
}

// Every way a task can meet its end around admission, each ending it exactly
// once and never running an ended task: cancelled or finished on another
// thread while the manager admits it (held between its tests and the wrap),
// executed again after it ran, finished or cancelled before it was executed,
// cancelled while its work runs (the work's result is still stored).
TEST_F(TaskManagerTest, ATaskEndsOnceWhateverRacesItsAdmissionAndNeverRunsAgain) {
    if (!interleaving::available()) GTEST_SKIP() << "interleaving points not compiled in";
    auto capture = ovlog::CaptureSink::attach();
    struct Row {
        const char* name;
        bool holdAdmission;  // act while the manager is between its tests and the wrap
        std::function<void(StandardClosureTask&)> before, act;
        int starts;           // how often the work runs
        const char* outcome;  // " done" or " failed"
        const char* line;     // the admission's log line, if any
    };
    auto succeed = [](StandardClosureTask& t) { t.setResult(succeeded()); };
    auto finish = [](StandardClosureTask& t) { t.finish(); };
    auto cancel = [](StandardClosureTask& t) { t.cancel(Error{"race", 1}); };
    const Row rows[] = {
        {"cancelDuringAdmission", true, nullptr, cancel, 0, " failed",
         "cancelDuringAdmission is cancelled before added to queue"},
        {"finishDuringAdmission", true, succeed, finish, 0, " done",
         "finishDuringAdmission has already ended and is not run again"},
        {"finishedBeforeExecute", false, [&](StandardClosureTask& t) { succeed(t), finish(t); },
         nullptr, 0, " done", "finishedBeforeExecute has already ended and is not run again"},
        {"cancelledBeforeExecute", false, cancel, nullptr, 0, " failed",
         "cancelledBeforeExecute is cancelled before added to queue"},
        {"executedAgain", false, nullptr, nullptr, 1, " done",
         "executedAgain has already ended and is not run again"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        struct Named : StandardClosureTask {
            Named(TaskClosure c, std::string n) : StandardClosureTask(std::move(c)), name(n) {}
            std::string description() const override { return name; }
            std::string name;
        };
        const std::string name = row.name;
        auto task = std::make_shared<Named>(
            [log = log, name](GeneralTask&) {
                log.add(name + " start");
                return succeeded();
            },
            name);
        task->setTaskExecutor(manager);
        task->setCompletionClosure([log = log, name](std::shared_ptr<TaskResult> r) {
            log.add(name + (r && r->success() ? " done" : " failed"));
        });
        if (row.before) row.before(*task);
        if (row.holdAdmission) {
            PointHold hold("TaskManager.addToQueue.beforeWrap");
            task->execute();
            ASSERT_TRUE(hold.waitReached());
            row.act(*task);
            hold.release();
        } else {
            task->execute();
        }
        if (std::string(row.name) == "executedAgain") {
            ASSERT_TRUE(eventually([&] { return log.contains(name + " done"); }));
            ASSERT_TRUE(settles(manager));
            task->execute();
        }
        ASSERT_TRUE(eventually([&] { return log.contains(name + row.outcome); }));
        ASSERT_TRUE(eventually([&] { return capture->countStartingWith(row.line) == 1; }));
        ASSERT_TRUE(settles(manager));
        auto events = log.events();
        EXPECT_EQ(std::count(events.begin(), events.end(), name + " start"), row.starts);
        EXPECT_EQ(std::count(events.begin(), events.end(), name + " done") +
                      std::count(events.begin(), events.end(), name + " failed"),
                  1);
    }

    // Cancelled while its work runs: completed once, cancelled; the result
    // the work returns afterwards is stored all the same.
    Gate gate;
    auto running = loggedTask(manager, log, "running", TaskPriority::medium, &gate);
    running->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("running start"); }));
    running->cancel(Error{"race", 2});
    ASSERT_TRUE(eventually([&] { return log.contains("running failed"); }));
    gate.open();
    ASSERT_TRUE(eventually([&] { return running->result()->success(); }));
    ASSERT_TRUE(settles(manager));
    EXPECT_FALSE(log.contains("running done"));
}

// Tasks reach the serial queue in batches; whatever a thread added is still
// admitted before its own later calls, across many batches and threads.
TEST_F(TaskManagerTest, AddedTasksAreAdmittedBeforeTheAddingThreadsNextCall) {
    ovlog::OLog::setLevel("OperationTask", ovlog::Level::warning);  // 1,200 tasks: keep it quiet
    Gate gate;
    auto holder = loggedTask(manager, log, "holder", TaskPriority::high, &gate);
    holder->execute();
    ASSERT_TRUE(eventually([&] { return log.contains("holder start"); }));

    constexpr int kThreads = 4;
    constexpr int kPerThread = 300;  // more than one intake batch in all
    std::atomic<int> completed{0};
    std::atomic<int> missing{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kPerThread; ++i) {
                auto task = StandardClosureTask::make([](GeneralTask&) { return succeeded(); });
                task->setTaskExecutor(manager);
                task->setCompletionClosure(
                    [&completed](std::shared_ptr<TaskResult>) { completed.fetch_add(1); });
                task->execute();
                // Held back by the running high task, so it must be registered.
                if (!manager->taskExists(task->taskId())) missing.fetch_add(1);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(missing.load(), 0);
    EXPECT_EQ(completed.load(), 0);  // the medium queue waits for the high one
    gate.open();
    ASSERT_TRUE(eventually([&] { return completed.load() == kThreads * kPerThread; }));
    EXPECT_TRUE(eventually([&] { return log.contains("holder done"); }));
}

TEST_F(TaskManagerTest, AManagerThatIsGoneDropsItsWork) {
    auto gone = TaskManager::make(std::nullopt);
    std::weak_ptr<TaskManager> weak = gone;
    auto task = loggedTask(gone, log, "orphan");
    task->setTaskExecutor(nullptr);  // the task must not keep the manager alive
    Gate gate;
    gone->serialize(false, [&gate] { gate.wait(); });  // hold the serial queue
    gone->addTask(task);
    gone.reset();
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));  // nothing queued holds it
    gate.open();
    EXPECT_FALSE(happensWithin([&] { return log.contains("orphan start"); }, 0.2));
}
