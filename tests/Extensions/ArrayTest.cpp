#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Extensions/Array.h"

namespace {

using V = std::vector<int>;
using Chunks = std::vector<std::vector<int>>;

TEST(ArrayAdditions, SafeIndexingNeverLeavesTheArray) {
    const V v{10, 20, 30};
    EXPECT_EQ(ov::safeObjectAtIndex(v, 2), 30);
    EXPECT_EQ(ov::safeObjectAtIndex(v, 3), std::nullopt);  // the count itself
    EXPECT_EQ(ov::safeObjectAtIndex(V{}, 0), std::nullopt);
    EXPECT_EQ(ov::safe(v, 0), 10);
    EXPECT_EQ(ov::safe(v, -1), std::nullopt);
    EXPECT_EQ(ov::safe(v, 3), std::nullopt);
    EXPECT_EQ(ov::safe(std::deque<int>{5}, 0), 5);
}

TEST(ArrayAdditions, ChunkingKeepsOrderAndAShorterLastChunk) {
    EXPECT_EQ(ov::arrayBySplittingItemsIntoChunksOf(V{1, 2, 3, 4, 5}, 2),
              (Chunks{{1, 2}, {3, 4}, {5}}));
    EXPECT_EQ(ov::arrayBySplittingItemsIntoChunksOf(V{1, 2, 3, 4}, 2), (Chunks{{1, 2}, {3, 4}}));
    EXPECT_EQ(ov::arrayBySplittingItemsIntoChunksOf(V{1, 2}, 10), (Chunks{{1, 2}}));
    EXPECT_TRUE(ov::arrayBySplittingItemsIntoChunksOf(V{}, 3).empty());
    EXPECT_TRUE(ov::arrayBySplittingItemsIntoChunksOf(V{}, 0).empty());
}

TEST(ArrayAdditions, ChunkSizeBelowOneIsLoggedAndReturnsEverything) {
    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(ov::arrayBySplittingItemsIntoChunksOf(V{1, 2, 3}, 0), (Chunks{{1, 2, 3}}));
    EXPECT_EQ(ov::arrayBySplittingItemsIntoChunksOf(V{1, 2, 3}, -4), (Chunks{{1, 2, 3}}));
    EXPECT_EQ(capture->countStartingWith("arrayBySplittingItemsIntoChunksOf: chunk size"), 2u);
}

TEST(ArrayAdditions, DivideAndSafeSubset) {
    EXPECT_EQ(ov::divide(V{1, 2, 3, 4, 5, 6, 7}, 3), (Chunks{{1, 2, 3}, {4, 5, 6}, {7}}));
    EXPECT_EQ(ov::divide(V{1, 2, 3}, 0), (Chunks{{1, 2, 3}}));
    EXPECT_EQ(ov::divide(V{1, 2, 3}, -1), (Chunks{{1, 2, 3}}));
    EXPECT_TRUE(ov::divide(V{}, 2).empty());
    EXPECT_EQ(ov::divide(V{}, 0), Chunks(1));  // one (empty) subset holding the whole array

    // {start, count, expected} on 0...4
    const std::tuple<int, int, V> subsets[] = {{1, 2, {1, 2}}, {3, 100, {3, 4}}, {5, 1, {}},
                                               {99, 1, {}},    {-3, 2, {0, 1}},  {0, 0, {}}};
    for (const auto& [start, count, expected] : subsets) {
        EXPECT_EQ(ov::safeSubset(V{0, 1, 2, 3, 4}, start, count), expected)
            << start << "," << count;
    }
}

TEST(ArrayAdditions, LimitAndPrefixUpToAnElement) {
    const V v{4, 5, 6, 5};
    EXPECT_EQ(ov::arrayLimitedToCount(v, 2), (V{4, 5}));
    EXPECT_EQ(ov::arrayLimitedToCount(v, 10), v);
    EXPECT_EQ(ov::arrayLimitedToCount(v, 0), V{});
    EXPECT_EQ(ov::ov_arrayUpToAndExcluding(v, 5), (V{4}));  // first occurrence
    EXPECT_EQ(ov::ov_arrayUpToAndExcluding(v, 4), V{});
    EXPECT_EQ(ov::ov_arrayUpToAndExcluding(v, 9), v);  // absent: everything

    // Arrays of objects compare identity, not contents.
    auto a = std::make_shared<std::string>("x");
    auto b = std::make_shared<std::string>("x");
    auto c = std::make_shared<std::string>("y");
    std::vector<std::shared_ptr<std::string>> objects{a, c, b};
    EXPECT_EQ(ov::ov_arrayUpToAndExcluding(objects, b).size(), 2u);
    EXPECT_EQ(ov::ov_arrayUpToAndExcluding(objects, std::make_shared<std::string>("x")).size(), 3u);
}

TEST(ArrayAdditions, MapFilterReduceKeepOrder) {
    const V v{1, 2, 3, 4};
    EXPECT_EQ(ov::ov_map(v, [](int x) { return std::to_string(x); }),
              (std::vector<std::string>{"1", "2", "3", "4"}));
    EXPECT_EQ(ov::map(v, [](int x) { return x * 10; }), (V{10, 20, 30, 40}));
    EXPECT_EQ(ov::ov_filter(v, [](int x) { return x % 2 == 0; }), (V{2, 4}));
    // A non-commutative fold shows the order: ((("" + 1) + 2) + 3) + 4.
    EXPECT_EQ(ov::ov_reduce(v, std::string{},
                            [](std::string acc, int x) { return acc + std::to_string(x); }),
              "1234");
    EXPECT_EQ(ov::ov_reduce(V{}, 7, [](int acc, int x) { return acc + x; }), 7);
}

TEST(ArrayAdditions, Average) {
    EXPECT_DOUBLE_EQ(ov::average(std::vector<double>{1.0, 2.0, 4.5}), 2.5);
    EXPECT_FLOAT_EQ(ov::average(std::vector<float>{1.0f, 2.0f}), 1.5f);
    EXPECT_TRUE(std::isnan(ov::average(std::vector<double>{})));
}

}  // namespace
