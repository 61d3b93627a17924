#include "OVUtility/Collections/OVPriorityQueue.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"

namespace {

using Queue = ov::OVPriorityQueue<std::string>;
using Node = ov::OVPriorityQueueNode<std::string>;
using Strings = std::vector<std::string>;

std::shared_ptr<std::string> obj(std::string s) {
    return std::make_shared<std::string>(std::move(s));
}

Strings drain(Queue& q) {
    Strings out;
    while (auto o = q.poll()) out.push_back(*o);
    return out;
}

// Anything but mode 1 is oldest-first; priorities compare unsigned; an empty
// object is ignored; nodes keep the mode they were made with.
TEST(OVPriorityQueue, TieBreakModesDefaultPriorityAndNodeModes) {
    for (std::int64_t mode : {0, 1, 7}) {
        auto q = Queue::queueWithTieBreakerMode(mode);
        for (auto s : {"x", "y", "z"}) q->add(obj(s), 3);
        q->add(obj("default"));
        q->add(obj("urgent"), 0);
        q->add(obj("huge"), 0xFFFFFFFFFFFFFFFFull);
        q->add(nullptr, 1);
        const Strings newestFirst{"urgent", "z", "y", "x", "default", "huge"};
        const Strings oldestFirst{"urgent", "x", "y", "z", "default", "huge"};
        EXPECT_EQ(drain(*q), mode == 1 ? newestFirst : oldestFirst);
        EXPECT_EQ(q->count(), 0u);
        q->add(obj("old"), 5);
        q->setTieBreakerMode(mode == 1 ? 0 : 1);
        q->add(obj("new"), 5);  // the older node decides
        EXPECT_EQ(drain(*q), mode == 1 ? (Strings{"new", "old"}) : (Strings{"old", "new"}));
    }
}

// Exact heap arrays (objects named a..h, priority after the name): on the way
// up only a strictly smaller parent stops a node, equal priorities fall back
// to age (oldest first in mode 0, newest in mode 1), bubbling down tries the
// left child first, and removal at a position swaps in the last node.
TEST(OVPriorityQueue, ExactHeapLayoutAfterAddPollAndRemoveAtIndex) {
    const struct {
        std::int64_t mode;
        const char *added, *polled, *removed;
    } rows[] = {{0, "dbgaefch", "gbhaefc", "gehacf"}, {1, "degabfch", "gehabfc", "gbhacf"}};
    for (const auto& row : rows) {
        auto q = Queue::queueWithTieBreakerMode(row.mode);
        auto layout = [&] {
            std::string names;
            for (const auto& node : q->heap()) names += *node.object();
            return names;
        };
        for (auto [name, p] : {std::pair{"a", 5}, {"b", 3}, {"c", 8}, {"d", 1}, {"e", 3}, {"f", 9},
                               {"g", 2}, {"h", 7}})
            q->add(obj(name), p);
        EXPECT_EQ(layout(), row.added) << row.mode;
        EXPECT_EQ(*q->poll(), "d");
        EXPECT_EQ(layout(), row.polled) << row.mode;
        q->removeObjectAtIndex(1);
        EXPECT_EQ(layout(), row.removed) << row.mode;
    }
}

TEST(OVPriorityQueue, NodeComparisonsDescriptionClockAndIndexArithmetic) {
    const ov::Date t(100);  // equal priority and time, or no other node: neither way
    for (std::int64_t mode : {0, 1}) {
        Node a(obj("a"), 5, t, mode), same(obj("s"), 5, t, mode);
        EXPECT_FALSE(a.isSmallerThanNode(&same) || a.isLargerThanNode(&same));
        EXPECT_FALSE(a.isSmallerThanNode(nullptr) || a.isLargerThanNode(nullptr));
    }
    EXPECT_EQ(Node::nodeWithObject(obj("job"), 5, 0).description(), "job [5]");
    EXPECT_EQ(Node(nullptr, 2, t, 0).description(), "(null) [2]");
    // Creation dates are strictly increasing even within one clock tick.
    ov::Date previous = Node::nodeWithObject(obj("p"), 0, 0).createdAt();
    for (int i = 0; i < 10000; ++i) {
        ov::Date next = Node::nodeWithObject(obj("p"), 0, 0).createdAt();
        ASSERT_LT(previous, next);
        previous = next;
    }

    // 33554435 is not representable in single precision: it rounds to
    // 33554436, so the parent is 16777218 rather than the exact 16777217.
    auto q = Queue::make();
    const std::pair<std::int64_t, std::int64_t> parents[] = {
        {0, -1}, {1, 0}, {2, 0}, {6, 2}, {16777219, 8388609}, {33554436, 16777218},
        {std::int64_t{1} << 40, 2147483647},  // saturates
    };
    for (auto [i, parent] : parents) EXPECT_EQ(q->parentIndexForNodeAtIndex(i), parent) << i;
    // Children beyond the last position are -1; an empty heap never refuses.
    EXPECT_EQ(q->leftChildIndexForNodeAtIndex(0), 1);
    for (auto s : {"a", "b", "c"}) q->add(obj(s), 1);
    EXPECT_EQ(q->rightChildIndexForNodeAtIndex(0), 2);
    EXPECT_EQ(q->leftChildIndexForNodeAtIndex(1), -1);
}

// Identity, not equality, finds an object; out-of-range positions are refused
// with a log line.
TEST(OVPriorityQueue, IdentitySearchAndRefusedPositions) {
    auto q = Queue::make();
    auto thrice = obj("same");
    auto twin = obj("same");  // equal text, other object
    for (std::uint64_t p : {3, 2, 9}) q->add(thrice, p);
    q->add(twin, 1);
    EXPECT_EQ(q->indexOfObject(twin), 0u);
    EXPECT_EQ(q->indexOfObject(obj("same")), Queue::NotFound);
    q->removeObject(thrice);
    EXPECT_EQ(q->count(), 1u);
    EXPECT_TRUE(q->containsObject(twin));

    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(q->itemAtIndex(1), nullptr);
    EXPECT_EQ(q->itemAtIndex(-1), nullptr);
    q->removeObjectAtIndex(7);
    EXPECT_EQ(q->count(), 1u);
    EXPECT_EQ(capture->messages("Collections").size(), 3u);
    EXPECT_EQ(q->itemAtIndex(0), twin);
}

struct ModelEntry {
    std::shared_ptr<std::string> object;
    std::uint64_t priority;
    ov::Date createdAt;
};

// Random add/poll/remove sequences compared with a sorted model, both modes;
// the heap property and identity search are checked after every step.
TEST(OVPriorityQueue, MatchesReferenceModelOnRandomOperations) {
    for (std::int64_t mode : {0, 1}) {
        std::mt19937 rng(static_cast<unsigned>(77 + mode));
        std::vector<std::shared_ptr<std::string>> pool;
        for (int i = 0; i < 12; ++i) pool.push_back(obj("o" + std::to_string(i % 6)));
        auto q = Queue::queueWithTieBreakerMode(mode);
        std::vector<ModelEntry> model;
        auto before = [mode](const ModelEntry& a, const ModelEntry& b) {
            if (a.priority != b.priority) return a.priority < b.priority;
            return mode == 1 ? b.createdAt < a.createdAt : a.createdAt < b.createdAt;
        };
        for (int step = 0; step < 3000; ++step) {
            const unsigned op = rng() % 10;
            if (op < 4) {
                auto o = pool[rng() % pool.size()];
                const std::uint64_t p = rng() % 6;
                q->add(o, p);
                // The new node is the one with the latest date in the heap.
                auto heap = q->heap();
                auto newest = std::max_element(heap.begin(), heap.end(), [](auto& a, auto& b) {
                    return a.createdAt() < b.createdAt();
                });
                model.push_back({o, p, newest->createdAt()});
            } else if (op < 7) {
                auto got = q->poll();
                if (model.empty()) {
                    ASSERT_EQ(got, nullptr);
                } else {
                    auto best = std::min_element(model.begin(), model.end(), before);
                    ASSERT_EQ(got, best->object) << "mode " << mode << " step " << step;
                    model.erase(best);
                }
            } else if (op < 9) {
                if (model.empty()) continue;
                const auto heap = q->heap();
                const std::size_t index = rng() % heap.size();
                const ov::Date gone = heap[index].createdAt();
                q->removeObjectAtIndex(index);
                model.erase(std::find_if(model.begin(), model.end(),
                                         [&](auto& e) { return e.createdAt == gone; }));
            } else {
                auto o = pool[rng() % pool.size()];
                q->removeObject(o);
                std::erase_if(model, [&](auto& e) { return e.object == o; });
            }
            const auto heap = q->heap();
            ASSERT_EQ(heap.size(), model.size());
            ASSERT_EQ(q->count(), model.size());
            for (std::size_t i = 1; i < heap.size(); ++i)
                ASSERT_FALSE(heap[(i - 1) / 2].isLargerThanNode(&heap[i])) << "at " << i;
            if (model.empty()) continue;
            ASSERT_EQ(q->peek(), std::min_element(model.begin(), model.end(), before)->object);
            auto probe = pool[rng() % pool.size()];
            auto first = std::find_if(heap.begin(), heap.end(),
                                      [&](auto& n) { return n.object() == probe; });
            ASSERT_EQ(q->indexOfObject(probe),
                      first == heap.end() ? Queue::NotFound
                                          : static_cast<std::uint64_t>(first - heap.begin()));
        }
    }
}

TEST(OVPriorityQueue, ConcurrentProducersAndConsumersHandOutEachObjectOnce) {
    auto q = ov::OVPriorityQueue<int>::make();
    constexpr int kPerThread = 5000;
    std::vector<std::vector<int>> polled(2);
    std::atomic<int> producersDone{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i)
                q->add(std::make_shared<int>(t * kPerThread + i),
                       static_cast<std::uint64_t>(i % 17));
            producersDone++;
        });
        threads.emplace_back([&, t] {
            while (producersDone.load() < 2 || q->count() > 0)
                if (auto v = q->poll()) polled[t].push_back(*v);
        });
    }
    for (auto& t : threads) t.join();
    std::vector<int> all(polled[0]);
    all.insert(all.end(), polled[1].begin(), polled[1].end());
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), 2u * kPerThread);
    for (int v = 0; v < 2 * kPerThread; ++v) ASSERT_EQ(all[v], v);
}

}  // namespace
