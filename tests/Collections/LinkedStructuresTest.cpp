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

std::string text(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(DoublyLinkedList, IterationDescriptionAndEnds) {
    ov::DoublyLinkedList<int> list{1, 2, 3};
    EXPECT_EQ(std::vector<int>(list.begin(), list.end()), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(list.description(), "DoublyLinkedList: [\n      1\n      2\n      3\n]");
    EXPECT_EQ(ov::DoublyLinkedList<int>().description(), "DoublyLinkedList: [\n]");
    auto it = list.makeIterator();
    EXPECT_EQ(it.next(), 1);
    EXPECT_EQ(it.next(), 2);
    EXPECT_EQ(it.next(), 3);
    EXPECT_EQ(it.next(), std::nullopt);

    ov::DoublyLinkedList<std::string> one(std::vector<std::string>{"only"});
    EXPECT_EQ(one.removeFromTail(), "only");
    EXPECT_EQ(one.peekAtHead(), std::nullopt);
    EXPECT_EQ(one.peekAtTail(), std::nullopt);
    EXPECT_EQ(one.count(), 0);
    EXPECT_EQ(one.removeFromHead(), std::nullopt);
    EXPECT_EQ(one.removeFromTail(), std::nullopt);
    EXPECT_EQ(one.count(), 0);
    one.addToTail("again");  // the emptied list links up again correctly
    one.addToHead("first");
    EXPECT_EQ(one.peekAtTail(), "again");
    EXPECT_EQ(one.removeFromTail(), "again");
    EXPECT_EQ(one.peekAtTail(), "first");
}

TEST(DoublyLinkedList, IteratorsKeepRemovedNodesReadable) {
    ov::DoublyLinkedList<int> list{1, 2, 3, 4};
    auto it = list.makeIterator();
    it.next();  // now at node 2
    list.removeFromHead();
    list.removeFromHead();  // node 2 leaves the list but the iterator holds it
    list.addToTail(5);
    EXPECT_EQ(list.peekAtHead(), 3);
    EXPECT_EQ(it.next(), 2);
    EXPECT_EQ(it.next(), 3);
    EXPECT_EQ(it.next(), 4);
    EXPECT_EQ(it.next(), 5);
    EXPECT_EQ(it.next(), std::nullopt);
    EXPECT_EQ(std::vector<int>(list.begin(), list.end()), (std::vector<int>{3, 4, 5}));

    // The range iterator owns its node as well: the list may change in the loop.
    std::vector<int> seen;
    for (int v : list) {
        seen.push_back(v);
        list.removeFromHead();
    }
    EXPECT_EQ(seen, (std::vector<int>{3, 4, 5}));
    // Emptied from the head while an iterator holds the last node: no stale tail.
    list.addToTail(6);
    auto held = list.makeIterator();
    EXPECT_EQ(list.removeFromHead(), 6);
    EXPECT_EQ(list.peekAtTail(), std::nullopt);
    EXPECT_EQ(held.next(), 6);
}

TEST(DoublyLinkedList, MillionNodeListsAreFreedWithoutRecursion) {
    constexpr int kNodes = 1'000'000;
    {
        ov::DoublyLinkedList<int> list;
        for (int i = 0; i < kNodes; ++i) list.addToTail(i);
        EXPECT_EQ(list.count(), kNodes);
    }  // destroyed here
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
    SUCCEED();
}

TEST(Deque, ForwardsAndDescribes) {
    ov::Deque<int> deque;
    EXPECT_EQ(deque.popFirst(), std::nullopt);
    EXPECT_EQ(deque.count(), 0);
    deque.addLast(1);
    deque.addFirst(0);
    EXPECT_EQ(deque.description(), "Deque:\n    DoublyLinkedList: [\n      0\n      1\n]");
    EXPECT_EQ(deque.peekLast(), 1);
    EXPECT_EQ(deque.popLast(), 1);
    EXPECT_EQ(deque.popLast(), 0);
    EXPECT_TRUE(deque.isEmpty());
    for (int v : {1, 2, 3}) deque.addLast(v);
    for (int v : deque) deque.popLast(), deque.addFirst(v);  // changed inside the loop
    EXPECT_EQ(deque.description(), "Deque:\n    DoublyLinkedList: [\n      2\n      1\n      1\n]");
}

// Random end operations on a list and a deque, checked against std::deque
// after every step (contents both ways, count, both ends).
TEST(DoublyLinkedList, MatchesReferenceModelOnRandomOperations) {
    std::mt19937 rng(99);
    ov::DoublyLinkedList<int> list;
    ov::Deque<int> deque;
    std::deque<int> model;
    for (int step = 0; step < 20000; ++step) {
        const int value = static_cast<int>(rng() % 1000);
        // Bias towards growth early and shrinking later so both empty and
        // long states are visited.
        const unsigned op = rng() % (step % 2000 < 1000 ? 6 : 8);
        switch (op) {
            case 0:
            case 4:
                list.addToHead(value);
                deque.addFirst(value);
                model.push_front(value);
                break;
            case 1:
            case 5:
                list.addToTail(value);
                deque.addLast(value);
                model.push_back(value);
                break;
            case 2:
            case 6: {
                auto expected = model.empty() ? std::nullopt : std::optional<int>(model.front());
                if (!model.empty()) model.pop_front();
                ASSERT_EQ(list.removeFromHead(), expected);
                ASSERT_EQ(deque.popFirst(), expected);
                break;
            }
            default: {
                auto expected = model.empty() ? std::nullopt : std::optional<int>(model.back());
                if (!model.empty()) model.pop_back();
                ASSERT_EQ(list.removeFromTail(), expected);
                ASSERT_EQ(deque.popLast(), expected);
                break;
            }
        }
        ASSERT_EQ(list.count(), static_cast<std::int64_t>(model.size()));
        ASSERT_EQ(deque.count(), static_cast<std::int64_t>(model.size()));
        ASSERT_EQ(list.isEmpty(), model.empty());
        ASSERT_EQ(list.peekAtHead(), model.empty() ? std::nullopt : std::optional(model.front()));
        ASSERT_EQ(list.peekAtTail(), model.empty() ? std::nullopt : std::optional(model.back()));
        ASSERT_EQ(deque.peekFirst(), list.peekAtHead());
        ASSERT_EQ(deque.peekLast(), list.peekAtTail());
        if (step % 97 == 0) {
            ASSERT_TRUE(std::equal(list.begin(), list.end(), model.begin(), model.end()));
            ASSERT_TRUE(std::equal(deque.begin(), deque.end(), model.begin(), model.end()));
        }
    }
}

TEST(CircularData, KeepsTheMostRecentBytes) {
    ov::CircularData ring(4);
    ring.append("ab");
    EXPECT_EQ(text(ring.getData()), "ab");
    ring.append("cd");  // exactly full, not wrapped yet
    EXPECT_EQ(text(ring.getData()), "abcd");
    ring.append("e");
    EXPECT_EQ(text(ring.getData()), "bcde");
    ring.append("");
    EXPECT_EQ(text(ring.getData()), "bcde");

    ov::CircularData big(4);
    big.append("abcdef");
    EXPECT_EQ(text(big.getData()), "cdef");
    big.append("g");
    EXPECT_EQ(text(big.getData()), "defg");

    ov::CircularData split(4);
    split.append("abc");
    split.append("def");  // "d" at 3, then "ef" from 0
    EXPECT_EQ(text(split.getData()), "cdef");
    split.append("gh");
    EXPECT_EQ(text(split.getData()), "efgh");

    ov::CircularData empty(0);
    empty.append("xyz");
    EXPECT_TRUE(empty.getData().empty());
    ov::CircularData negative(-3);
    negative.append("xyz");
    EXPECT_TRUE(negative.getData().empty());
}

// The ring always holds the last `capacity` bytes of everything appended.
TEST(CircularData, MatchesReferenceModelOnRandomAppends) {
    std::mt19937 rng(5);
    for (int capacity : {1, 2, 3, 7, 16}) {
        ov::CircularData ring(capacity);
        std::string all;
        for (int step = 0; step < 2000; ++step) {
            std::string chunk(rng() % (2 * capacity + 2), '\0');
            for (auto& ch : chunk) ch = static_cast<char>('a' + rng() % 26);
            ring.append(chunk);
            all += chunk;
            const std::size_t keep = std::min<std::size_t>(all.size(), capacity);
            ASSERT_EQ(text(ring.getData()), all.substr(all.size() - keep))
                << "capacity " << capacity << " step " << step;
        }
    }
}

}  // namespace
