// Key-value observation and the base operation's announced life cycle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OVUtility/Platform/KeyValueObservable.h"
#include "OVUtility/Platform/Operation.h"

using namespace ov;
using Events = std::vector<std::string>;

namespace {

// An observer that records "<tag>will:key" / "<tag>did:key".
KeyValueObservable::Observer recorder(Events& events, std::string tag = "") {
    return [&events, tag](std::string_view key, KeyValueChange change) {
        events.push_back(tag + (change == KeyValueChange::willChange ? "will:" : "did:") +
                         std::string(key));
    };
}

}  // namespace

TEST(KeyValueObservableTest, ObserversRunInRegistrationOrderAndChangesApplyFromTheNextOne) {
    KeyValueObservable object;
    Events calls;
    auto first = object.addObserver("k", recorder(calls, "1"));
    KeyValueObservable::Token second = 0;
    object.addObserver("k", [&](std::string_view, KeyValueChange) {
        // Removing an observer and adding one while notifying.
        object.removeObserver(second);
        object.addObserver("k", recorder(calls, "late"));
    });
    second = object.addObserver("k", recorder(calls, "2"));
    object.addObserver("other", recorder(calls, "o"));
    object.willChangeValue("k");  // the snapshot still holds "2", not "late"
    EXPECT_EQ(calls, (Events{"1will:k", "2will:k"}));

    calls.clear();
    EXPECT_TRUE(object.removeObserver(first));
    EXPECT_FALSE(object.removeObserver(first));
    object.didChangeValue("k");
    EXPECT_EQ(calls, (Events{"latedid:k"}));
}

TEST(OperationTest, LifeCycleIsAnnouncedAroundMainOnce) {
    Events events;
    auto op = BlockOperation::make([&] { events.push_back("main"); });
    op->addExecutionBlock([&] { events.push_back("second block"); });
    op->addObserver(recorder(events));
    op->start();
    op->start();  // a second start does nothing
    EXPECT_EQ(events,
              (Events{"will:isExecuting", "did:isExecuting", "main", "second block",
                      "will:isExecuting", "will:isFinished", "did:isExecuting", "did:isFinished"}));
    EXPECT_TRUE(op->isFinished() && !op->isExecuting());
}

TEST(OperationTest, CancelledBeforeStartFinishesWithoutRunningMain) {
    Events events;
    auto op = BlockOperation::make([&] { events.push_back("main"); });
    op->addObserver(recorder(events));
    op->cancel();
    op->cancel();  // announced once
    op->start();
    EXPECT_TRUE(op->isCancelled() && op->isFinished());
    EXPECT_EQ(events,
              (Events{"will:isCancelled", "did:isCancelled", "will:isFinished", "did:isFinished"}));
}

TEST(OperationTest, QueuePriorityRoundsToThePlatformLevels) {
    Operation op;
    const std::pair<int, int> cases[] = {{-100, -8}, {-6, -8}, {-5, -4}, {-2, -4}, {-1, 0},
                                         {1, 0},     {2, 4},   {5, 4},   {6, 8},   {100, 8}};
    for (auto [given, expected] : cases) {
        op.setQueuePriority(given);
        EXPECT_EQ(op.queuePriority(), expected) << given;
    }
}
