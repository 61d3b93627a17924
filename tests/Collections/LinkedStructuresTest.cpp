// DoublyLinkedList, Deque and CircularData, including random operation
// sequences compared step by step with standard-library reference models.
#include <deque>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Collections/CircularData.h"
#include "OVUtility/Collections/Deque.h"
#include "OVUtility/Collections/DoublyLinkedList.h"

namespace {

TEST(DoublyLinkedList, DescriptionsAndIteratorsThatOutliveRemoval) {
    ov::DoublyLinkedList<int> list{1, 2, 3, 4};
    list.removeFromTail();
    EXPECT_EQ(list.description(), "DoublyLinkedList: [\n      1\n      2\n      3\n]");
    EXPECT_EQ(ov::DoublyLinkedList<int>().description(), "DoublyLinkedList: [\n]");
    list.addToTail(4);
    auto it = list.makeIterator();
    it.next();              // now at node 2
    list.removeFromHead();
    list.removeFromHead();  // node 2 leaves the list but the iterator holds it
    list.addToTail(5);
    std::vector<int> walked;
    while (auto v = it.next()) walked.push_back(*v);
    EXPECT_EQ(walked, (std::vector<int>{2, 3, 4, 5}));

    // The range iterator owns its node as well: the list may change in the loop.
    std::vector<int> seen;
    for (int v : list) seen.push_back(v), list.removeFromHead();
    EXPECT_EQ(seen, (std::vector<int>{3, 4, 5}));
    // Emptied from the head while an iterator holds the last node: no stale tail.
    list.addToTail(6);
    auto held = list.makeIterator();
    EXPECT_EQ(list.removeFromHead(), 6);
    EXPECT_EQ(list.peekAtTail(), std::nullopt);
    EXPECT_EQ(held.next(), 6);

    ov::Deque<int> deque;
    for (int v : {1, 2, 3}) deque.addLast(v);
    for (int v : deque) deque.popLast(), deque.addFirst(v);  // changed inside the loop
    EXPECT_EQ(deque.description(), "Deque:\n    DoublyLinkedList: [\n      2\n      1\n      1\n]");
}

TEST(DoublyLinkedList, MillionNodeListsAreFreedWithoutRecursion) {
    constexpr int kNodes = 1'000'000;
    {
        ov::DoublyLinkedList<int> list;
        for (int i = 0; i < kNodes; ++i) list.addToTail(i);
    }
    // An iterator in the middle keeps the second half alive; letting it go
    // frees that half iteratively too.
    ov::DoublyLinkedListIterator<int> middle;
    {
        ov::DoublyLinkedList<int> list;
        for (int i = 0; i < kNodes; ++i) list.addToHead(i);
        middle = list.makeIterator();
        for (int i = 0; i < kNodes / 2; ++i) middle.next();
    }
    EXPECT_EQ(middle.next(), kNodes / 2 - 1);
    middle = {};
}

// Random end operations on a list and a deque, checked against std::deque
// after every step (contents both ways, count, both ends).
TEST(DoublyLinkedList, MatchesReferenceModelOnRandomOperations) {
    std::mt19937 rng(99);
    ov::DoublyLinkedList<int> list;
    ov::Deque<int> deque;
    std::deque<int> model;
    auto front = [&] { return model.empty() ? std::nullopt : std::optional(model.front()); };
    auto back = [&] { return model.empty() ? std::nullopt : std::optional(model.back()); };
    for (int step = 0; step < 20000; ++step) {
        const int value = static_cast<int>(rng() % 1000);
        // Grow in the first half of every 2000 steps, shrink in the second, so
        // both empty and long states are visited.
        const unsigned op = rng() % (step % 2000 < 1000 ? 6 : 8) % 4;
        if (op == 0) {
            list.addToHead(value), deque.addFirst(value), model.push_front(value);
        } else if (op == 1) {
            list.addToTail(value), deque.addLast(value), model.push_back(value);
        } else if (op == 2) {
            const auto expected = front();
            if (!model.empty()) model.pop_front();
            ASSERT_EQ(list.removeFromHead(), expected);
            ASSERT_EQ(deque.popFirst(), expected);
        } else {
            const auto expected = back();
            if (!model.empty()) model.pop_back();
            ASSERT_EQ(list.removeFromTail(), expected);
            ASSERT_EQ(deque.popLast(), expected);
        }
        ASSERT_EQ(list.count(), static_cast<std::int64_t>(model.size()));
        ASSERT_EQ(deque.count(), static_cast<std::int64_t>(model.size()));
        ASSERT_EQ(list.isEmpty(), model.empty());
        ASSERT_EQ(deque.isEmpty(), model.empty());
        ASSERT_EQ(list.peekAtHead(), front());
        ASSERT_EQ(list.peekAtTail(), back());
        ASSERT_EQ(deque.peekFirst(), front());
        ASSERT_EQ(deque.peekLast(), back());
        if (step % 97 == 0) {
            ASSERT_TRUE(std::equal(list.begin(), list.end(), model.begin(), model.end()));
            ASSERT_TRUE(std::equal(deque.begin(), deque.end(), model.begin(), model.end()));
            auto it = list.makeIterator();
            for (int expected : model) ASSERT_EQ(it.next(), expected);
            ASSERT_EQ(it.next(), std::nullopt);
        }
    }
}

// The ring always holds the last `capacity` bytes of everything appended
// (nothing for a capacity of zero or below); chunks run from empty to more
// than twice the capacity, so exact fills, wraps and splits all occur.
TEST(CircularData, MatchesReferenceModelOnRandomAppends) {
    std::mt19937 rng(5);
    for (int capacity : {-3, 0, 1, 2, 3, 4, 7, 16}) {
        ov::CircularData ring(capacity);
        std::string all;
        for (int step = 0; step < 2000; ++step) {
            std::string chunk(rng() % (2 * std::max(capacity, 1) + 2), '\0');
            for (auto& ch : chunk) ch = static_cast<char>('a' + rng() % 26);
            ring.append(chunk);
            all += chunk;
            const auto keep = std::min<std::size_t>(all.size(), std::max(capacity, 0));
            const auto data = ring.getData();
            ASSERT_EQ(std::string(data.begin(), data.end()), all.substr(all.size() - keep))
                << "capacity " << capacity << " step " << step;
        }
    }
}

}  // namespace
