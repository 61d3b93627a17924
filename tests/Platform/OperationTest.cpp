// Key-value observation and the base operation's announced life cycle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OVUtility/Platform/KeyValueObservable.h"
#include "OVUtility/Platform/Operation.h"

using namespace ov;

namespace {

// Records every notification of an object as "will:key" / "did:key".
struct Recorder {
    std::vector<std::string> events;
    KeyValueObservable::Token attach(KeyValueObservable& object) {
        return object.addObserver([this](std::string_view key, KeyValueChange change) {
            events.push_back((change == KeyValueChange::willChange ? "will:" : "did:") +
                             std::string(key));
        });
    }
};

}  // namespace

TEST(KeyValueObservableTest, PerKeyObserversRunInRegistrationOrderAndCanBeRemoved) {
    KeyValueObservable object;
    std::vector<std::string> calls;
    auto first = object.addObserver("isFinished", [&](std::string_view, KeyValueChange c) {
        calls.push_back(c == KeyValueChange::willChange ? "1will" : "1did");
    });
    object.addObserver("isFinished", [&](std::string_view, KeyValueChange c) {
        calls.push_back(c == KeyValueChange::willChange ? "2will" : "2did");
    });
    object.addObserver("isReady", [&](std::string_view, KeyValueChange) { calls.push_back("R"); });

    object.willChangeValue("isFinished");
    object.didChangeValue("isFinished");
    EXPECT_EQ(calls, (std::vector<std::string>{"1will", "2will", "1did", "2did"}));

    calls.clear();
    EXPECT_TRUE(object.removeObserver(first));
    EXPECT_FALSE(object.removeObserver(first));
    EXPECT_FALSE(object.removeObserver(9999));
    object.didChangeValue("isFinished");
    object.didChangeValue("isExecuting");  // nobody listens
    EXPECT_EQ(calls, (std::vector<std::string>{"2did"}));
}

TEST(KeyValueObservableTest, ChangesDuringANotificationApplyFromTheNextOne) {
    KeyValueObservable object;
    int lateCalls = 0;
    int secondCalls = 0;
    KeyValueObservable::Token second = 0;
    object.addObserver("k", [&](std::string_view, KeyValueChange) {
        // Removing the second observer and adding a third while notifying.
        object.removeObserver(second);
        object.addObserver("k", [&](std::string_view, KeyValueChange) { ++lateCalls; });
    });
    second = object.addObserver("k", [&](std::string_view, KeyValueChange) { ++secondCalls; });
    object.didChangeValue("k");
    EXPECT_EQ(secondCalls, 1);  // the snapshot still held it
    EXPECT_EQ(lateCalls, 0);
    object.didChangeValue("k");
    EXPECT_EQ(secondCalls, 1);
    EXPECT_EQ(lateCalls, 1);
}

TEST(OperationTest, StartAnnouncesExecutingThenFinishedAroundMain) {
    Recorder recorder;
    std::vector<std::string>* events = &recorder.events;
    auto op = BlockOperation::make([&] { events->push_back("main"); });
    recorder.attach(*op);
    EXPECT_TRUE(op->isReady());
    op->start();
    EXPECT_EQ(
        recorder.events,
        (std::vector<std::string>{"will:isExecuting", "did:isExecuting", "main", "will:isExecuting",
                                  "will:isFinished", "did:isExecuting", "did:isFinished"}));
    EXPECT_TRUE(op->isFinished());
    EXPECT_FALSE(op->isExecuting());
    // A second start does nothing.
    recorder.events.clear();
    op->start();
    EXPECT_TRUE(recorder.events.empty());
}

TEST(OperationTest, CancelledBeforeStartFinishesWithoutRunningMain) {
    Recorder recorder;
    bool ran = false;
    auto op = BlockOperation::make([&] { ran = true; });
    recorder.attach(*op);
    op->cancel();
    op->cancel();  // announced once
    op->start();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(op->isCancelled());
    EXPECT_TRUE(op->isFinished());
    EXPECT_EQ(recorder.events, (std::vector<std::string>{"will:isCancelled", "did:isCancelled",
                                                         "will:isFinished", "did:isFinished"}));
}

TEST(OperationTest, QueuePriorityRoundsToThePlatformLevelsAndBlocksRunInOrder) {
    Operation op;
    const std::pair<int, int> cases[] = {{-100, -8}, {-7, -8}, {-6, -8}, {-5, -4},
                                         {-2, -4},   {-1, 0},  {1, 0},   {2, 4},
                                         {5, 4},     {6, 8},   {100, 8}};
    for (auto [given, expected] : cases) {
        op.setQueuePriority(given);
        EXPECT_EQ(op.queuePriority(), expected) << given;
    }
    EXPECT_EQ(op.qualityOfService(), QualityOfService::defaultQoS);

    std::string order;
    auto block = BlockOperation::make([&] { order += "a"; });
    block->addExecutionBlock([&] { order += "b"; });
    block->addExecutionBlock([&] { order += "c"; });
    EXPECT_EQ(block->executionBlocks().size(), 3u);
    block->start();
    EXPECT_EQ(order, "abc");
}
