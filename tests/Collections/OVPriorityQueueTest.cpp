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

std::shared_ptr<std::string> obj(std::string s) {
    return std::make_shared<std::string>(std::move(s));
}

std::vector<std::string> drain(Queue& q) {
    std::vector<std::string> out;
    while (auto o = q.poll()) out.push_back(*o);
    return out;
}

TEST(OVPriorityQueue, TieBreakModesAndDefaultPriority) {
    auto fifo = Queue::make();
    auto lifo = Queue::queueWithTieBreakerMode(1);
    auto other = Queue::queueWithTieBreakerMode(7);  // anything but 1 is oldest-first
    for (auto* q : {fifo.get(), lifo.get(), other.get()}) {
        q->add(obj("x"), 3);
        q->add(obj("y"), 3);
        q->add(obj("z"), 3);
        q->add(obj("default"));
        q->add(obj("urgent"), 0);
        q->add(obj("huge"), 0xFFFFFFFFFFFFFFFFull);  // unsigned ordering
    }
    EXPECT_EQ(drain(*fifo), (std::vector<std::string>{"urgent", "x", "y", "z", "default", "huge"}));
    EXPECT_EQ(drain(*lifo), (std::vector<std::string>{"urgent", "z", "y", "x", "default", "huge"}));
    EXPECT_EQ(drain(*other),
              (std::vector<std::string>{"urgent", "x", "y", "z", "default", "huge"}));
    EXPECT_EQ(fifo->poll(), nullptr);
    EXPECT_EQ(fifo->count(), 0u);
    EXPECT_EQ(fifo->peek(), nullptr);
    fifo->add(nullptr, 1);
    EXPECT_EQ(fifo->count(), 0u);

    // Nodes keep the mode they were made with: the older node decides here.
    auto q = Queue::make();
    q->add(obj("old"), 5);
    q->setTieBreakerMode(1);
    q->add(obj("new"), 5);
    EXPECT_EQ(drain(*q), (std::vector<std::string>{"old", "new"}));
    auto r = Queue::queueWithTieBreakerMode(1);
    r->add(obj("old"), 5);
    r->setTieBreakerMode(0);
    r->add(obj("new"), 5);
    EXPECT_EQ(drain(*r), (std::vector<std::string>{"new", "old"}));
}

TEST(OVPriorityQueue, NodeComparisonsDescriptionAndClock) {
    const ov::Date t(100);
    Node a(obj("a"), 5, t, 0), b(obj("b"), 5, t.addingTimeInterval(1), 0);
    Node same(obj("s"), 5, t, 0);
    EXPECT_TRUE(a.isSmallerThanNode(&b));
    EXPECT_TRUE(b.isLargerThanNode(&a));
    EXPECT_FALSE(a.isSmallerThanNode(&same));
    EXPECT_FALSE(a.isLargerThanNode(&same));
    EXPECT_FALSE(a.isSmallerThanNode(nullptr));
    EXPECT_FALSE(a.isLargerThanNode(nullptr));
    Node a1(obj("a"), 5, t, 1), b1(obj("b"), 5, t.addingTimeInterval(1), 1);
    EXPECT_FALSE(a1.isSmallerThanNode(&b1));
    EXPECT_TRUE(b1.isSmallerThanNode(&a1));
    EXPECT_TRUE(a1.isLargerThanNode(&b1));
    Node low(obj("l"), 4, t.addingTimeInterval(9), 1);
    EXPECT_TRUE(low.isSmallerThanNode(&a1));
    EXPECT_TRUE(a1.isLargerThanNode(&low));

    EXPECT_EQ(Node::nodeWithObject(obj("job"), 5, 0).description(), "job [5]");
    EXPECT_EQ(Node(nullptr, 2, t, 0).description(), "(null) [2]");

    // Creation dates are strictly increasing even within one clock tick.
    ov::Date previous = Node::nodeWithObject(obj("p"), 0, 0).createdAt();
    for (int i = 0; i < 10000; ++i) {
        ov::Date next = Node::nodeWithObject(obj("p"), 0, 0).createdAt();
        ASSERT_LT(previous, next);
        previous = next;
    }
}

TEST(OVPriorityQueue, IndexArithmeticKeepsSinglePrecisionParent) {
    auto q = Queue::make();
    EXPECT_EQ(q->parentIndexForNodeAtIndex(0), -1);
    EXPECT_EQ(q->parentIndexForNodeAtIndex(1), 0);
    EXPECT_EQ(q->parentIndexForNodeAtIndex(2), 0);
    EXPECT_EQ(q->parentIndexForNodeAtIndex(6), 2);
    EXPECT_EQ(q->parentIndexForNodeAtIndex(16777219), 8388609);
    // 33554435 is not representable in single precision: it rounds to
    // 33554436, so the parent is 16777218 rather than the exact 16777217.
    EXPECT_EQ(q->parentIndexForNodeAtIndex(33554436), 16777218);
    EXPECT_EQ(q->parentIndexForNodeAtIndex(int64_t{1} << 40), 2147483647);  // saturates

    // Children beyond the last position are -1; an empty heap never refuses.
    EXPECT_EQ(q->leftChildIndexForNodeAtIndex(0), 1);
    for (auto s : {"a", "b", "c"}) q->add(obj(s), 1);
    EXPECT_EQ(q->leftChildIndexForNodeAtIndex(0), 1);
    EXPECT_EQ(q->rightChildIndexForNodeAtIndex(0), 2);
    EXPECT_EQ(q->leftChildIndexForNodeAtIndex(1), -1);
}

TEST(OVPriorityQueue, IdentitySearchRemovalAndRefusedPositions) {
    auto q = Queue::make();
    auto thrice = obj("same");
    auto twin = obj("same");  // equal text, other object
    q->add(thrice, 3);
    q->add(twin, 1);
    q->add(thrice, 2);
    q->add(thrice, 9);
    EXPECT_TRUE(q->containsObject(twin));
    EXPECT_EQ(q->indexOfObject(twin), 0u);
    EXPECT_EQ(q->indexOfObject(obj("same")), Queue::NotFound);
    q->removeObject(thrice);
    EXPECT_EQ(q->count(), 1u);
    EXPECT_EQ(q->peek(), twin);
    q->removeObject(twin);
    EXPECT_FALSE(q->containsObject(twin));

    auto left = obj("left"), right = obj("right");
    auto rq = Queue::queueWithTieBreakerMode(0);
    rq->add(obj("root"), 0);
    rq->add(left, 5);
    rq->add(right, 5);
    rq->poll();
    EXPECT_EQ(rq->peek(), left);

    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(rq->itemAtIndex(5), nullptr);
    EXPECT_EQ(rq->itemAtIndex(-1), nullptr);
    rq->removeObjectAtIndex(7);
    EXPECT_EQ(rq->count(), 2u);
    EXPECT_EQ(capture->messages("Collections").size(), 3u);
    EXPECT_EQ(rq->itemAtIndex(1), right);
}

// Heap property: no parent is larger than its child (per the parent's mode).
void expectHeapOrdered(const std::vector<Node>& heap) {
    for (std::size_t i = 1; i < heap.size(); ++i) {
        const std::size_t parent = (i - 1) / 2;
        ASSERT_FALSE(heap[parent].isLargerThanNode(&heap[i])) << "at " << i;
    }
}

struct ModelEntry {
    std::shared_ptr<std::string> object;
    std::uint64_t priority;
    ov::Date createdAt;
};

// Random add/poll/remove sequences compared with a sorted model, both modes.
TEST(OVPriorityQueue, MatchesReferenceModelOnRandomOperations) {
    for (std::int64_t mode : {0, 1}) {
        std::mt19937 rng(static_cast<unsigned>(77 + mode));
        std::vector<std::shared_ptr<std::string>> pool;
        for (int i = 0; i < 12; ++i) pool.push_back(obj("o" + std::to_string(i)));
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
                ASSERT_FALSE(q->containsObject(o));
            }
            const auto heap = q->heap();
            ASSERT_EQ(heap.size(), model.size());
            ASSERT_EQ(q->count(), model.size());
            expectHeapOrdered(heap);
            if (!model.empty()) {
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
}

TEST(OVPriorityQueue, ConcurrentProducersAndConsumersLoseNothing) {
    auto q = ov::OVPriorityQueue<int>::make();
    constexpr int kPerThread = 5000;
    std::atomic<int> polled{0};
    std::atomic<long> sum{0};
    std::atomic<int> producersDone{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                auto value = std::make_shared<int>(t * kPerThread + i);
                q->add(value, static_cast<std::uint64_t>(i % 17));
                if (i % 50 == 0)
                    q->removeObject(value);  // nested locking
                else if (i % 50 == 1)
                    q->containsObject(value);
            }
            producersDone++;
        });
        threads.emplace_back([&] {
            while (producersDone.load() < 2 || q->count() > 0) {
                if (auto v = q->poll()) {
                    polled++;
                    sum += *v;
                }
            }
        });
    }
    for (auto& t : threads) t.join();
    long expectedSum = 0;
    int expectedCount = 0;
    for (int v = 0; v < 2 * kPerThread; ++v) {
        const int i = v % kPerThread;
        // Values removed right after adding may have been polled first.
        if (i % 50 != 0) {
            expectedSum += v;
            ++expectedCount;
        }
    }
    EXPECT_GE(polled.load(), expectedCount);
    EXPECT_LE(polled.load(), 2 * kPerThread);
    EXPECT_GE(sum.load(), expectedSum);
    EXPECT_EQ(q->count(), 0u);
}

}  // namespace
