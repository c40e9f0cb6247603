#include <lintrix/engine/analysis/matching/matching_pairs.h>

#include "tests/engine/analysis/matching/matching_matrices.h"

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

struct Pairs {
    Failure failure;
    std::vector<int> vertexAt;
    std::vector<bool> split; ///< by pair
    PivotParts parts;
};

Pairs order(const std::vector<int>& columnOfRow, const std::vector<double>& diagonal)
{
    const int n = static_cast<int>(columnOfRow.size());
    const auto words = static_cast<std::size_t>(bvec_new::wordsFor(n));
    std::vector<int> marks(words, 0), bits(words, 0);
    Pairs result;
    result.vertexAt.assign(columnOfRow.size(), -7);
    result.failure = orderPairs(columnOfRow, diagonal, result.vertexAt, bvec_new(bits), marks, result.parts);
    for (int k = 0; k < result.parts.pairs; ++k) result.split.push_back(bvec_new(bits).test(k));
    return result;
}

Pairs order(const std::vector<int>& columnOfRow)
{
    return order(columnOfRow, std::vector<double>(columnOfRow.size(), 0.0));
}

TEST(MatchingPairs, OfTheIdentityAreSinglePivotsInOrder)
{
    const Pairs pairs = order({0, 1, 2});
    ASSERT_FALSE(pairs.failure);
    EXPECT_EQ(pairs.vertexAt, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(pairs.parts.front, 3);
    EXPECT_EQ(pairs.parts.pairs, 0);
}

TEST(MatchingPairs, OfOneRowIsOnePivot)
{
    EXPECT_EQ(order({0}).vertexAt, (std::vector<int>{0}));
}

TEST(MatchingPairs, PutCyclesOfOneInFrontOfCyclesOfTwo)
{
    const Pairs pairs = order({3, 1, 2, 0});
    EXPECT_EQ(pairs.vertexAt, (std::vector<int>{1, 2, 0, 3}));
    EXPECT_EQ(pairs.parts.front, 2);
    EXPECT_EQ(pairs.parts.pairs, 1);
}

TEST(MatchingPairs, CutALongEvenCycleIntoConsecutivePairs)
{
    // 0 -> 2 -> 4 -> 1 -> 5 -> 3 -> 0
    const Pairs pairs = order({2, 5, 4, 0, 1, 3});
    EXPECT_EQ(pairs.vertexAt, (std::vector<int>{0, 2, 4, 1, 5, 3}));
    EXPECT_EQ(pairs.parts.front, 0);
    EXPECT_EQ(pairs.parts.pairs, 3);
}

TEST(MatchingPairs, PutTheFirstMemberOfAnOddCycleAtTheEnd)
{
    // 0 -> 3 -> 1 -> 0, and 2 alone, and 4 -> 5 -> 6 -> 4
    const Pairs pairs = order({3, 0, 2, 1, 5, 6, 4});
    EXPECT_EQ(pairs.vertexAt, (std::vector<int>{2, 3, 1, 5, 6, 4, 0}));
    EXPECT_EQ(pairs.parts.front, 1);
    EXPECT_EQ(pairs.parts.pairs, 2);
}

TEST(MatchingPairs, StandAsTwoPivotsWhenBothDiagonalEntriesExceedTheLimit)
{
    const std::vector<int> swaps{1, 0, 3, 2, 5, 4, 7, 6};
    const double above = 1.0000001e-8;
    const Pairs pairs = order(swaps, {above, above, 1e-8, 1.0, 1.0, 1e-8, 0.0, 0.0});
    EXPECT_EQ(pairs.split, (std::vector<bool>{true, false, false, false}));
}

TEST(MatchingPairs, RefuseWhatIsNoPermutation)
{
    for (const std::vector<int>& wrong : {std::vector<int>{0, 0}, std::vector<int>{-1, 0},
                                          std::vector<int>{1, 2}, std::vector<int>{1, 2, 1}}) {
        const Pairs pairs = order(wrong);
        EXPECT_EQ(pairs.failure.error, Error::Reordering);
        EXPECT_EQ(pairs.failure.internal, -1);
    }
}

TEST(MatchingPairs, AreAPermutationWhosePairsAreMatched)
{
    std::mt19937 random(9);
    for (int n = 1; n <= 70; ++n) {
        const std::vector<int> matching = randomPermutation(n, random);
        const Pairs pairs = order(matching);
        ASSERT_FALSE(pairs.failure);
        std::vector<int> sorted = pairs.vertexAt;
        std::sort(sorted.begin(), sorted.end());
        for (int i = 0; i < n; ++i) EXPECT_EQ(sorted[i], i);
        for (int k = 0; k < pairs.parts.front; ++k) {
            EXPECT_EQ(matching[pairs.vertexAt[k]], pairs.vertexAt[k]);
        }
        for (int k = 0; k < pairs.parts.pairs; ++k) {
            const int first = pairs.parts.front + 2 * k;
            EXPECT_EQ(matching[pairs.vertexAt[first]], pairs.vertexAt[first + 1]);
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
