// TaskMap: visibility through canBeIndexed, and the four-step admission rule
// (exclusivity only between tasks sharing an id, duplicate hand-over).
#include <gtest/gtest.h>

#include "OVUtility/Tasks/TaskMap.h"
#include "Tasks/FakeTask.h"

using namespace ov;
using ovtest::FakeTask;
using ovtest::PlainIndexable;

TEST(TaskMapTest, EmptyMapAcceptsAndListsNothing) {
    TaskMap map;
    EXPECT_TRUE(map.canIndex(std::make_shared<PlainIndexable>("a")));
    EXPECT_TRUE(map.allIndexedTasks().empty());
    EXPECT_FALSE(map.isIndexed("a"));
    map.deIndex("unknown");  // changes nothing
    EXPECT_TRUE(map.map().empty());
}

TEST(TaskMapTest, IndexReplacesAndDeIndexRemovesOnlyThatId) {
    TaskMap map;
    auto a1 = std::make_shared<PlainIndexable>("a");
    auto a2 = std::make_shared<PlainIndexable>("a");
    auto b = std::make_shared<PlainIndexable>("b");
    map.index(a1);
    map.index(b);
    map.index(a2);
    EXPECT_EQ(map.indexedTask("a"), a2);
    EXPECT_EQ(map.allIndexedTasks().size(), 2u);
    map.deIndex("zzz");
    EXPECT_EQ(map.allIndexedTasks().size(), 2u);
    map.deIndex("a");
    EXPECT_FALSE(map.isIndexed("a"));
    EXPECT_TRUE(map.isIndexed("b"));
}

TEST(TaskMapTest, SwitchedOffTaskIsInvisibleButStaysAndLetsSameIdIn) {
    TaskMap map;
    auto task = std::make_shared<PlainIndexable>("x");
    map.index(task);
    task->setCanBeIndexed(false);
    EXPECT_EQ(map.indexedTask("x"), nullptr);
    EXPECT_FALSE(map.isIndexed("x"));
    EXPECT_EQ(map.map().count("x"), 1u);
    EXPECT_TRUE(map.canIndex(std::make_shared<PlainIndexable>("x")));
}

TEST(TaskMapTest, SameIdNonDuplicableIsRefused) {
    TaskMap map;
    map.index(std::make_shared<PlainIndexable>("x"));
    EXPECT_FALSE(map.canIndex(std::make_shared<PlainIndexable>("x")));
    EXPECT_TRUE(map.canIndex(std::make_shared<PlainIndexable>("y")));
}

TEST(TaskMapTest, DuplicableNewcomerIsRefusedAndHandedToTheRegisteredTask) {
    TaskMap map;
    auto first = std::make_shared<FakeTask>("dup");
    auto second = std::make_shared<FakeTask>("dup");
    map.index(first);
    EXPECT_FALSE(map.canIndex(second));
    ASSERT_EQ(first->duplicatedTasks().size(), 1u);
    EXPECT_EQ(first->duplicatedTasks()[0].get(), static_cast<TaskDuplicable*>(second.get()));
    // Only the newcomer duplicable: still refused, nothing handed over.
    TaskMap other;
    other.index(std::make_shared<PlainIndexable>("dup"));
    auto third = std::make_shared<FakeTask>("dup");
    EXPECT_FALSE(other.canIndex(third));
}

TEST(TaskMapTest, ExclusivityIsRefusedBeforeDuplicateHandOver) {
    TaskMap map;
    auto first = std::make_shared<FakeTask>("same");
    first->exclusive = "player";
    map.index(first);
    auto second = std::make_shared<FakeTask>("same");
    second->exclusive = "player";
    EXPECT_FALSE(map.canIndex(second));
    EXPECT_TRUE(first->duplicatedTasks().empty());  // refused at the exclusivity step
    // Different exclusive ids fall through to the duplicate rule.
    auto third = std::make_shared<FakeTask>("same");
    third->exclusive = "other";
    EXPECT_FALSE(map.canIndex(third));
    EXPECT_EQ(first->duplicatedTasks().size(), 1u);
}

TEST(TaskMapTest, SameExclusiveIdWithDifferentTaskIdsIsAccepted) {
    TaskMap map;
    auto first = std::make_shared<FakeTask>("one");
    first->exclusive = "player";
    map.index(first);
    auto second = std::make_shared<FakeTask>("two");
    second->exclusive = "player";
    EXPECT_TRUE(map.canIndex(second));
}
