#include "OVUtility/Collections/ShuffleLCG.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(ShuffleLCG, GeneratorAndPermutationReferenceOutputs) {
    ov::ShuffleLCG lcg(1);
    std::vector<std::uint32_t> outputs;
    for (int i = 0; i < 8; ++i) outputs.push_back(lcg.next());
    EXPECT_EQ(outputs,
              (std::vector<std::uint32_t>{41, 18467, 6334, 26500, 19169, 15724, 11478, 29358}));
    // Large states wrap modulo 2^32 and keep only the low 31 bits.
    ov::ShuffleLCG high(0xFFFFFFFFu);
    high.next();
    EXPECT_EQ(high.seed(), (0xFFFFFFFFu * 214013u + 2531011u) & 0x7FFFFFFFu);

    ov::ShuffleLCG other(12345);
    std::vector<long> ten(10);
    std::iota(ten.begin(), ten.end(), 0);
    other.shuffle(ten);
    EXPECT_EQ(ten, (std::vector<long>{6, 9, 7, 1, 0, 2, 5, 8, 3, 4}));
}

// The running state continues from shuffle to shuffle; currentSeed reports
// where the last one began, and replaying it rebuilds the same order.
TEST(ShuffleLCG, SeedsAreRecordedAndReplay) {
    ov::ShuffleLCG lcg(1);
    const std::vector<int> five{0, 1, 2, 3, 4};
    auto a = five, b = five, replayed = five;
    lcg.shuffle(a);
    EXPECT_EQ(a, (std::vector<int>{2, 0, 4, 3, 1}));
    EXPECT_EQ(lcg.currentSeed(), 1u);
    EXPECT_EQ(lcg.seed(), 1736732949u);
    lcg.shuffle(b);
    EXPECT_EQ(b, (std::vector<int>{1, 2, 3, 0, 4}));
    EXPECT_EQ(lcg.currentSeed(), 1736732949u);
    lcg.shuffle(a);
    lcg.setInitialSeed(1736732949u);
    lcg.shuffle(replayed);
    EXPECT_EQ(replayed, b);

    // Arrays too short to shuffle still record the seed but take no step.
    for (std::vector<int> shortOne : {std::vector<int>{}, std::vector<int>{42}}) {
        const std::uint32_t running = lcg.seed();
        auto copy = shortOne;
        lcg.shuffle(copy);
        EXPECT_EQ(copy, shortOne);
        EXPECT_EQ(lcg.currentSeed(), running);
        EXPECT_EQ(lcg.seed(), running);
        lcg.next();
    }
    // A large shuffle is still a permutation.
    std::vector<int> sorted(50000);
    std::iota(sorted.begin(), sorted.end(), 0);
    auto many = sorted;
    lcg.shuffle(many);
    EXPECT_NE(many, sorted);
    EXPECT_TRUE(std::is_permutation(many.begin(), many.end(), sorted.begin()));
}

}  // namespace
