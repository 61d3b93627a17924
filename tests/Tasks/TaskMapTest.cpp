// TaskMap: visibility through canBeIndexed, the admission rule (exclusivity
// only between tasks sharing an id, then the duplicate hand-over), and the
// one-lookup admission and removal the task manager uses, which must agree
// with the six operations.
#include <gtest/gtest.h>

#include "OVUtility/Tasks/TaskMap.h"
#include "Tasks/FakeTask.h"

using namespace ov;
using ovtest::FakeTask;
using ovtest::PlainIndexable;

TEST(TaskMapTest, IndexReplacesDeIndexRemovesOnlyThatIdAndSwitchedOffTasksAreInvisible) {
    TaskMap map;
    auto a1 = std::make_shared<PlainIndexable>("a");
    auto a2 = std::make_shared<PlainIndexable>("a");
    auto b = std::make_shared<PlainIndexable>("b");
    EXPECT_TRUE(map.canIndex(a1));
    map.index(a1);
    map.index(b);
    map.index(a2);
    EXPECT_EQ(map.indexedTask("a"), a2);
    EXPECT_EQ(map.allIndexedTasks().size(), 2u);
    map.deIndex("zzz");
    map.deIndex("a");
    EXPECT_FALSE(map.isIndexed("a"));
    EXPECT_TRUE(map.isIndexed("b"));

    b->setCanBeIndexed(false);  // invisible, still stored, and its id is free again
    EXPECT_EQ(map.indexedTask("b"), nullptr);
    EXPECT_EQ(map.map().count("b"), 1u);
    EXPECT_TRUE(map.canIndex(std::make_shared<PlainIndexable>("b")));
}

TEST(TaskMapTest, SameIdIsRefusedExclusivityFirstThenDuplicatesAreHandedOver) {
    TaskMap map;
    map.index(std::make_shared<PlainIndexable>("plain"));
    EXPECT_FALSE(map.canIndex(std::make_shared<PlainIndexable>("plain")));
    EXPECT_FALSE(map.canIndex(std::make_shared<FakeTask>("plain")));  // nothing to hand to

    auto first = std::make_shared<FakeTask>("same");
    first->exclusive = "player";
    map.index(first);
    auto exclusive = std::make_shared<FakeTask>("same");
    exclusive->exclusive = "player";
    EXPECT_FALSE(map.canIndex(exclusive));
    EXPECT_TRUE(first->duplicatedTasks().empty());  // refused at the exclusivity step
    auto duplicate = std::make_shared<FakeTask>("same");
    duplicate->exclusive = "other";
    EXPECT_FALSE(map.canIndex(duplicate));
    ASSERT_EQ(first->duplicatedTasks().size(), 1u);
    EXPECT_EQ(first->duplicatedTasks()[0].get(), static_cast<TaskDuplicable*>(duplicate.get()));

    auto otherId = std::make_shared<FakeTask>("two");  // same exclusive id, other task id
    otherId->exclusive = "player";
    EXPECT_TRUE(map.canIndex(otherId));
}

// For every state of the entry under the id: the one-lookup forms leave the
// map as the look-up / canIndex / index and look-up / deIndex steps would.
TEST(TaskMapTest, OneLookupAdmissionAndRemovalAgreeWithTheSteps) {
    enum class Entry { none, visibleOther, invisibleOther, self };
    for (Entry entry : {Entry::none, Entry::visibleOther, Entry::invisibleOther, Entry::self}) {
        TaskMap map;
        auto task = std::make_shared<PlainIndexable>("x");
        auto other = std::make_shared<PlainIndexable>("x");
        if (entry == Entry::visibleOther || entry == Entry::invisibleOther) map.index(other);
        if (entry == Entry::invisibleOther) other->setCanBeIndexed(false);
        if (entry == Entry::self) map.index(task);

        auto taken = map.indexUnlessTaken(task, "x");
        const bool free = entry != Entry::visibleOther && entry != Entry::self;
        EXPECT_EQ(taken == nullptr, free) << static_cast<int>(entry);
        EXPECT_EQ(map.map().at("x"), free ? task : (entry == Entry::self ? task : other));

        map.deIndexUnlessReplaced(*task, "x");
        EXPECT_EQ(map.map().count("x"), entry == Entry::visibleOther ? 1u : 0u)
            << static_cast<int>(entry);
    }
    TaskMap map;
    auto gone = std::make_shared<PlainIndexable>("y");
    map.index(gone);
    gone->setCanBeIndexed(false);  // an invisible entry is removed by whoever completes
    map.deIndexUnlessReplaced(PlainIndexable("y"), "y");
    EXPECT_TRUE(map.map().empty());
}
