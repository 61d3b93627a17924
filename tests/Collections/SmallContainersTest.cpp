// OverwritingDictionary, Boxable/Box and UndoStack.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OVUtility/Collections/Boxable.h"
#include "OVUtility/Collections/OverwritingDictionary.h"
#include "OVUtility/Collections/UndoStack.h"

namespace {

// Every stored value that is replaced, removed or cleared is reported, even
// one replaced by an equal value; the callback may edit the dictionary.
TEST(OverwritingDictionary, ReportsEveryLostValue) {
    std::vector<int> lost;
    ov::OverwritingDictionary<std::string, int>* self = nullptr;
    ov::OverwritingDictionary<std::string, int> dict([&](const int& old) {
        lost.push_back(old);
        if (old == 2) self->set("from callback", 7);
    });
    self = &dict;
    dict.set("k", 1);
    dict.set("k", 1);
    dict.set("k", std::nullopt);
    dict.set("gone", std::nullopt);  // nothing stored: nothing reported
    EXPECT_EQ(lost, (std::vector<int>{1, 1}));
    EXPECT_EQ(dict["k"], std::nullopt);
    dict.set("b", 2);
    dict.set("b", 3);
    EXPECT_EQ(dict.get("b"), 3);
    EXPECT_EQ(dict.get("from callback"), 7);
    dict.clear();
    std::sort(lost.begin(), lost.end());
    EXPECT_EQ(lost, (std::vector<int>{1, 1, 2, 3, 7}));
    EXPECT_TRUE(dict.isEmpty());
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
    auto record = [&](std::string name) { return [&ran, name] { ran.push_back(name); }; };
    EXPECT_EQ(stack.description(), "UndoStack:\n  Depth: 0\n  Deque:\n    DoublyLinkedList: [\n]");
    for (auto name : {"a", "b", "c"}) stack.registerUndo(name, record(name));
    EXPECT_EQ(stack.description(), "UndoStack:\n  Depth: 3\n  Deque:\n    DoublyLinkedList: [\n"
                                   "      a\n      b\n      c\n]");
    stack.dropFirst();  // "a" goes without running
    // An undo block that registers another operation: it is rolled back too,
    // before the older ones.
    stack.registerUndo("d", [&] {
        ran.push_back("d");
        stack.registerUndo("late", record("late"));
    });
    stack.rollback();
    EXPECT_EQ(ran, (std::vector<std::string>{"d", "late", "c", "b"}));
    EXPECT_EQ(stack.depth(), 0);
    stack.dropFirst();  // harmless when empty

    ran.clear();
    stack.registerUndo(record("x"));
    EXPECT_NE(stack.description().find("      No description\n]"), std::string::npos);
    stack.dropAll();
    stack.rollback();
    EXPECT_TRUE(ran.empty());
}

}  // namespace
