#include "OVUtility/Notifications/NotificationReceiver.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "OVUtility/Platform/DispatchQueue.h"
#include "support/Eventually.h"

namespace {

using ov::Notification;
using ov::NotificationCenter;
using ov::NotificationReceiver;

TEST(NotificationReceiverTest, OneRegistrationPerNameNewestWins) {
    auto center = NotificationCenter::make();
    NotificationReceiver receiver(center);
    std::vector<std::string> calls;
    receiver.addObserver("n", [&](const Notification&) { calls.push_back("first"); });
    auto firstToken = receiver.observers().at("n");
    receiver.addObserver("n", [&](const Notification&) { calls.push_back("second"); });
    EXPECT_NE(receiver.observers().at("n"), firstToken);
    EXPECT_EQ(center->registrationCount(), 1u);  // the first token was removed
    center->post("n");
    EXPECT_EQ(calls, (std::vector<std::string>{"second"}));

    receiver.removeObserver("never-added");
    EXPECT_EQ(receiver.observers().size(), 1u);
    receiver.removeObserver("n");
    EXPECT_TRUE(receiver.observers().empty());
    EXPECT_EQ(center->registrationCount(), 0u);
    center->post("n");
    EXPECT_EQ(calls.size(), 1u);
}

TEST(NotificationReceiverTest, DestructionRemovesEveryRegistration) {
    auto center = NotificationCenter::make();
    int calls = 0;
    {
        NotificationReceiver receiver(center);
        receiver.addObserver("a", [&](const Notification&) { ++calls; });
        receiver.addObserver("b", [&](const Notification&) { ++calls; });
        receiver.addObserver("c", [&](const Notification&) { ++calls; });
        EXPECT_EQ(center->registrationCount(), 3u);
        center->post("b");
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(center->registrationCount(), 0u);
    center->post("b");
    EXPECT_EQ(calls, 1);

    NotificationReceiver cleared(center);
    cleared.addObserver("a", [](const Notification&) {});
    cleared.addObserver("b", [](const Notification&) {});
    cleared.removeAll();
    EXPECT_TRUE(cleared.observers().empty());
    EXPECT_EQ(center->registrationCount(), 0u);
}

TEST(NotificationReceiverTest, SenderFilterAndQueueOfTheRequest) {
    auto center = NotificationCenter::make();
    auto sender = std::make_shared<int>(1);
    auto queue = ov::DispatchQueue::make("test.receiver");
    std::atomic<int> calls{0};
    std::atomic<bool> offThread{false};
    const auto poster = std::this_thread::get_id();
    NotificationReceiver receiver(center);
    receiver.add({"n", ov::AnyObject(sender), queue}, [&](const Notification& n) {
        offThread = std::this_thread::get_id() != poster;
        EXPECT_EQ(n.object.as<int>(), sender);
        ++calls;
    });
    center->post("n");  // another sender: filtered out
    center->post("n", ov::AnyObject(sender));
    ASSERT_TRUE(ovtest::eventually([&] { return calls.load() == 1; }));
    EXPECT_TRUE(offThread.load());
}

}  // namespace
