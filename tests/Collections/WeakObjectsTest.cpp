#include "OVUtility/Collections/WeakObjects.h"

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Listener {
    explicit Listener(int id) : id(id) {}
    int id;
};

std::vector<int> visit(ov::WeakObjects<Listener>& set) {
    std::vector<int> ids;
    set.forEach([&](const std::shared_ptr<Listener>& l) { ids.push_back(l->id); });
    std::sort(ids.begin(), ids.end());
    return ids;
}

// Members are held weakly and by identity; the walk visits a snapshot outside
// the set's queue, so the body may edit the set (or throw).
TEST(WeakObjects, HoldsWeaklyByIdentityAndWalksASnapshot) {
    ov::WeakObjects<Listener> set;
    auto a = std::make_shared<Listener>(1);
    auto b = std::make_shared<Listener>(2);
    auto twin = std::make_shared<Listener>(1);  // equal id, other object
    for (const auto& l : {a, a, b, twin, std::shared_ptr<Listener>()}) set.add(l);
    set.remove(nullptr);
    EXPECT_EQ(visit(set), (std::vector<int>{1, 1, 2}));
    set.remove(twin);
    b.reset();  // destroyed: no longer visited, never kept alive
    EXPECT_EQ(set.count(), 2u);
    EXPECT_EQ(visit(set), std::vector<int>{1});
    EXPECT_EQ(set.count(), 1u);  // purged by the walk

    auto c = std::make_shared<Listener>(3);
    set.add(twin);
    int visited = 0;
    set.forEach([&](const std::shared_ptr<Listener>& l) {
        ++visited;
        set.remove(l);  // would deadlock if the body ran on the queue
        set.add(c);
    });
    EXPECT_EQ(visited, 2);
    EXPECT_EQ(visit(set), std::vector<int>{3});
    set.add(a);
    int calls = 0;
    auto stop = [&](const std::shared_ptr<Listener>&) { ++calls, throw std::runtime_error("stop"); };
    EXPECT_THROW(set.forEach(stop), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(WeakObjects, ConcurrentAddRemoveAndWalk) {
    ov::WeakObjects<Listener> set;
    std::vector<std::shared_ptr<Listener>> keep;
    for (int i = 0; i < 64; ++i) keep.push_back(std::make_shared<Listener>(i));
    std::atomic<bool> stop{false};
    std::thread walker([&] {
        while (!stop.load()) {
            set.forEach([](const std::shared_ptr<Listener>& l) { ASSERT_GE(l->id, 0); });
            (void)set.count();
        }
    });
    std::vector<std::thread> writers;
    for (int t = 0; t < 2; ++t) {
        writers.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round) {
                for (int i = t; i < 64; i += 2) set.add(keep[i]);
                for (int i = t; i < 64; i += 4) set.remove(keep[i]);
                auto temporary = std::make_shared<Listener>(1000);
                set.add(temporary);
            }
        });
    }
    for (auto& w : writers) w.join();
    stop = true;
    walker.join();
    // Every even-indexed-by-stride member removed last; the rest remain.
    std::vector<int> expected;
    for (int i = 0; i < 64; ++i)
        if (i % 4 >= 2) expected.push_back(i);
    EXPECT_EQ(visit(set), expected);
}

}  // namespace
