// The symmetrized pattern against sets of pairs, which need no cleverness.

#include <lintrix/engine/analysis/graph/adjacency.h>

#include "tests/engine/analysis/symbolic/symbolic_reference.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <numeric>
#include <random>
#include <set>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

struct OwnedPattern {
    std::vector<int> ia{0}, ja;

    Pattern view() const { return {ia, ja}; }
};

OwnedPattern patternOf(const std::vector<std::vector<int>>& rows)
{
    OwnedPattern pattern;
    for (const auto& row : rows) {
        pattern.ja.insert(pattern.ja.end(), row.begin(), row.end());
        pattern.ia.push_back(static_cast<int>(pattern.ja.size()));
    }
    return pattern;
}

OwnedPattern randomPattern(int n, int perRow, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<std::vector<int>> rows(static_cast<std::size_t>(n));
    for (auto& row : rows) {
        std::set<int> columns;
        for (int k = 0; k < perRow; ++k)
            columns.insert(static_cast<int>(random() % static_cast<unsigned>(n)));
        row.assign(columns.begin(), columns.end());
    }
    return patternOf(rows);
}

// The graph by definition: an edge for each entry off the diagonal of the permuted matrix.
OwnedGraph reference(const OwnedPattern& pattern, const std::vector<int>& columnOfRow)
{
    std::set<std::pair<int, int>> edges;
    const int n = pattern.view().order();
    for (int i = 0; i < n; ++i) {
        const int r = columnOfRow.empty() ? i : columnOfRow[static_cast<std::size_t>(i)];
        for (const int j : pattern.view().row(i)) edges.emplace(r, j);
    }
    return graphOf(n, edges);
}

// Nothing is written behind the room for the neighbours.
OwnedGraph symmetrized(const OwnedPattern& pattern, const std::vector<int>& columnOfRow = {})
{
    constexpr int kUntouched = -7;
    SymmetrizedPattern adjacency;
    EXPECT_FALSE(adjacency.count(pattern.view(), columnOfRow));
    const auto entries = static_cast<std::size_t>(adjacency.entries());
    OwnedGraph graph{std::vector<int>(pattern.ia.size(), kUntouched),
                     std::vector<int>(entries + 1, kUntouched)};
    const Graph view = adjacency.write(graph.starts, std::span(graph.neighbours).first(entries));
    EXPECT_EQ(view.starts.data(), graph.starts.data());
    EXPECT_EQ(graph.neighbours.back(), kUntouched);
    graph.neighbours.pop_back();
    return graph;
}

void expectSame(const OwnedGraph& graph, const OwnedGraph& expected)
{
    EXPECT_EQ(graph.starts, expected.starts);
    EXPECT_EQ(graph.neighbours, expected.neighbours);
}

TEST(Adjacency, UnsymmetricPatternIsJoinedWithItsTranspose)
{
    // x x .      0 - 1
    // . x x      1 - 2
    // x . .      2 - 0, by one entry only, and no entry on its diagonal
    const auto graph = symmetrized(patternOf({{0, 1}, {1, 2}, {0}}));
    expectSame(graph, {{0, 2, 4, 6}, {1, 2, 0, 2, 0, 1}});
}

TEST(Adjacency, UpperTriangleIsMirrored)
{
    const auto graph = symmetrized(patternOf({{0, 1, 3}, {1}, {2, 3}, {3}}));
    expectSame(graph, {{0, 2, 3, 4, 6}, {1, 3, 0, 3, 0, 2}});
}

TEST(Adjacency, SymmetricStructureStaysAsItIs)
{
    const auto graph = symmetrized(patternOf({{0, 1}, {0, 1, 2}, {1, 2}}));
    expectSame(graph, {{0, 1, 3, 4}, {1, 0, 2, 1}});
    expectSame(symmetrized(patternOf({{0, 1}, {0, 1}, {2}, {3}})), {{0, 1, 2, 2, 2}, {1, 0}});
}

TEST(Adjacency, RowsAreTakenThroughTheMatching)
{
    // The matched entries (0, 2), (1, 0), (2, 1) come to the diagonal; (0, 1) is left, now in row 2.
    const auto graph = symmetrized(patternOf({{1, 2}, {0}, {1}}), {2, 0, 1});
    expectSame(graph, {{0, 0, 1, 2}, {2, 1}});
}

TEST(Adjacency, DiagonalAndEmptyRowsGiveIsolatedVertices)
{
    expectSame(symmetrized(patternOf({{0}, {}, {2}})), {{0, 0, 0, 0}, {}});
    expectSame(symmetrized(patternOf({{0}})), {{0, 0}, {}});
    expectSame(symmetrized(patternOf({})), {{0}, {}});
}

TEST(Adjacency, RandomPatternsFollowTheDefinition)
{
    for (unsigned seed = 0; seed < 30; ++seed) {
        const int n = 1 + static_cast<int>(seed * 7 % 60);
        const auto pattern = randomPattern(n, 1 + static_cast<int>(seed % 6), seed);
        const auto matching = randomOrdering(n, seed + 100).vertexAt;
        SCOPED_TRACE(seed);
        expectSame(symmetrized(pattern), reference(pattern, {}));
        expectSame(symmetrized(pattern, matching), reference(pattern, matching));
    }
}

// A symmetric pattern with ascending rows, its upper triangle, and both with a place added or taken away:
// each with its own way to the graph, and none mistaken for another.
TEST(Adjacency, NearlySymmetricPatternsFollowTheDefinition)
{
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const int n = 2 + static_cast<int>(seed % 30);
        const auto any = [&] { return static_cast<int>(random() % static_cast<unsigned>(n)); };
        std::set<std::pair<int, int>> places;
        for (int k = 0; k < 3 * n; ++k) {
            const int i = any(), j = any();
            places.emplace(std::min(i, j), std::max(i, j));
            if (seed % 2 == 0) places.emplace(std::max(i, j), std::min(i, j));
        }
        for (const bool asItIs : {true, false}) {
            if (!asItIs && seed % 3 == 0) places.erase(places.begin());
            if (!asItIs && seed % 3 == 1) places.emplace(any(), any());
            if (!asItIs && seed % 3 == 2) places.erase(std::prev(places.end()));
            std::vector<std::vector<int>> rows(static_cast<std::size_t>(n));
            for (const auto& [i, j] : places) rows[static_cast<std::size_t>(i)].push_back(j);
            const auto pattern = patternOf(rows);
            std::vector<int> inPlace(static_cast<std::size_t>(n));
            std::iota(inPlace.begin(), inPlace.end(), 0);
            expectSame(symmetrized(pattern), reference(pattern, {}));
            expectSame(symmetrized(pattern, inPlace), reference(pattern, {}));
        }
    }
}

// Without the matrix check nobody has looked at the order of columns before.
TEST(Adjacency, UnorderedAndRepeatedColumnsGiveTheSameGraph)
{
    const auto ordered = patternOf({{0, 1, 3}, {1, 2}, {0, 2, 3}, {1, 3}});
    const auto unordered = patternOf({{3, 0, 1, 0}, {2, 1, 1}, {3, 2, 0}, {1, 3, 1}});
    const std::vector<int> matching{1, 3, 0, 2};
    expectSame(symmetrized(unordered), symmetrized(ordered));
    expectSame(symmetrized(unordered, matching), symmetrized(ordered, matching));
    const auto repeated = patternOf({{0, 1, 1, 3}, {1, 2}, {0, 2, 3, 3}, {1, 3}});
    expectSame(symmetrized(repeated), symmetrized(ordered));
}

TEST(Adjacency, PatternThatFitsNoMatrixIsRefused)
{
    const auto refused = [](const OwnedPattern& pattern) {
        const Failure failure = checkPattern(pattern.view());
        return failure.error == Error::Reordering && failure.internal == kBadPattern;
    };
    EXPECT_TRUE(refused(patternOf({{0, 2}, {1}})));    // column n
    EXPECT_TRUE(refused(patternOf({{-1, 0}, {1}})));   // a negative column
    EXPECT_TRUE(refused(patternOf({{0}, {INT_MIN}}))); //
    EXPECT_TRUE(refused({{1, 1, 2}, {0, 1}}));         // not from 0
    EXPECT_TRUE(refused({{0, 2, 1}, {0, 1}}));         // falling starts
    EXPECT_TRUE(refused({{0, 1, 3}, {0, 1}}));         // behind the end
    EXPECT_TRUE(refused({{0, 1, INT_MIN}, {0, 1}}));   //
    EXPECT_TRUE(refused({std::vector<int>(), {0}}));   // no starts at all
    EXPECT_FALSE(refused(patternOf({{0, 1}, {1}})));
}

TEST(Adjacency, EachAllocationMayFail)
{
    const auto pattern = patternOf({{1, 0}, {0, 1}}); // out of order, for the way with most blocks
    const std::vector<int> matching{1, 0};
    int k = 0;
    for (bool failed = true; failed; ++k) {
        ASSERT_LT(k, 20);
        const FailingAllocator allocator(k);
        SymmetrizedPattern adjacency;
        const Failure failure = adjacency.count(pattern.view(), matching);
        failed = static_cast<bool>(failure);
        EXPECT_EQ(failed, allocator.hasFailed());
        if (failed) {
            EXPECT_EQ(failure.error, Error::Memory);
            EXPECT_EQ(failure.internal, -900);
        }
    }
    EXPECT_EQ(k, 9); // eight blocks
}

} // namespace
} // namespace Velmar::Lintrix::testing
