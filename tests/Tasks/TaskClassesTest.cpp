// The task classes on their own: initial values, identifiers and
// descriptions, the completion hand-off of a task no operation runs, the
// asynchronous closure task's callback rules, and the pausing rules of the
// dynamic task.
#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <set>
#include <thread>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Operations/OperationState.h"
#include "OVUtility/Platform/MainRunLoop.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/UUIDString.h"
#include "Tasks/FakeTask.h"
#include "Tasks/TaskTestSupport.h"
#include "support/MainQueuePump.h"

using namespace ov;
using namespace ovtest;

namespace {

// Names with "__" are cut at it; the last piece is the description.
class Outer__Inner__Task : public StandardTask {};
class Trailing__ : public StandardTask {};

class LevelGuard {
  public:
    explicit LevelGuard(ovlog::Level level)
        : previous_(ovlog::Module::named("OperationTask").level()) {
        ovlog::OLog::setLevel("OperationTask", level);
    }
    ~LevelGuard() { ovlog::OLog::setLevel("OperationTask", previous_); }

  private:
    ovlog::Level previous_;
};

}  // namespace

TEST(TaskIdentifierTest, FreshVersion4UpperCaseUUIDsWithTheClassPrefixes) {
    const std::regex uuid("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        auto text = makeUUIDString();
        EXPECT_TRUE(std::regex_match(text, uuid)) << text;
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 200u);

    auto standard = StandardTask::make();
    auto closure = StandardClosureTask::make([](GeneralTask&) { return succeeded(); });
    auto async = StandardAsyncClosureTask::make([](GeneralTask&, auto) {});
    auto dynamic = DynamicTask::make();
    const std::pair<std::string, std::string> cases[] = {
        {standard->taskId(), "--standard-task-"},
        {closure->taskId(), "--standard-closure-task-"},
        {async->taskId(), "--standard-async-closure-task-"},
        {dynamic->taskId(), "--dynamic-task-"}};
    for (const auto& [id, prefix] : cases) {
        ASSERT_EQ(id.rfind(prefix, 0), 0u) << id;
        EXPECT_TRUE(std::regex_match(id.substr(prefix.size()), uuid)) << id;
    }
    EXPECT_NE(StandardTask::make()->taskId(), standard->taskId());
    EXPECT_EQ(standard->taskExecutor(), TaskManager::sharedInstance());
    EXPECT_EQ(dynamic->taskExecutor(), TaskManager::sharedInstance());
}

TEST(TaskDescriptionTest, ClassNameAfterTheLastDoubleUnderscoreElseTheId) {
    EXPECT_EQ(StandardTask::make()->description(), "StandardTask");
    EXPECT_EQ(StandardClosureTask::make([](GeneralTask&) { return succeeded(); })->description(),
              "StandardClosureTask");
    EXPECT_EQ(std::make_shared<Outer__Inner__Task>()->description(), "Task");
    auto trailing = std::make_shared<Trailing__>();
    EXPECT_EQ(trailing->description(), "Trailing");
    EXPECT_EQ(trailing->debugDescription(), trailing->description());
    EXPECT_EQ(DynamicTask::make()->description(), "DynamicTask");
}

TEST(GeneralTaskTest, WithoutAnOperationFinishAndCancelCompleteAtOnceAndOnlyOnce) {
    LevelGuard verbose(ovlog::Level::verbose);
    auto capture = ovlog::CaptureSink::attach();
    std::atomic<int> calls{0};
    std::shared_ptr<TaskResult> received;
    std::mutex m;
    auto task = std::make_shared<GeneralTask>();
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        std::lock_guard lock(m);
        received = r;
        ++calls;
    });
    // An unsuccessful result counts as a cancellation.
    task->finish();
    EXPECT_TRUE(task->markCancelled());
    ASSERT_TRUE(eventually([&] { return calls.load() == 1; }));
    // After the end, cancel(error) still sets the mark and stores the error,
    // and finish() still logs; neither completes the task again.
    task->cancel(Error{"late", 1});
    task->finish();
    EXPECT_FALSE(happensWithin([&] { return calls.load() > 1; }, 0.2));
    {
        std::lock_guard lock(m);
        EXPECT_EQ(received, task->result());
        EXPECT_EQ(received->error(), (std::optional<Error>(Error{"late", 1})));
    }
    EXPECT_EQ(capture->countStartingWith("task GeneralTask finish with result success:false"), 2u);
    EXPECT_EQ(capture->countStartingWith("task is canceled before added GeneralTask ["), 1u);

    // cancel(with:) carries its error into the result.
    auto cancelled = std::make_shared<GeneralTask>();
    std::atomic<int> cancelledCalls{0};
    std::optional<Error> error;
    cancelled->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        std::lock_guard lock(m);
        error = r->error();
        ++cancelledCalls;
    });
    cancelled->cancel(Error{"domain", 42});
    ASSERT_TRUE(eventually([&] { return cancelledCalls.load() == 1; }));
    std::lock_guard lock(m);
    EXPECT_EQ(error, (std::optional<Error>(Error{"domain", 42})));
}

TEST(GeneralTaskTest, AReleasedTaskGetsNoLateCompletion) {
    std::atomic<int> calls{0};
    Gate gate;
    // Hold the shared callback queue so that the completion is still pending
    // when the task goes away.
    ov::sharedCallBackQueue()->addOperation([&] { gate.wait(); });
    {
        auto task = std::make_shared<GeneralTask>();
        task->setCompletionClosure([&](std::shared_ptr<TaskResult>) { ++calls; });
        task->cancel(std::nullopt);
    }
    gate.open();
    EXPECT_FALSE(happensWithin([&] { return calls.load() > 0; }, 0.3));
}

TEST(GeneralTaskTest, ClosureTasksRunInAManagerWithoutBeingIndexable) {
    auto manager = TaskManager::make(std::nullopt);
    std::atomic<int> calls{0};
    auto task = GeneralClosureTask::make([](GeneralTask&) { return succeeded(); });
    std::atomic<bool> success{false};
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        success = r->success();
        ++calls;
    });
    manager->addTask(task);
    ASSERT_TRUE(eventually([&] { return calls.load() == 1; }));
    EXPECT_TRUE(success.load());
    // A closure returning nothing leaves an unsuccessful result: cancelled.
    auto empty = GeneralClosureTask::make([](GeneralTask&) { return nullptr; });
    empty->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        success = r->success();
        ++calls;
    });
    manager->addTask(empty);
    ASSERT_TRUE(eventually([&] { return calls.load() == 2; }));
    EXPECT_FALSE(success.load());
    EXPECT_TRUE(empty->markCancelled());
    EXPECT_TRUE(settles(manager));
}

TEST(StandardAsyncClosureTaskTest, AFailedReportCancelsWithItsErrorAndALateReportIsStoredWithoutASecondCompletion) {
    auto manager = TaskManager::make(std::nullopt);
    StandardAsyncClosureTask::Callback kept;
    std::mutex m;
    auto task =
        StandardAsyncClosureTask::make([&](GeneralTask&, StandardAsyncClosureTask::Callback done) {
            std::lock_guard lock(m);
            kept = done;
        });
    task->setTaskExecutor(manager);
    std::atomic<int> calls{0};
    std::optional<Error> error;
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) {
        std::lock_guard lock(m);
        error = r->error();
        ++calls;
    });
    task->execute();
    ASSERT_TRUE(eventually([&] {
        std::lock_guard lock(m);
        return static_cast<bool>(kept);
    }));
    StandardAsyncClosureTask::Callback callback;
    {
        std::lock_guard lock(m);
        callback = kept;
    }
    callback(std::make_shared<GeneralTaskResult>(false, Error{"net", 404}));
    ASSERT_TRUE(eventually([&] { return calls.load() == 1; }));
    EXPECT_TRUE(task->markCancelled());
    {
        std::lock_guard lock(m);
        EXPECT_EQ(error, (std::optional<Error>(Error{"net", 404})));
    }
    callback(succeeded());  // after the end: stored, no second completion
    EXPECT_FALSE(happensWithin([&] { return calls.load() > 1; }, 0.2));
    EXPECT_TRUE(task->result()->success());
    EXPECT_TRUE(settles(manager));

    // The callback holds the task weakly: once it is gone, reports do nothing.
    std::weak_ptr<StandardAsyncClosureTask> weak = task;
    task.reset();
    {
        std::lock_guard lock(m);
        kept = nullptr;
    }
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));
    callback(succeeded());
}

TEST(StandardAsyncClosureTaskTest, ExecuteOnMainQueueRunsTheClosureOnTheMainThread) {
    ASSERT_TRUE(MainRunLoop::isMainThread());
    auto manager = TaskManager::make(std::nullopt);
    std::atomic<bool> onMain{false}, finished{false};
    auto task =
        StandardAsyncClosureTask::make([&](GeneralTask&, StandardAsyncClosureTask::Callback done) {
            onMain = MainRunLoop::isMainThread();
            done(succeeded());
        });
    task->setTaskExecutor(manager);
    task->setExecuteOnMainQueue(true);
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) { finished = r->success(); });
    task->execute();
    ASSERT_TRUE(pumpMainUntil([&] { return finished.load(); }));
    EXPECT_TRUE(onMain.load());
    EXPECT_TRUE(settles(manager));

    // Already on the main thread: the closure runs inside didExecute().
    auto direct = StandardAsyncClosureTask::make(
        [&](GeneralTask&, StandardAsyncClosureTask::Callback) { onMain = true; });
    direct->setTaskExecutor(manager);
    direct->setExecuteOnMainQueue(true);
    onMain = false;
    direct->didExecute();
    EXPECT_TRUE(onMain.load());
}

TEST(DynamicTaskTest, PausingRulesWithoutAndWithAnOperation) {
    // No operation: nothing to pause, nothing blocks.
    auto lone = DynamicTask::make();
    lone->pause();
    lone->resume();
    lone->markPausablePoint();
    EXPECT_FALSE(lone->isInState(TaskStatePaused::instance()));

    // Paused and resumed before the work reaches its pausable point: the
    // work never blocks.
    auto manager = TaskManager::make(std::nullopt);
    Gate gate;
    std::atomic<bool> blocked{false}, done{false};
    class Probe : public DynamicTask {
      public:
        Probe(Gate& gate, std::atomic<bool>& blocked) : gate_(gate), blocked_(blocked) {}
        void didExecute() override {
            gate_.wait();
            markPausablePoint();
            blocked_ = isBlockedAtPausablePoint();
            setResult(std::make_shared<GeneralTaskResult>(true, std::nullopt));
            finish();
        }
        Gate& gate_;
        std::atomic<bool>& blocked_;
    };
    auto task = std::make_shared<Probe>(gate, blocked);
    task->setTaskExecutor(manager);
    task->setCompletionClosure([&](std::shared_ptr<TaskResult> r) { done = r->success(); });
    task->execute();
    ASSERT_TRUE(eventually([&] { return task->isOperating(); }));
    std::thread([&] {
        task->pause();  // off the main thread: applied at once
        EXPECT_TRUE(task->isInState(TaskStatePaused::instance()));
        task->resume();
        EXPECT_TRUE(task->isInState(TaskStateResumed::instance()));
    }).join();
    gate.open();
    ASSERT_TRUE(eventually([&] { return done.load(); }));
    EXPECT_FALSE(blocked.load());
    EXPECT_TRUE(settles(manager));
}
