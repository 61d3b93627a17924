// OverwritingDictionary, Boxable/Box and UndoStack.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Collections/Boxable.h"
#include "OVUtility/Collections/OverwritingDictionary.h"
#include "OVUtility/Collections/UndoStack.h"

namespace {

TEST(OverwritingDictionary, ReportsEveryLostValue) {
    std::vector<int> lost;
    ov::OverwritingDictionary<std::string, int> dict([&](const int& old) { lost.push_back(old); });
    dict.set("k", 1);
    EXPECT_TRUE(lost.empty());  // a new key loses nothing
    dict.set("k", 1);           // same value: still reported
    EXPECT_EQ(lost, std::vector<int>{1});
    dict.set("k", std::nullopt);
    EXPECT_EQ(lost, (std::vector<int>{1, 1}));
    EXPECT_EQ(dict["k"], std::nullopt);
    dict.set("gone", std::nullopt);  // nothing stored: nothing reported
    EXPECT_EQ(lost.size(), 2u);

    lost.clear();
    dict.set("a", 10);
    dict.set("b", 20);
    dict.set("c", 30);
    dict.clear();
    std::sort(lost.begin(), lost.end());
    EXPECT_EQ(lost, (std::vector<int>{10, 20, 30}));
    EXPECT_TRUE(dict.isEmpty());
}

TEST(OverwritingDictionary, CallbackMayEditTheDictionary) {
    ov::OverwritingDictionary<int, std::string>* self = nullptr;
    std::vector<std::string> lost;
    ov::OverwritingDictionary<int, std::string> dict([&](const std::string& old) {
        lost.push_back(old);
        if (old == "first") self->set(99, "from callback");
    });
    self = &dict;
    dict.set(1, "first");
    dict.set(1, "second");
    EXPECT_EQ(dict.get(1), "second");
    EXPECT_EQ(dict.get(99), "from callback");
    EXPECT_EQ(lost, std::vector<std::string>{"first"});
}

struct TrackId : ov::Boxable<TrackId, std::string> {
    explicit TrackId(std::string raw) : raw(std::move(raw)) {}
    const std::string& rawValue() const { return raw; }
    std::string raw;
};
static_assert(ov::BoxableType<TrackId>);
static_assert(ov::BoxableType<ov::Box<int>>);

TEST(Boxable, EqualityAndFailableCreation) {
    EXPECT_EQ(TrackId::make("t1"), TrackId::make("t1"));
    EXPECT_NE(TrackId::make("t1"), TrackId::make("t2"));
    EXPECT_EQ(TrackId::make(std::optional<std::string>{}), std::nullopt);
    EXPECT_EQ(TrackId::make(std::optional<std::string>{"x"})->rawValue(), "x");

    auto a = ov::Box<int>::make(5);
    EXPECT_EQ(*a, *ov::Box<int>::make(std::optional<int>{5}));  // equal through raw values
    EXPECT_FALSE(*a == *ov::Box<int>::make(6));
    EXPECT_EQ(ov::Box<int>::make(std::optional<int>{}), nullptr);
}

TEST(UndoStack, RollbackRunsNewestFirstAndRereadsDepth) {
    std::vector<std::string> ran;
    ov::UndoStack stack;
    stack.registerUndo("a", [&] { ran.push_back("A"); });
    stack.registerUndo("b", [&] { ran.push_back("B"); });
    stack.registerUndo("c", [&] { ran.push_back("C"); });
    EXPECT_EQ(stack.depth(), 3);
    stack.dropFirst();  // A goes without running
    stack.rollback();
    EXPECT_EQ(ran, (std::vector<std::string>{"C", "B"}));
    EXPECT_EQ(stack.depth(), 0);
    stack.dropFirst();  // harmless when empty

    // An undo block that registers another operation: it is rolled back too,
    // before the older ones.
    ran.clear();
    stack.registerUndo("first", [&] { ran.push_back("first"); });
    stack.registerUndo("second", [&] {
        ran.push_back("second");
        stack.registerUndo("late", [&] { ran.push_back("late"); });
    });
    stack.rollback();
    EXPECT_EQ(ran, (std::vector<std::string>{"second", "late", "first"}));
    EXPECT_EQ(stack.depth(), 0);

    ran.clear();
    stack.registerUndo([&] { ran.push_back("x"); });
    stack.dropAll();
    stack.rollback();
    EXPECT_TRUE(ran.empty());
}

TEST(UndoStack, DescriptionText) {
    ov::UndoStack stack;
    EXPECT_EQ(stack.description(), "UndoStack:\n  Depth: 0\n  Deque:\n    DoublyLinkedList: [\n]");
    stack.registerUndo("a", [] {});
    stack.registerUndo("b", [] {});
    EXPECT_EQ(stack.description(),
              "UndoStack:\n  Depth: 2\n  Deque:\n    DoublyLinkedList: [\n      a\n      b\n]");
    stack.registerUndo([] {});
    EXPECT_NE(stack.description().find("      No description\n]"), std::string::npos);
}

}  // namespace
