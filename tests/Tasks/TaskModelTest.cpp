// The task vocabulary: priority and quality-of-service values, result
// refresh, and the protocol defaults (bridge-less behaviour, execute/abort,
// dependencies, duplicates).
#include <gtest/gtest.h>

#include "OVUtility/Operations/OperationState.h"
#include "OVUtility/Tasks/GeneralTask.h"
#include "OVUtility/Tasks/TaskPriority.h"
#include "OVUtility/Tasks/TaskResult.h"
#include "OVUtility/Tasks/TaskStrictTypeCompletable.h"
#include "Tasks/FakeTask.h"

using namespace ov;
using ovtest::FakeTask;
using ovtest::RecordingExecutor;

TEST(TaskPriorityTest, RawValuesRoundTripAndEverythingElseIsRejected) {
    int index = 0;
    for (auto [raw, expected] : {std::pair{-8, TaskPriority::veryLow},
                                 {-4, TaskPriority::low},
                                 {0, TaskPriority::medium},
                                 {4, TaskPriority::high},
                                 {8, TaskPriority::veryHigh}}) {
        auto p = TaskPriority::fromRawValue(raw);
        ASSERT_TRUE(p.has_value()) << raw;
        EXPECT_EQ(*p, TaskPriority(expected));
        EXPECT_EQ(p->caseIndex(), index++);
        EXPECT_EQ(p->queuePriority(), raw);
    }
    for (int raw : {2, -12, 12, -9, -7, 1, 3, 9, 16, -1000, 1000}) {
        EXPECT_FALSE(TaskPriority::fromRawValue(raw).has_value()) << raw;
    }
}

// Raw value 2 maps to the platform's default (-1), out of ascending order: kept on purpose.
TEST(TaskQualityOfServiceTest, RawValuesAndTheKeptBridgeTable) {
    EXPECT_FALSE(taskQualityOfServiceFromRawValue(5).has_value());
    EXPECT_FALSE(taskQualityOfServiceFromRawValue(-1).has_value());
    const int platformRaw[] = {9, 17, -1, 25, 33};
    for (int raw = 0; raw < 5; ++raw) {
        auto qos = taskQualityOfServiceFromRawValue(raw);
        ASSERT_TRUE(qos.has_value());
        EXPECT_EQ(rawValue(*qos), raw);
        EXPECT_EQ(static_cast<int>(bridgeValue(*qos)), platformRaw[raw]);
    }
}

TEST(OperationTaskDefaultsTest, WithoutBridgeNothingIsOperatingAndChangeIsANoOp) {
    auto task = std::make_shared<FakeTask>("t");
    EXPECT_FALSE(task->isOperating());
    for (const TaskState* s : std::vector<const TaskState*>{
             &OperationStateReady::instance(), &OperationStateExecuting::instance(),
             &OperationStateFinished::instance(), &OperationStateCanceled::instance(),
             &OperationStateTerminated::instance(), &OperationStatePrematurelyFinished::instance(),
             &TaskStatePaused::instance(), &TaskStateResumed::instance()}) {
        EXPECT_FALSE(task->isInState(*s)) << s->kvoKeyPath();
    }
    task->change(OperationStateFinished{});  // must not crash or do anything
    EXPECT_FALSE(task->isInOneOfStates({}));
}

TEST(OperationTaskDefaultsTest, BridgeAnswersStatesAndScanStopsAtFirstMatch) {
    auto task = std::make_shared<FakeTask>("t");
    auto bridge = std::make_shared<ovtest::ScriptedBridge>();
    task->setOperationBridge(bridge);
    bridge->stateKey = "isExecuting";
    bridge->operating = true;
    EXPECT_TRUE(task->isOperating());
    EXPECT_TRUE(task->isInState(OperationStateExecuting{}));
    EXPECT_TRUE(task->isInOneOfStates({&OperationStateReady::instance(),
                                       &OperationStateExecuting::instance(),
                                       &OperationStateFinished::instance()}));
    EXPECT_EQ(bridge->queries, 3);  // Ready, Executing; Finished never asked
    task->change(TaskStatePaused{});
    EXPECT_EQ(bridge->updates, std::vector<std::string>{"isPaused"});
    // The task holds its bridge weakly.
    bridge.reset();
    EXPECT_FALSE(task->isOperating());
}

TEST(TaskExecutableDefaultsTest, ExecuteHandsTheTaskToItsExecutor) {
    auto executor = std::make_shared<RecordingExecutor>();
    auto task = std::make_shared<FakeTask>("t", executor);
    task->execute();
    ASSERT_EQ(executor->added.size(), 1u);
    EXPECT_EQ(executor->added[0].get(), static_cast<OperationTask*>(task.get()));
    executor->added.clear();  // the executor holds the task, the task its executor
}

TEST(TaskExecutableDefaultsTest, AbortGoesThroughTheExecutorOnlyWhenItKnowsTheTask) {
    auto executor = std::make_shared<RecordingExecutor>();
    auto unknown = std::make_shared<FakeTask>("unknown", executor);
    unknown->abort(Error{"d", 5});
    EXPECT_TRUE(executor->cancelled.empty());
    ASSERT_EQ(unknown->cancelErrors.size(), 1u);
    EXPECT_EQ(unknown->cancelErrors[0]->code, 5);

    auto known = std::make_shared<FakeTask>("known", executor);
    executor->known.insert("known");
    known->abort(Error{"d", 6});
    ASSERT_EQ(executor->cancelled.size(), 1u);
    EXPECT_EQ(executor->cancelled[0].first, "known");
    EXPECT_EQ(executor->cancelled[0].second->code, 6);
    EXPECT_TRUE(known->cancelErrors.empty());
}

TEST(TaskDependableDefaultsTest, DependRecordsBothSidesTwiceWhenCalledTwiceAndExecuteAfterSubmits) {
    auto executor = std::make_shared<RecordingExecutor>();
    auto blocker = std::make_shared<FakeTask>("blocker", executor);
    auto waiter = std::make_shared<FakeTask>("waiter", executor);
    waiter->depend(blocker);
    waiter->executeAfter(blocker);
    EXPECT_EQ(executor->serializeWaits, (std::vector<bool>{true, true}));
    EXPECT_EQ(waiter->dependencies(), (std::vector<std::string>{"blocker", "blocker"}));
    ASSERT_EQ(blocker->nextTasks().size(), 2u);
    EXPECT_EQ(blocker->nextTasks()[0].get(), static_cast<TaskDependable*>(waiter.get()));
    EXPECT_EQ(executor->added.size(), 1u);
    executor->added.clear();
}

// A completion removes one id, in the executor's serial context, and executes
// the dependant when none is left; a cancelled blocker leaves it waiting; a
// dependant released meanwhile is left alone.
TEST(TaskDependableDefaultsTest, CompletionRemovesOneIdAndExecutesWhenNoneLeft) {
    auto executor = std::make_shared<RecordingExecutor>();
    auto a = std::make_shared<FakeTask>("a", executor);
    auto b = std::make_shared<FakeTask>("b", executor);
    auto waiter = std::make_shared<FakeTask>("waiter", executor);
    waiter->dependencies() = {"a", "b", "a"};

    waiter->didCompleteBlockingTask(a);
    EXPECT_EQ(waiter->dependencies().size(), 3u);  // nothing before the serial context runs
    executor->runPending();
    EXPECT_EQ(waiter->dependencies(), (std::vector<std::string>{"b", "a"}));
    b->cancelledMark = true;
    waiter->didCompleteBlockingTask(b);
    executor->runPending();
    EXPECT_EQ(waiter->dependencies(), (std::vector<std::string>{"b", "a"}));
    b->cancelledMark = false;
    waiter->didCompleteBlockingTask(b);
    waiter->didCompleteBlockingTask(a);
    executor->runPending();
    EXPECT_TRUE(waiter->dependencies().empty());
    ASSERT_EQ(executor->added.size(), 1u);
    EXPECT_EQ(executor->added[0].get(), static_cast<OperationTask*>(waiter.get()));
    executor->added.clear();

    waiter->dependencies() = {"a"};
    waiter->didCompleteBlockingTask(a);
    waiter.reset();  // the pending step holds it weakly
    executor->runPending();
    EXPECT_TRUE(executor->added.empty());
}

namespace {

struct FetchConfig {
    std::string url;
};

// A task with a typed result and configuration: the concept checks the
// typed interface and the make(ConfigType) initialiser.
class FetchTask : public FakeTask,
                  public TaskStrictTypeCompletable<IndexableTaskResult, FetchConfig> {
  public:
    static std::shared_ptr<FetchTask> make(FetchConfig config);
    std::shared_ptr<IndexableTaskResult> typedResult() const override { return nullptr; }
    const FetchConfig& typedConfiguration() const override { return config_; }
    void complete(std::shared_ptr<IndexableTaskResult>) override {}

  private:
    FetchConfig config_;
};
static_assert(StrictTypeCompletableTask<FetchTask>);
static_assert(!StrictTypeCompletableTask<FakeTask>);

}  // namespace
