// Elimination tree, postorder and column counts, held against elimination column by column.

#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"
#include "tests/support/failing_allocator.h"

namespace Velmar::Lintrix::testing {
namespace {

class Elimination : public ::testing::TestWithParam<int> {
protected:
    // Sparse to dense, connected and not.
    int n() const { return 1 + GetParam() * 7 % 60; }
    OwnedGraph graph() const
    {
        return randomGraph(n(), GetParam() * 5 % 170, static_cast<unsigned>(GetParam()));
    }
    OwnedOrdering ordering() const { return randomOrdering(n(), static_cast<unsigned>(GetParam() + 1)); }
};

TEST_P(Elimination, AParentIsTheFirstRowBelowTheDiagonal)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    std::vector<int> parent(static_cast<std::size_t>(n()));
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    const auto columns = eliminated(g.view(), o.view());
    for (std::size_t j = 0; j < columns.size(); ++j) {
        EXPECT_EQ(parent[j], columns[j].size() > 1 ? columns[j][1] : kRoot) << "column " << j;
    }
}

TEST_P(Elimination, PostorderKeepsTheTreeAndBringsSubtreesTogether)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    const auto N = static_cast<std::size_t>(n());
    std::vector<int> parent(N), recomputed(N), size(N, 1);
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    const std::vector<PositionRange> all{{0, n() - 1}};
    ASSERT_FALSE(postorder(all, parent, o.view()));
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), recomputed));
    EXPECT_EQ(parent, recomputed);
    for (std::size_t j = 0; j < N; ++j) {
        EXPECT_EQ(o.positionOf[static_cast<std::size_t>(o.vertexAt[j])], static_cast<int>(j));
        if (parent[j] == kRoot) continue;
        ASSERT_GT(parent[j], static_cast<int>(j));
        size[static_cast<std::size_t>(parent[j])] += size[j];
    }
    for (std::size_t j = 0; j < N; ++j) { // a subtree is the run that ends at its root
        if (parent[j] == kRoot) continue;
        EXPECT_GT(static_cast<int>(j) - size[j], parent[j] - size[static_cast<std::size_t>(parent[j])] - 1);
    }
    for (std::size_t j = 1; j < N; ++j) { // the last child stands next to its parent
        if (size[j] > 1) {
            EXPECT_EQ(parent[j - 1], static_cast<int>(j));
        }
    }
}

TEST_P(Elimination, PostorderStaysWithinRanges)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    const OwnedOrdering before = o;
    std::vector<int> parent(static_cast<std::size_t>(n()));
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    std::vector<PositionRange> ranges;
    for (int first = 0; first < n(); first += 13) ranges.push_back({first, std::min(first + 12, n() - 1)});
    ASSERT_FALSE(postorder(ranges, parent, o.view()));
    for (std::size_t v = 0; v < o.positionOf.size(); ++v) {
        EXPECT_EQ(o.positionOf[v] / 13, before.positionOf[v] / 13) << "vertex " << v;
    }
    std::vector<int> recomputed(parent.size());
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), recomputed));
    EXPECT_EQ(parent, recomputed);
}

TEST_P(Elimination, PostorderTakesCountsAlong)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    std::vector<int> parent(static_cast<std::size_t>(n())), counts;
    for (const auto& column : eliminated(g.view(), o.view()))
        counts.push_back(static_cast<int>(column.size()));
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    const std::vector<PositionRange> all{{0, n() - 1}};
    ASSERT_FALSE(postorder(all, parent, o.view(), counts));
    const auto columns = eliminated(g.view(), o.view());
    for (std::size_t j = 0; j < columns.size(); ++j)
        EXPECT_EQ(counts[j], static_cast<int>(columns[j].size())) << "column " << j;
}

// By vertices, which a postorder does not change; and the tree is that of the whole graph.
TEST_P(Elimination, EarlierNeighboursAreTheRowsLeftOfTheDiagonal)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    const auto N = static_cast<std::size_t>(n());
    std::vector<int> starts(N + 1, -7), cells(earlierNeighbourCells(g.view()), -7), parent(N), ofHalf(N);
    const Graph earlier = earlierNeighbours(g.view(), o.positionOf, starts, cells);
    const auto expectRows = [&] {
        for (int v = 0; v < n(); ++v) {
            std::vector<int> wanted;
            for (const int u : g.view().of(v)) {
                if (o.positionOf[static_cast<std::size_t>(u)] < o.positionOf[static_cast<std::size_t>(v)])
                    wanted.push_back(u);
            }
            const auto list = earlier.of(v);
            EXPECT_EQ(std::vector<int>(list.begin(), list.end()), wanted) << "vertex " << v;
        }
    };
    expectRows();
    EXPECT_EQ(2 * earlier.neighbours.size(), g.neighbours.size());
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    ASSERT_FALSE(eliminationTree(earlier, o.view(), ofHalf));
    EXPECT_EQ(ofHalf, parent);
    const std::vector<PositionRange> all{{0, n() - 1}};
    ASSERT_FALSE(postorder(all, parent, o.view()));
    expectRows();
}

TEST_P(Elimination, ColumnCountsAreThoseOfTheFactorWithAnyNumberOfThreads)
{
    const OwnedGraph g = graph();
    Pipeline p(g.view(), ordering(), 8);
    const auto columns = eliminated(g.view(), p.ordering.view());
    for (const int threads : {1, 2, 3, 7, 16}) {
        std::vector<int> count(columns.size());
        ASSERT_FALSE(columnCounts(p.permuted.view(), p.parent, threads, count));
        for (std::size_t j = 0; j < columns.size(); ++j) {
            ASSERT_EQ(count[j], static_cast<int>(columns[j].size())) << "column " << j << ", " << threads;
        }
    }
}

TEST_P(Elimination, ColumnCountsNeedNoPostorder)
{
    const OwnedGraph g = graph();
    OwnedOrdering o = ordering();
    const auto columns = eliminated(g.view(), o.view());
    std::vector<int> parent(columns.size()), count(columns.size());
    ASSERT_FALSE(eliminationTree(g.view(), o.view(), parent));
    OwnedGraph permuted = g;
    permutedGraph(g.view(), o.view(), permuted.starts, permuted.neighbours);
    for (const int threads : {1, 3}) {
        ASSERT_FALSE(columnCounts(permuted.view(), parent, threads, count));
        for (std::size_t j = 0; j < columns.size(); ++j) {
            ASSERT_EQ(count[j], static_cast<int>(columns[j].size())) << "column " << j << ", " << threads;
        }
    }
}

TEST_P(Elimination, APermutedGraphHasSortedLists)
{
    const OwnedGraph g = graph();
    Pipeline p(g.view(), ordering(), 8);
    for (int j = 0; j < n(); ++j) {
        std::vector<int> expected;
        for (const int u : g.view().of(p.ordering.vertexAt[static_cast<std::size_t>(j)])) {
            expected.push_back(p.ordering.positionOf[static_cast<std::size_t>(u)]);
        }
        std::sort(expected.begin(), expected.end());
        const auto list = p.permuted.view().of(j);
        EXPECT_EQ(std::vector<int>(list.begin(), list.end()), expected) << "position " << j;
    }
}

INSTANTIATE_TEST_SUITE_P(RandomGraphs, Elimination, ::testing::Range(0, 40));

TEST(EliminationTree, OfAPathIsAPathAndOfAStarAStar)
{
    const OwnedGraph path = graphOf(5, {{0, 1}, {1, 2}, {2, 3}, {3, 4}});
    OwnedOrdering natural = orderingOf({0, 1, 2, 3, 4});
    std::vector<int> parent(5);
    ASSERT_FALSE(eliminationTree(path.view(), natural.view(), parent));
    EXPECT_EQ(parent, (std::vector{1, 2, 3, 4, kRoot}));
    const OwnedGraph star = graphOf(5, {{0, 4}, {1, 4}, {2, 4}, {3, 4}});
    ASSERT_FALSE(eliminationTree(star.view(), natural.view(), parent));
    EXPECT_EQ(parent, (std::vector{4, 4, 4, 4, kRoot}));
}

TEST(ColumnCountThreads, AtMostSixteenAndWithinTheScratchLimit)
{
    EXPECT_EQ(columnCountThreads(0, 10), 1);
    EXPECT_EQ(columnCountThreads(4, 10), 4);
    EXPECT_EQ(columnCountThreads(40, 10), 16);
    EXPECT_EQ(columnCountThreads(16, 4000000), 16); // 8 * 16 * 4000000 is the limit itself
    EXPECT_EQ(columnCountThreads(16, 4000001), 8);
    EXPECT_EQ(columnCountThreads(2, 2000000000), 1);
}

TEST(ColumnCounts, FewerThreadsTryAgainWhenScratchIsShort)
{
    const OwnedGraph g = grid(6, 7);
    Pipeline p(g.view(), randomOrdering(42, 3), 8);
    std::vector<int> count(42);
    {
        const FailingAllocator none(1); // the first request passes, all later ones fail
        const Failure failure = columnCounts(p.permuted.view(), p.parent, 16, count);
        EXPECT_EQ(failure.error, Error::Memory);
        EXPECT_EQ(failure.internal, -900);
    }
    ASSERT_FALSE(columnCounts(p.permuted.view(), p.parent, 16, count));
    EXPECT_EQ(count, p.count);
}

TEST(SymbolicSteps, TellWhenThereIsNoMemory)
{
    const OwnedGraph g = grid(3, 3);
    Pipeline p(g.view(), randomOrdering(9, 3), 8);
    const FailingAllocator none(0);
    EXPECT_EQ(eliminationTree(g.view(), p.ordering.view(), p.parent).internal, -900);
    EXPECT_EQ(postorder(p.ranges, p.parent, p.ordering.view()).internal, -900);
    EXPECT_EQ(fillRowLists(p.earlier.view(), p.ordering.view(), p.parent, p.structure(), p.rows,
                           p.descendantStarts, p.updates)
                  .internal,
              -900);
}

} // namespace
} // namespace Velmar::Lintrix::testing
