#include "OVUtility/Notifications/NotificationDisposable.h"

#include <atomic>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "OVUtility/Notifications/NotificationCenterAdditions.h"
#include "OVUtility/Platform/DispatchQueue.h"
#include "support/Eventually.h"

namespace {

using ov::EventMode;
using ov::NotificationCenter;

static_assert(!std::is_default_constructible_v<ov::NotificationDisposable>,
              "disposables come only from runAndObserve");

// Idempotent blocks run at once on the calling thread, then on events on the
// requested queue; onlyOnEvent blocks wait for a post; no block runs nothing.
TEST(NotificationCenterAdditionsTest, ObserveRunsAtOnceOnlyWhenIdempotent) {
    auto center = NotificationCenter::make();
    auto queue = ov::DispatchQueue::make("test.additions");
    const auto caller = std::this_thread::get_id();
    std::atomic<int> onEvent{0}, runs{0}, onCaller{0};
    auto sender = std::make_shared<int>(0);
    auto t1 = ov::observe(center, "n", nullptr, nullptr, EventMode::onlyOnEvent, [&] { ++onEvent; });
    auto t2 = ov::observe(center, "n", ov::AnyObject(sender), queue, EventMode::idempotent, [&] {
        if (std::this_thread::get_id() == caller) ++onCaller;
        ++runs;
    });
    ov::observe(center, "n", nullptr, nullptr, EventMode::idempotent, nullptr);
    EXPECT_EQ(center->registrationCount(), 3u);
    EXPECT_EQ(onEvent.load(), 0);
    EXPECT_EQ(runs.load(), 1);
    EXPECT_EQ(onCaller.load(), 1);
    center->post("n");  // not from the sender: only the unfiltered observer runs
    EXPECT_EQ(onEvent.load(), 1);
    center->post("n", ov::AnyObject(sender));
    ASSERT_TRUE(ovtest::eventually([&] { return runs.load() == 2; }));
    EXPECT_EQ(onCaller.load(), 1);
    EXPECT_EQ(onEvent.load(), 2);
    center->removeObserver(t2);
}

struct Owner : ov::DisposableSlot {};

TEST(NotificationDisposableTest, OneDisposablePerOwnerAndItEndsWithTheOwner) {
    auto center = NotificationCenter::make();
    std::vector<std::string> calls;
    auto owner = std::make_unique<Owner>();
    ov::runAndObserve(center, "n", nullptr, [&] { calls.push_back("first"); })->disposed(*owner);
    ov::runAndObserve(center, "n", nullptr, [&] { calls.push_back("second"); })->disposed(*owner);
    EXPECT_EQ(center->registrationCount(), 1u);  // the first was released and unregistered
    calls.clear();
    center->post("n");
    EXPECT_EQ(calls, (std::vector<std::string>{"second"}));

    // A disposable that someone else still holds stays registered when replaced.
    auto held = ov::runAndObserve(center, "n", nullptr, [&] { calls.push_back("held"); });
    held->disposed(*owner);
    ov::runAndObserve(center, "n", nullptr, [&] { calls.push_back("third"); })->disposed(*owner);
    calls.clear();
    center->post("n");
    EXPECT_EQ(calls, (std::vector<std::string>{"held", "third"}));
    held.reset();

    // Copies of an owner do not carry its registration.
    Owner copy(*owner);
    EXPECT_FALSE(copy.attachedDisposable());

    owner.reset();
    calls.clear();
    center->post("n");
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(center->registrationCount(), 0u);
}

TEST(NotificationDisposableTest, OwnerCapturedWeaklyEndsTheRegistration) {
    struct View : ov::DisposableSlot, std::enable_shared_from_this<View> {
        std::atomic<int> restyled{0};
        void start(const std::shared_ptr<NotificationCenter>& center) {
            ov::runAndObserve(center, "theme", nullptr, [weak = weak_from_this()] {
                if (auto self = weak.lock()) ++self->restyled;
            })->disposed(*this);
        }
    };
    auto center = NotificationCenter::make();
    auto view = std::make_shared<View>();
    std::weak_ptr<View> weak = view;
    view->start(center);
    center->post("theme");
    EXPECT_EQ(view->restyled.load(), 2);
    view.reset();
    EXPECT_TRUE(weak.expired());  // no cycle through the centre
    EXPECT_EQ(center->registrationCount(), 0u);
}

}  // namespace
