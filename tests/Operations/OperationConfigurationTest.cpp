// Queue and operation configurations, queues built from them, and the
// operation-queue additions.
#include <gtest/gtest.h>

#include "OVUtility/Operations/OperationConfiguration.h"
#include "OVUtility/Operations/OperationQueueAdditions.h"
#include "OVUtility/Operations/QueueConfiguration.h"
#include "OVUtility/Operations/SafeOperation.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "OVUtility/Tasks/GeneralTask.h"
#include "Operations/RecordingTask.h"
#include "support/Eventually.h"

using namespace ov;

// Queues are built from configurations with their count, quality and name;
// the two default kinds differ only in concurrency.
TEST(QueueConfigurationTest, QueuesAreBuiltWithCountQualityAndName) {
    auto serial = makeOperationQueue(SerialQueueConfiguration());
    auto concurrent = makeOperationQueue(ConcurrentQueueConfiguration());
    EXPECT_EQ(serial->maxConcurrentOperationCount(), 1);
    EXPECT_EQ(concurrent->maxConcurrentOperationCount(),
              OperationQueue::defaultMaxConcurrentOperationCount);
    for (const auto& q : {serial, concurrent}) {
        EXPECT_EQ(q->qualityOfService(), QualityOfService::background);
        EXPECT_FALSE(q->name().has_value());
    }

    TaskQueueConfiguration dynamic(TaskPriority::shared(TaskPriority::veryHigh), 1,
                                   TaskQualityOfService::medium);
    dynamic.setQueueName("--task-manager-dynamic-queue");
    auto queue = makeOperationQueue(dynamic);
    EXPECT_EQ(queue->maxConcurrentOperationCount(), 1);
    EXPECT_EQ(queue->qualityOfService(), QualityOfService::defaultQoS);
    EXPECT_EQ(queue->name(), std::optional<std::string>("--task-manager-dynamic-queue"));
}

TEST(OperationConfigurationTest, CallbackQueuesAndConfigurationsKeptAsValues) {
    // The defaults every task gets: nothing else pins them (an expiring or
    // unguarded default would pass every other test).
    DefaultOperationConfiguration byDefault;
    EXPECT_TRUE(byDefault.isAsync() && byDefault.isThreadSafe());
    EXPECT_EQ(byDefault.expiration(), 0.0);
    EXPECT_FALSE(byDefault.deIndexBeforeCompletion());
    EXPECT_EQ(byDefault.callbackQueue(), sharedCallBackQueue());
    MainQueueOperationConfiguration main;
    EXPECT_EQ(main.callbackQueue(), OperationQueue::main());
    auto shared = sharedCallBackQueue();
    EXPECT_EQ(shared->maxConcurrentOperationCount(), 1);
    EXPECT_EQ(shared->qualityOfService(), QualityOfService::background);

    // A task keeps its own copy, of the same kind.
    auto task = std::make_shared<GeneralTask>();
    auto config = std::make_shared<MainQueueOperationConfiguration>();
    config->setExpiration(2.0);
    task->setOperationConfiguration(config);
    config->setExpiration(9.0);
    config->setCallbackQueue(nullptr);
    auto kept = task->operationConfiguration();
    EXPECT_NE(kept.get(), config.get());
    EXPECT_EQ(kept->expiration(), 2.0);
    EXPECT_EQ(kept->callbackQueue(), OperationQueue::main());
    EXPECT_TRUE(dynamic_cast<const MainQueueOperationConfiguration*>(kept.get()));
}

TEST(OperationQueueAdditionsTest, IncompleteCountAndAddingTasks) {
    auto queue = OperationQueue::make();
    EXPECT_EQ(incompleteOperationCount(*queue), 0u);
    queue->setSuspended(true);
    auto log = std::make_shared<ovtest::EventLog>();
    auto t1 = std::make_shared<ovtest::RecordingTask>(log, ovtest::inlineConfiguration());
    auto t2 = std::make_shared<ovtest::RecordingTask>(log, ovtest::inlineConfiguration());
    addSafeOperationTask(*queue, t1);
    addSafeOperationTask(*queue, t2);
    EXPECT_EQ(incompleteOperationCount(*queue), 2u);
    ASSERT_TRUE(t1->operationBridge());
    EXPECT_EQ(t1->operationBridge()->task(), t1);
    // A prematurely finished operation still waits in its queue.
    std::dynamic_pointer_cast<SafeOperation>(queue->operations()[0])->finish();
    EXPECT_EQ(incompleteOperationCount(*queue), 2u);
    queue->setSuspended(false);
    // The second one runs until its task finishes it.
    ASSERT_TRUE(ovtest::eventually([&] { return t2->isInState(OperationStateExecuting{}); }));
    EXPECT_EQ(incompleteOperationCount(*queue), 1u);
    t2->change(OperationStateFinished{});
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(incompleteOperationCount(*queue), 0u);
}
