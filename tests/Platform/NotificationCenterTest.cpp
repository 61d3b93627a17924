#include "OVUtility/Platform/NotificationCenter.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Platform/DispatchQueue.h"
#include "OVUtility/Platform/OperationQueue.h"
#include "support/Eventually.h"

namespace {

using ov::AnyObject;
using ov::Notification;
using ov::NotificationCenter;

struct Sender {
    int id = 0;
};

TEST(NotificationCenterTest, DeliversByNameAndSenderFilter) {
    auto center = NotificationCenter::make();
    auto a = std::make_shared<Sender>();
    auto b = std::make_shared<Sender>();
    std::vector<std::string> seen;
    auto any = center->addObserver("ping", nullptr, nullptr,
                                   [&](const Notification& n) { seen.push_back("any"); });
    auto onlyA = center->addObserver("ping", AnyObject(a), nullptr, [&](const Notification& n) {
        EXPECT_EQ(n.object.as<Sender>(), a);
        EXPECT_EQ(n.object.as<int>(), nullptr);  // only the stored type answers
        EXPECT_EQ(n.userInfo["k"], 7);
        seen.push_back("a");
    });
    auto allNames = center->addObserver("", nullptr, nullptr,
                                        [&](const Notification& n) { seen.push_back(n.name); });

    center->post("ping", AnyObject(a), {{"k", 7}});
    EXPECT_EQ(seen, (std::vector<std::string>{"any", "a", "ping"}));
    seen.clear();
    center->post("ping", AnyObject(b));
    center->post("ping");
    center->post("pong", AnyObject(a));
    EXPECT_EQ(seen, (std::vector<std::string>{"any", "ping", "any", "ping", "pong"}));

    // The filter does not keep the sender alive, and a new object at the same
    // address (made certain here with a non-owning pointer) is not mistaken for it.
    std::weak_ptr<Sender> weakA = a;
    auto* const oldAddress = a.get();
    a.reset();
    EXPECT_TRUE(weakA.expired());
    seen.clear();
    center->post("ping", AnyObject(std::shared_ptr<Sender>(std::shared_ptr<void>(), oldAddress)));
    EXPECT_EQ(seen, (std::vector<std::string>{"any", "ping"}));

    center->removeObserver(any);
    center->removeObserver(onlyA);
    center->removeObserver(onlyA);  // twice: ignored
    center->removeObserver(NotificationCenter::Token{});
    center->removeObserver(allNames);
    EXPECT_EQ(center->registrationCount(), 0u);
    seen.clear();
    center->post("ping");
    EXPECT_TRUE(seen.empty());
}

TEST(NotificationCenterTest, DeliveryQueueRunsBlocksOffThePostingThread) {
    auto center = NotificationCenter::make();
    auto queue = ov::DispatchQueue::make("test.notifications");
    std::mutex mutex;
    std::vector<int> received;
    std::thread::id deliveryThread;
    center->addObserver("n", nullptr, queue, [&](const Notification& n) {
        std::lock_guard lock(mutex);
        deliveryThread = std::this_thread::get_id();
        received.push_back(n.userInfo.get<int>());
    });
    for (int i = 0; i < 50; ++i) center->post("n", nullptr, i);
    ASSERT_TRUE(ovtest::eventually([&] {
        std::lock_guard lock(mutex);
        return received.size() == 50;
    }));
    std::lock_guard lock(mutex);
    EXPECT_NE(deliveryThread, std::this_thread::get_id());
    // A serial queue keeps the posting order.
    for (int i = 0; i < 50; ++i) EXPECT_EQ(received[i], i);
}

TEST(NotificationCenterTest, OperationQueueDeliveryAndRemovalBeforeItRuns) {
    auto center = NotificationCenter::make();
    auto queue = ov::OperationQueue::make("test.notifications.operations");
    queue->setMaxConcurrentOperationCount(1);
    std::atomic<int> delivered{0};
    std::atomic<bool> onQueue{false};
    auto token = center->addObserver("n", nullptr, queue, [&](const Notification&) {
        onQueue = ov::OperationQueue::current() == queue;
        ++delivered;
    });
    center->post("n");
    ASSERT_TRUE(ovtest::eventually([&] { return delivered.load() == 1; }));
    EXPECT_TRUE(onQueue.load());

    // Queued deliveries that have not started when the registration is
    // removed are dropped.
    queue->setSuspended(true);
    center->post("n");
    center->post("n");
    center->removeObserver(token);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(delivered.load(), 1);
}

TEST(NotificationCenterTest, RemovalDuringAPostIsSafe) {
    auto center = NotificationCenter::make();
    std::vector<std::string> calls;
    NotificationCenter::Token second, third;
    auto first = center->addObserver("n", nullptr, nullptr, [&](const Notification&) {
        calls.push_back("first");
        center->removeObserver(second);  // a later registration of the same post
    });
    second = center->addObserver("n", nullptr, nullptr,
                                 [&](const Notification&) { calls.push_back("second"); });
    third = center->addObserver("n", nullptr, nullptr, [&](const Notification&) {
        calls.push_back("third");
        center->removeObserver(third);  // itself
        // A registration added during a post is not part of that post's snapshot.
        center->addObserver("n", nullptr, nullptr,
                            [&](const Notification&) { calls.push_back("late"); });
    });
    center->post("n");
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "third"}));
    calls.clear();
    center->post("n");
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "late"}));
    center->removeObserver(first);
}

struct Listener {
    std::atomic<int> count{0};
    void didPing(const Notification&) { ++count; }
};

TEST(NotificationCenterTest, SelectorObserversAreHeldWeaklyAndRemovedByObject) {
    auto center = NotificationCenter::make();
    auto listener = std::make_shared<Listener>();
    auto other = std::make_shared<Listener>();
    center->addObserver(listener, &Listener::didPing, "ping");
    center->addObserver(listener, &Listener::didPing, "pong");
    center->addObserver(other, &Listener::didPing, "ping");
    center->post("ping");
    center->post("pong");
    EXPECT_EQ(listener->count, 2);
    EXPECT_EQ(other->count, 1);

    center->removeObserver(listener.get(), "pong");  // "ping" stays registered
    center->post("pong");
    center->post("ping");
    EXPECT_EQ(listener->count, 3);
    EXPECT_EQ(other->count, 2);

    center->removeObserver(listener);
    center->post("ping");
    EXPECT_EQ(listener->count, 3);
    EXPECT_EQ(other->count, 3);

    // An empty name removes the observer for every name, as it registers for all.
    center->addObserver(listener, &Listener::didPing, "a");
    center->addObserver(listener, &Listener::didPing, "b");
    center->removeObserver(listener.get(), "");
    center->post("a");
    center->post("b");
    EXPECT_EQ(listener->count, 3);

    // A destroyed observer is skipped and then forgotten.
    other.reset();
    EXPECT_EQ(center->registrationCount(), 1u);
    center->post("ping");
    EXPECT_EQ(center->registrationCount(), 0u);
}

TEST(NotificationCenterTest, PostsFromManyThreadsWhileRegistrationsChange) {
    auto center = NotificationCenter::make();
    std::atomic<int> delivered{0};
    auto counter = center->addObserver("n", nullptr, nullptr,
                                       [&](const Notification&) { delivered.fetch_add(1); });
    constexpr int kThreads = 4;
    constexpr int kPosts = 2000;
    std::atomic<bool> stop{false};
    std::thread churn([&] {
        // Adds and removes registrations concurrently with the posts.
        while (!stop.load()) {
            auto t = center->addObserver("n", nullptr, nullptr, [](const Notification&) {});
            auto l = std::make_shared<Listener>();
            center->addObserver(l, &Listener::didPing, "n");
            center->removeObserver(t);
            center->removeObserver(l);
        }
    });
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.emplace_back([&] {
            for (int i = 0; i < kPosts; ++i) center->post("n");
        });
    }
    for (auto& t : posters) t.join();
    stop = true;
    churn.join();
    EXPECT_EQ(delivered.load(), kThreads * kPosts);
    center->removeObserver(counter);
    EXPECT_EQ(center->registrationCount(), 0u);
}

TEST(NotificationCenterTest, TokensBelongToTheirCenter) {
    auto a = NotificationCenter::make(), b = NotificationCenter::make();
    int calls = 0;
    auto tokenA = a->addObserver("n", nullptr, nullptr, [&](const Notification&) { ++calls; });
    b->addObserver("n", nullptr, nullptr, [&](const Notification&) { ++calls; });
    b->removeObserver(tokenA);  // not b's: ignored
    b->post("n");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(a->registrationCount(), 1u);
}

}  // namespace
