#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/ordering/subgraphs.h>
#include <lintrix/engine/analysis/ordering/tree_parts.h>

#include "tests/engine/analysis/ordering/dissection_checks.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

std::vector<std::pair<int, int>> pairsOf(const SubgraphList& list)
{
    std::vector<std::pair<int, int>> pairs;
    for (const auto& [first, last] : list.ranges()) pairs.emplace_back(first, last);
    return pairs;
}

using Pairs = std::vector<std::pair<int, int>>;

bool wellFormed(std::vector<PositionRange> ranges)
{
    return SubgraphList{ranges, static_cast<int>(ranges.size()), 1}.wellFormed();
}

TEST(Subgraphs, RoomFollowsThePartTarget)
{
    EXPECT_EQ(subgraphNumbers(1), 1024);
    EXPECT_EQ(subgraphNumbers(255), 1024);
    EXPECT_EQ(subgraphNumbers(256), 1028);
    for (const int q : {1, 2, 256, 1024}) {
        std::vector<PositionRange> room(static_cast<std::size_t>(subgraphNumbers(q) / 2));
        EXPECT_EQ((SubgraphList{room, 0, 0}.partsFor(q, 1 << 20)), q);
    }
}

TEST(Subgraphs, PartsHaveTwoVerticesEachAndFitWithTheirSeparators)
{
    std::vector<PositionRange> room(13);
    const SubgraphList list{room, 0, 0};
    EXPECT_EQ(list.partsFor(5, 100), 5);
    EXPECT_EQ(list.partsFor(8, 100), 7); // with 6 separators
    EXPECT_EQ(list.partsFor(5, 9), 4);
    EXPECT_EQ(list.partsFor(5, 1), 1);
    EXPECT_EQ(list.partsFor(-3, 100), 1);
}

TEST(Subgraphs, WellFormedMeansNonEmptyAndIncreasing)
{
    EXPECT_TRUE(wellFormed({{0, 0}}));
    EXPECT_TRUE(wellFormed({{0, 3}, {4, 4}, {5, 9}}));
    EXPECT_FALSE(wellFormed({}));
    EXPECT_FALSE(wellFormed({{0, kEmptyEnd}}));
    EXPECT_FALSE(wellFormed({{0, 3}, {4, kEmptyEnd}, {4, 9}}));
    EXPECT_FALSE(wellFormed({{0, 3}, {3, 4}}));
    EXPECT_FALSE(wellFormed({{5, 6}, {0, 4}}));
}

TEST(Subgraphs, OrderThatCameReadyMadeIsClosedByItsLastPosition)
{
    std::vector<PositionRange> room(512);
    SubgraphList list{room, 0, 0};
    closedRanges(5, false, list);
    EXPECT_EQ(pairsOf(list), (Pairs{{0, 3}, {4, 4}}));
    EXPECT_EQ(list.independent, 1);
    EXPECT_TRUE(list.wellFormed());
    closedRanges(5, true, list);
    EXPECT_EQ(pairsOf(list), (Pairs{{0, 3}, {4, 4}, {4, 4}}));
    EXPECT_FALSE(list.wellFormed());
    closedRanges(1, false, list);
    EXPECT_EQ(pairsOf(list), (Pairs{{0, kEmptyEnd}, {0, 0}}));
    EXPECT_FALSE(list.wellFormed());
    wholeRange(5, list);
    EXPECT_EQ(pairsOf(list), (Pairs{{0, 4}}));
}

TEST(Subgraphs, GatheringKeepsTheOrderWithinARange)
{
    auto ordering = orderingOf({5, 4, 3, 2, 1, 0});
    std::vector<PositionRange> room(512);
    SubgraphList list{room, 0, 0};
    ASSERT_FALSE(gatherRanges(std::vector<int>{2, 0, 4, 0, 2, 4}, 5, 3, ordering.view(), list));
    EXPECT_EQ(ordering.vertexAt, (std::vector<int>{4, 2, 5, 1, 3, 0}));
    EXPECT_EQ(ordering.positionOf, orderingOf(ordering.vertexAt).positionOf);
    EXPECT_EQ(pairsOf(list), (Pairs{{0, 1}, {2, kEmptyEnd}, {2, 3}, {4, kEmptyEnd}, {4, 5}}));
    EXPECT_EQ(list.independent, 3);
    EXPECT_FALSE(list.wellFormed());
}

TEST(Subgraphs, GatheringWithoutMemoryChangesNothing)
{
    auto ordering = randomOrdering(4, 1);
    const auto before = ordering;
    std::vector<PositionRange> room(512);
    SubgraphList list{room, 0, 0};
    const FailingAllocator allocator(0);
    const Failure failure = gatherRanges(std::vector<int>{0, 1, 0, 1}, 2, 2, ordering.view(), list);
    EXPECT_EQ(failure.error, Error::Memory);
    EXPECT_EQ(failure.internal, -900);
    EXPECT_EQ(ordering.vertexAt, before.vertexAt);
    EXPECT_EQ(list.count, 0);
}

std::vector<int> cut(const std::vector<int>& parent, int parts)
{
    std::vector<int> rangeOf(parent.size(), -7);
    EXPECT_FALSE(cutTree(parent, parts, rangeOf));
    return rangeOf;
}

TEST(TreeParts, RootSeparatesItsSubtrees)
{
    //      6
    //    2   5
    //   0 1 3 4
    const std::vector<int> parent{2, 2, 6, 5, 5, 6, kRoot};
    const auto two = cut(parent, 2);
    EXPECT_EQ(two[6], 2);
    EXPECT_EQ((std::set<int>{two[2], two[5]}), (std::set<int>{0, 1}));
    for (const auto& [child, top] : {std::pair{0, 2}, {1, 2}, {3, 5}, {4, 5}}) {
        EXPECT_EQ(two[static_cast<std::size_t>(child)], two[static_cast<std::size_t>(top)]);
    }
    const auto four = cut(parent, 4);
    EXPECT_EQ(four[6], 6);
    EXPECT_EQ((std::set<int>{four[2], four[5]}), (std::set<int>{4, 5}));
    EXPECT_EQ((std::set<int>{four[0], four[1], four[3], four[4]}), (std::set<int>{0, 1, 2, 3}));
}

TEST(TreeParts, ChainHasNoParts)
{
    EXPECT_EQ(cut({1, 2, 3, kRoot}, 2), (std::vector<int>{2, 2, 2, 2}));
    EXPECT_EQ(cut({kRoot}, 3), (std::vector<int>{4}));
    EXPECT_EQ(cut({1, kRoot}, 1), (std::vector<int>{0, 0}));
}

// A forest needs no separators; one node each keeps the list well formed.
TEST(TreeParts, ForestIsCutWithNonEmptySeparators)
{
    const auto rangeOf = cut(std::vector<int>(100, kRoot), 4);
    std::vector<int> nodes(7, 0);
    for (const int range : rangeOf) ++nodes[static_cast<std::size_t>(range)];
    for (int range = 0; range < 4; ++range) EXPECT_GT(nodes[static_cast<std::size_t>(range)], 20);
    for (int range = 4; range < 7; ++range) EXPECT_GE(nodes[static_cast<std::size_t>(range)], 1);
}

// parent[j] > j, else random: trees of all shapes from a bush (reach n) to nearly a chain (reach 2).
std::vector<int> randomForest(int n, int reach, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<int> parent;
    for (int j = 0; j < n; ++j) {
        const int above = j + 1 + static_cast<int>(random() % static_cast<unsigned>(reach));
        parent.push_back(above < n ? above : kRoot);
    }
    return parent;
}

TEST(TreeParts, RangesOfRandomForestsSeparateAndBalance)
{
    for (const int reach : {1, 2, 5, 40, 400}) {
        for (const int parts : {1, 2, 3, 4, 5, 7, 8, 16}) {
            const auto parent = randomForest(400, reach, static_cast<unsigned>(reach * parts));
            const auto rangeOf = cut(parent, parts);
            std::vector<int> nodes(static_cast<std::size_t>(2 * parts - 1), 0);
            for (std::size_t j = 0; j < parent.size(); ++j) {
                ASSERT_GE(rangeOf[j], 0);
                ASSERT_LT(rangeOf[j], 2 * parts - 1);
                ++nodes[static_cast<std::size_t>(rangeOf[j])];
                if (parent[j] == kRoot) continue;
                const int above = rangeOf[static_cast<std::size_t>(parent[j])];
                ASSERT_LE(rangeOf[j], above);
                ASSERT_TRUE(mayBeJoined(rangeOf[j], above, 2 * parts - 1));
            }
            if (parts == 2) {
                const int inParts = nodes[0] + nodes[1];
                EXPECT_LE(std::max(nodes[0], nodes[1]), 0.6 * inParts + 1e-9);
            }
        }
    }
}

TEST(TreeParts, EachAllocationMayFail)
{
    const std::vector<int> parent{2, 2, kRoot};
    std::vector<int> rangeOf(3);
    int k = 0;
    for (bool failed = true; failed; ++k) {
        ASSERT_LT(k, 20);
        const FailingAllocator allocator(k);
        const Failure failure = cutTree(parent, 2, rangeOf);
        failed = static_cast<bool>(failure);
        EXPECT_EQ(failed, allocator.hasFailed());
        EXPECT_EQ(failure.error, failed ? Error::Memory : Error::None);
    }
    EXPECT_EQ(k, 7); // six blocks
}

} // namespace
} // namespace Velmar::Lintrix::testing
