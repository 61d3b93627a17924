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

// One registration per name (the newest wins); removal by name, removeAll and
// destruction unregister from the centre.
TEST(NotificationReceiverTest, OneRegistrationPerNameUntilRemovedOrDestroyed) {
    auto center = NotificationCenter::make();
    std::vector<std::string> calls;
    auto record = [&](std::string what) {
        return [&calls, what](const Notification&) { calls.push_back(what); };
    };
    {
        NotificationReceiver receiver(center);
        receiver.addObserver("n", record("first"));
        receiver.addObserver("n", record("second"));
        receiver.addObserver("m", record("m"));
        EXPECT_EQ(center->registrationCount(), 2u);  // the first token was removed
        center->post("n");
        EXPECT_EQ(calls, (std::vector<std::string>{"second"}));
        receiver.removeObserver("never-added");
        receiver.removeObserver("n");
        EXPECT_EQ(receiver.observers().size(), 1u);
        EXPECT_EQ(center->registrationCount(), 1u);
        center->post("n");
        EXPECT_EQ(calls.size(), 1u);
    }
    EXPECT_EQ(center->registrationCount(), 0u);

    NotificationReceiver cleared(center);
    cleared.addObserver("a", record("a"));
    cleared.addObserver("b", record("b"));
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
