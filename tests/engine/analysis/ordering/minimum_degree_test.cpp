#include <lintrix/engine/analysis/ordering/minimum_degree.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/support/factor_fill.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

constexpr int kDelta = 6;

OwnedOrdering ordered(const OwnedGraph& graph, int delta = kDelta, int bound = kLargestMark)
{
    const auto n = static_cast<std::size_t>(graph.view().vertices());
    OwnedOrdering ordering{std::vector<int>(n, -7), std::vector<int>(n, -7)};
    EXPECT_FALSE(minimumDegree(graph.view(), delta, ordering.view(), bound));
    return ordering;
}

std::int64_t fillOf(const OwnedGraph& graph, OwnedOrdering ordering)
{
    return factorFill(graph.view(), ordering.view()).entries;
}

// Entries of the factor that the matrix does not have.
std::int64_t newEntries(const OwnedGraph& graph, int delta = kDelta)
{
    const auto edges = static_cast<std::int64_t>(graph.neighbours.size() / 2);
    return fillOf(graph, ordered(graph, delta)) - edges - graph.view().vertices();
}

void expectPermutation(const OwnedOrdering& ordering)
{
    for (std::size_t v = 0; v < ordering.vertexAt.size(); ++v) {
        const auto position = static_cast<std::size_t>(ordering.positionOf[v]);
        ASSERT_LT(position, ordering.vertexAt.size());
        ASSERT_EQ(ordering.vertexAt[position], static_cast<int>(v));
    }
}

// A grid some of whose vertices are joined with the first `reach` others.
OwnedGraph gridWithHubs(int side, const std::vector<std::pair<int, int>>& hubsAndReach)
{
    std::set<std::pair<int, int>> edges;
    const auto plain = grid(side, side);
    for (int v = 0; v < side * side; ++v) {
        for (const int u : plain.view().of(v)) edges.emplace(v, u);
    }
    for (const auto& [hub, reach] : hubsAndReach) {
        for (int v = 0; v < reach; ++v) edges.emplace(hub, v);
    }
    return graphOf(side * side, edges);
}

TEST(MinimumDegree, RandomGraphsOfAllDensitiesGetAPermutation)
{
    for (const int n : {1, 2, 3, 5, 17, 60, 200}) {
        for (const int edges : {0, 1, n / 2, n, 2 * n, 5 * n, 20 * n}) {
            for (const int delta : {0, 1, 6, 0x7fffffff}) {
                SCOPED_TRACE("n " + std::to_string(n) + ", edges " + std::to_string(edges));
                const auto graph = randomGraph(n, edges, static_cast<unsigned>(n + edges));
                ASSERT_NO_FATAL_FAILURE(expectPermutation(ordered(graph, delta)));
            }
        }
    }
}

TEST(MinimumDegree, GraphWithoutVerticesIsOrdered)
{
    EXPECT_TRUE(ordered(graphOf(0, {})).vertexAt.empty());
}

TEST(MinimumDegree, TreesAreEliminatedWithoutFill)
{
    for (const int n : {2, 3, 10, 50, 400, 3000}) {
        for (const int delta : {0, 1, 6}) {
            EXPECT_EQ(newEntries(kTree(n, 1, static_cast<unsigned>(n)), delta), 0) << n;
        }
    }
}

// The lowest degree is always k and its vertices make no fill, but degrees are only bounded from above.
TEST(MinimumDegree, TreesOfCliquesAreEliminatedWithHardlyAnyFill)
{
    for (const int k : {2, 3, 5}) {
        for (const int n : {k + 1, 10, 50, 400}) {
            for (const int delta : {0, 1, 6}) {
                const auto graph = kTree(n, k, static_cast<unsigned>(n));
                EXPECT_LE(newEntries(graph, delta), n * k / 50) << "n " << n << ", k " << k;
            }
        }
    }
}

TEST(MinimumDegree, PathsAndStarsAreEliminatedWithoutFill)
{
    for (const int n : {2, 3, 10, 1000, 20000}) {
        EXPECT_EQ(newEntries(grid(1, n)), 0) << n;
        for (const int hub : {0, n / 2, n - 1}) EXPECT_EQ(newEntries(star(n, hub)), 0) << n << ' ' << hub;
    }
}

TEST(MinimumDegree, CycleGetsThreeEntriesLessThanItHasVertices)
{
    for (const int n : {3, 4, 5, 6, 7, 20, 1001}) EXPECT_EQ(newEntries(cycle(n)), n - 3) << n;
    EXPECT_EQ(newEntries(copies(cycle(12), 30)), 30 * 9);
}

TEST(MinimumDegree, CliquesStayAsTheyAre)
{
    for (const int n : {2, 3, 15, 16, 17, 18, 120}) {
        ASSERT_NO_FATAL_FAILURE(expectPermutation(ordered(clique(n))));
        EXPECT_EQ(newEntries(clique(n)), 0);
    }
    EXPECT_EQ(newEntries(copies(clique(9), 20)), 0);
}

TEST(MinimumDegree, FillIsThatOfPlainGreedyElimination)
{
    double logarithms = 0;
    int count = 0;
    const auto compare = [&](const OwnedGraph& graph) {
        const auto greedy = greedyMinimumDegree(graph.view());
        const double ratio =
            static_cast<double>(fillOf(graph, ordered(graph))) / static_cast<double>(fillOf(graph, greedy));
        EXPECT_LT(ratio, 1.25) << "graph " << count;
        logarithms += std::log(ratio);
        ++count;
    };
    for (const int side : {3, 5, 8, 12, 16}) compare(grid(side, side));
    for (const int side : {3, 4, 6}) compare(cube(side));
    compare(grid(4, 60));
    for (unsigned seed = 0; seed < 12; ++seed) {
        for (const int n : {20, 60, 150}) {
            compare(randomGraph(n, n + n / 2, seed));
            compare(randomGraph(n, 3 * n, seed));
        }
    }
    EXPECT_LT(std::exp(logarithms / count), 1.05);
}

// Each edge of a graph becomes a path of two, so that most vertices are light: they go first, and what they
// leave is the graph, its lists in another order.
TEST(MinimumDegree, ChainsInANetworkAddHardlyAnyFill)
{
    for (const auto& graph : {grid(12, 12), cube(5), randomGraph(150, 450, 3)}) {
        const int n = graph.view().vertices();
        std::set<std::pair<int, int>> halves;
        int middle = n;
        for (int v = 0; v < n; ++v) {
            for (const int u : graph.view().of(v)) {
                if (u > v) halves.insert({{v, middle}, {u, middle}}), ++middle;
            }
        }
        const OwnedGraph network = graphOf(middle, halves);
        const OwnedOrdering ordering = ordered(network);
        ASSERT_NO_FATAL_FAILURE(expectPermutation(ordering));
        const int edges = middle - n;
        const auto fill = static_cast<double>(fillOf(network, ordering) - 3 * edges);
        EXPECT_LT(fill, 1.1 * static_cast<double>(fillOf(graph, ordered(graph)))) << n;
    }
}

TEST(MinimumDegree, NamesOfTheVerticesMatterLittle)
{
    for (const auto& graph : {grid(40, 40), cube(9), randomGraph(800, 2000, 5)}) {
        const auto plain = static_cast<double>(fillOf(graph, ordered(graph)));
        for (unsigned seed = 0; seed < 4; ++seed) {
            const auto other = renamed(graph, randomOrdering(graph.view().vertices(), seed).vertexAt);
            const auto fill = static_cast<double>(fillOf(other, ordered(other)));
            EXPECT_LT(fill, 1.3 * plain);
            EXPECT_GT(1.3 * fill, plain);
        }
    }
}

TEST(MinimumDegree, DenseVerticesComeLastByDegree)
{
    // 30 x 30 vertices: dense is what has more than 300 neighbours.
    const auto graph = gridWithHubs(30, {{5, 900}, {600, 400}, {899, 700}, {300, 250}});
    const auto ordering = ordered(graph);
    ASSERT_NO_FATAL_FAILURE(expectPermutation(ordering));
    EXPECT_EQ(ordering.positionOf[600], 897);
    EXPECT_EQ(ordering.positionOf[899], 898);
    EXPECT_EQ(ordering.positionOf[5], 899);
}

TEST(MinimumDegree, OrderIsTheSameEveryTime)
{
    const auto graph = randomGraph(700, 2500, 8);
    const auto first = ordered(graph).vertexAt;
    ordered(grid(9, 9));
    EXPECT_EQ(ordered(graph).vertexAt, first);
}

TEST(MinimumDegree, MarksThatStartAgainDoNotChangeTheOrder)
{
    for (const auto& graph : {grid(25, 25), cube(8), randomGraph(600, 2400, 2), randomGraph(100, 1500, 3)}) {
        const int n = graph.view().vertices();
        const auto expected = ordered(graph).vertexAt;
        for (const int bound : {3 * n + 3, 3 * n + 50, 5 * n}) {
            EXPECT_EQ(ordered(graph, kDelta, bound).vertexAt, expected) << bound;
        }
    }
}

// With merged and with absorbed vertices, in networks and elsewhere, with an allowance and without.
TEST(MinimumDegree, TellsTheEntriesOfEachColumnOfTheFactor)
{
    std::vector<OwnedGraph> graphs{grid(1, 1), grid(1, 9), grid(20, 23), cube(6), copies(grid(3, 4), 5)};
    for (unsigned seed = 0; seed < 60; ++seed) {
        const int n = 2 + static_cast<int>(seed * 13 % 150);
        graphs.push_back(randomGraph(n, n * static_cast<int>(1 + seed % 6) / 2, seed));
    }
    for (const OwnedGraph& graph : graphs) {
        const auto n = static_cast<std::size_t>(graph.view().vertices());
        for (const int delta : {0, kDelta}) {
            OwnedOrdering ordering{std::vector<int>(n, -7), std::vector<int>(n, -7)};
            std::vector<int> counts(n, -7), wanted;
            ASSERT_FALSE(minimumDegree(graph.view(), delta, ordering.view(), kLargestMark, counts));
            for (const auto& column : eliminated(graph.view(), ordering.view()))
                wanted.push_back(static_cast<int>(column.size()));
            ASSERT_EQ(counts, wanted) << n << " vertices, " << graph.neighbours.size() / 2 << " edges";
        }
    }
}

// Of a grid or of leaves around it: with a quotient graph from the first vertex on, and after light ones.
TEST(MinimumDegree, TellsOfDenseVerticesThatNoColumnCountsThem)
{
    for (const OwnedGraph& graph : {gridWithHubs(20, {{7, 390}}), star(400, 3)}) {
        const auto n = static_cast<std::size_t>(graph.view().vertices());
        OwnedOrdering ordering{std::vector<int>(n), std::vector<int>(n)};
        std::vector<int> counts(n, -7);
        ASSERT_FALSE(minimumDegree(graph.view(), kDelta, ordering.view(), kLargestMark, counts));
        EXPECT_EQ(counts.back(), 0);
        for (const int count : counts) EXPECT_GE(count, 0);
    }
}

TEST(MinimumDegree, WithoutMemoryItSaysSo)
{
    const auto graph = grid(12, 12);
    OwnedOrdering ordering{std::vector<int>(144), std::vector<int>(144)};
    int requests = 0;
    for (bool failed = true; failed; ++requests) {
        const FailingAllocator allocator(requests);
        const Failure failure = minimumDegree(graph.view(), kDelta, ordering.view());
        failed = allocator.hasFailed();
        EXPECT_EQ(failure.error, failed ? Error::Memory : Error::None);
        EXPECT_EQ(failure.internal, failed ? static_cast<int>(BlockCode::Transient) : 0);
    }
    EXPECT_GT(requests, 5);
    expectPermutation(ordering);
}

TEST(FactorFill, CountsWhatEliminationMakes)
{
    for (unsigned seed = 0; seed < 10; ++seed) {
        const auto graph = randomGraph(40, 90, seed);
        auto ordering = randomOrdering(40, seed);
        std::size_t entries = 0;
        for (const auto& column : eliminated(graph.view(), ordering.view())) entries += column.size();
        EXPECT_EQ(factorFill(graph.view(), ordering.view()).entries, static_cast<std::int64_t>(entries));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
