// Nested dissection by threads: a permutation, the same one whoever works at it, and as little fill as METIS
// leaves.

#include <lintrix/engine/analysis/dissection/dissection.h>

#include "tests/engine/allowance.h"
#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/support/factor_fill.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/engine/analysis/dissection/separator_search.h>
#include <lintrix/engine/analysis/ordering/metis_ordering.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/engine/threaded_dissection.h>
#include <lintrix/services/work.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <random>
#include <set>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

OwnedOrdering emptyOrdering(const OwnedGraph& graph)
{
    const auto n = static_cast<std::size_t>(graph.view().vertices());
    OwnedOrdering ordering;
    ordering.positionOf.assign(n, -7);
    ordering.vertexAt.assign(n, -7);
    return ordering;
}

OwnedOrdering dissected(const OwnedGraph& graph, int threads = 1)
{
    OwnedOrdering ordering = emptyOrdering(graph);
    EXPECT_FALSE(dissect(graph.view(), threads, {ordering.positionOf, ordering.vertexAt}));
    return ordering;
}

double operationsOf(const OwnedGraph& graph, OwnedOrdering& ordering)
{
    return factorFill(graph.view(), {ordering.positionOf, ordering.vertexAt}).operations;
}

/// Each vertex of the graph stands for `unknowns` ones with the same neighbours.
OwnedGraph withTwins(const OwnedGraph& graph, int unknowns)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < graph.view().vertices(); ++v) {
        for (int a = 0; a < unknowns; ++a) {
            for (int b = 0; b < unknowns; ++b) {
                edges.emplace(unknowns * v + a, unknowns * v + b);
                for (const int u : graph.view().of(v)) edges.emplace(unknowns * v + a, unknowns * u + b);
            }
        }
    }
    return graphOf(unknowns * graph.view().vertices(), edges);
}

/// A cube in which all that share a corner are neighbours, 26 of them inside.
OwnedGraph fullCube(int side)
{
    std::set<std::pair<int, int>> edges;
    const auto name = [&](int x, int y, int z) { return (z * side + y) * side + x; };
    for (int x = 0; x < side; ++x) {
        for (int y = 0; y < side; ++y) {
            for (int z = 0; z < side; ++z) {
                for (int k = 0; k < 27; ++k) {
                    const int a = x + k % 3 - 1, b = y + k / 3 % 3 - 1, c = z + k / 9 - 1;
                    if (std::min({a, b, c}) >= 0 && std::max({a, b, c}) < side)
                        edges.emplace(name(x, y, z), name(a, b, c));
                }
            }
        }
    }
    return graphOf(side * side * side, edges);
}

OwnedGraph randomGraph(int n, int edgesWanted, unsigned seed)
{
    std::mt19937 random(seed);
    std::set<std::pair<int, int>> edges;
    for (int k = 0; k < edgesWanted; ++k)
        edges.emplace(static_cast<int>(random() % static_cast<unsigned>(n)),
                      static_cast<int>(random() % static_cast<unsigned>(n)));
    return graphOf(n, edges);
}

/// Two graphs side by side, with nothing between them.
OwnedGraph besides(const OwnedGraph& a, const OwnedGraph& b)
{
    std::set<std::pair<int, int>> edges;
    const int shift = a.view().vertices();
    for (int v = 0; v < shift; ++v) {
        for (const int u : a.view().of(v)) edges.emplace(v, u);
    }
    for (int v = 0; v < b.view().vertices(); ++v) {
        for (const int u : b.view().of(v)) edges.emplace(shift + v, shift + u);
    }
    return graphOf(shift + b.view().vertices(), edges);
}

struct NamedGraph {
    const char* name;
    OwnedGraph graph;
};

std::vector<NamedGraph> oddGraphs()
{
    std::vector<NamedGraph> graphs;
    graphs.push_back({"nothing", graphOf(0, {})});
    graphs.push_back({"one vertex", graphOf(1, {})});
    graphs.push_back({"no edges", graphOf(3000, {})});
    graphs.push_back({"a small clique", clique(5)});
    graphs.push_back({"a clique", clique(600)});
    graphs.push_back({"a cycle", cycle(5000)});
    graphs.push_back({"a star", star(4000, 17)});
    graphs.push_back({"a tree", kTree(6000, 1, 3)});
    graphs.push_back({"a 4-tree", kTree(3000, 4, 5)});
    graphs.push_back({"a grid", grid(90, 70)});
    graphs.push_back({"a long grid", grid(2, 4000)});
    graphs.push_back({"a cube", cube(17)});
    graphs.push_back({"twins", withTwins(grid(40, 30), 3)});
    graphs.push_back({"chance", randomGraph(5000, 9000, 7)});
    graphs.push_back({"full chance", randomGraph(700, 90000, 8)});
    graphs.push_back({"a grid beside a star", besides(grid(60, 60), star(900, 0))});
    graphs.push_back({"a grid beside vertices without edges", besides(grid(50, 50), graphOf(2500, {}))});
    graphs.push_back({"a cube beside a clique", besides(cube(12), clique(260))});
    return graphs;
}

TEST(Dissection, IsAPermutationOfAnyGraph)
{
    for (const NamedGraph& each : oddGraphs()) {
        SCOPED_TRACE(each.name);
        const OwnedOrdering ordering = dissected(each.graph, 2);
        std::vector<int> names = ordering.vertexAt;
        std::ranges::sort(names);
        std::vector<int> all(names.size());
        std::iota(all.begin(), all.end(), 0);
        EXPECT_EQ(names, all);
        for (std::size_t k = 0; k < names.size(); ++k) {
            ASSERT_EQ(ordering.positionOf[static_cast<std::size_t>(ordering.vertexAt[k])],
                      static_cast<int>(k));
        }
    }
}

TEST(Dissection, IsTheSameForAnyNumberOfThreads)
{
    for (const NamedGraph& each : oddGraphs()) {
        SCOPED_TRACE(each.name);
        const OwnedOrdering one = dissected(each.graph);
        for (const int threads : {2, 3, 7})
            EXPECT_EQ(dissected(each.graph, threads).vertexAt, one.vertexAt) << threads;
    }
}

/// rand() belongs to the program, and several systems may be analysed at once.
TEST(Dissection, IsTheSameWhateverElseGoesOn)
{
    const OwnedGraph graph = cube(18);
    const OwnedOrdering alone = dissected(graph);
    std::vector<OwnedOrdering> atOnce(4);
    std::vector<std::thread> threads;
    for (OwnedOrdering& ordering : atOnce) {
        threads.emplace_back([&] {
            for (int k = 0; k < 1000; ++k) std::rand();
            ordering = dissected(graph, 2);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const OwnedOrdering& ordering : atOnce) EXPECT_EQ(ordering.vertexAt, alone.vertexAt);
}

/// Held against METIS, which orders well; a bad separator anywhere near the top costs far more than this.
TEST(Dissection, LeavesAboutTheFillOfMetis)
{
    const std::vector<NamedGraph> graphs{{"grid", grid(120, 110)},
                                         {"long grid", grid(400, 25)},
                                         {"cube", cube(25)},
                                         {"full cube", fullCube(16)},
                                         {"full cube of three unknowns", withTwins(fullCube(9), 3)}};
    for (const NamedGraph& each : graphs) {
        OwnedOrdering own = dissected(each.graph), other = emptyOrdering(each.graph);
        ASSERT_FALSE(orderByMetis(each.graph.view(), {other.positionOf, other.vertexAt}));
        EXPECT_LT(operationsOf(each.graph, own), 1.3 * operationsOf(each.graph, other)) << each.name;
    }
}

TEST(Dissection, TwinsStayTogetherAndDenseVerticesComeLast)
{
    const OwnedOrdering pairs = dissected(withTwins(grid(40, 40), 3));
    for (std::size_t k = 0; k < pairs.vertexAt.size(); k += 3) {
        ASSERT_EQ(pairs.vertexAt[k] / 3, pairs.vertexAt[k + 1] / 3);
        ASSERT_EQ(pairs.vertexAt[k] / 3, pairs.vertexAt[k + 2] / 3);
    }
    EXPECT_EQ(dissected(star(4000, 17)).vertexAt.back(), 17);
}

/// Vertices of the weights that `weightOf` gives, edges of weight 1.
template <class WeightOf>
void weigh(const Graph& graph, WeightOf weightOf, WeightedGraph& weighted)
{
    ASSERT_TRUE(weighted.allocate(graph.vertices(), static_cast<int>(graph.neighbours.size())));
    int weight = 0;
    for (int v = 0; v < graph.vertices(); ++v) {
        for (int k = graph.starts[v]; k < graph.starts[v + 1]; ++k)
            weighted.setEntry(k, graph.neighbours[k], 1);
        weighted.setFirst(v + 1, graph.starts[v + 1]);
        const int own = weightOf(v);
        weighted.setWeightOf(v, own);
        weight += own;
    }
    weighted.setWeight(weight);
}

TEST(SeparatorSearch, NoEdgeJoinsTheSidesAndBothAreThere)
{
    for (const NamedGraph& each : oddGraphs()) {
        const Graph graph = each.graph.view();
        const int n = graph.vertices();
        if (n < 300 || std::string_view(each.name).find("clique") == 2) continue;
        SCOPED_TRACE(each.name);
        WeightedGraph weighted;
        std::mt19937 random(5);
        weigh(
            graph, [&](int) { return 1 + static_cast<int>(random() % 3); }, weighted);
        Workspace work;
        Sides sides;
        ASSERT_TRUE(work.fit(n) && sides.allocate(n));
        const detail::WorkMeter meter(1.0);
        ASSERT_TRUE(SeparatorSearch(work, meter).run(weighted, sides));
        std::array<int, 3> weights{};
        for (int v = 0; v < n; ++v) {
            weights[static_cast<std::size_t>(sides.of(v))] += weighted.weightOf(v);
            for (const int u : graph.of(v)) ASSERT_NE(sides.of(v) + sides.of(u), 1) << v << " and " << u;
        }
        for (int side = 0; side < 3; ++side)
            EXPECT_EQ(weights[static_cast<std::size_t>(side)], sides.weight(side));
        EXPECT_GT(weights[0], 0);
        EXPECT_GT(weights[1], 0);
    }
}

/// Nothing lighter separates as much of a cube whose points have all 26 neighbours. Two half planes with a
/// step between them are heavier by the step.
TEST(SeparatorSearch, APlaneSeparatesAFullCube)
{
    constexpr int kSide = 26, kSearches = 24;
    const OwnedGraph cube = fullCube(kSide);
    WeightedGraph weighted;
    weigh(
        cube.view(), [](int) { return 1; }, weighted);
    Workspace work;
    Sides sides;
    ASSERT_TRUE(work.fit(weighted.vertices()) && sides.allocate(weighted.vertices()));
    const detail::WorkMeter meter(1.0);
    int steps = 0;
    for (int k = 1; k <= kSearches; ++k) {
        work.dice.seed(static_cast<std::uint64_t>(k));
        ASSERT_TRUE(SeparatorSearch(work, meter).run(weighted, sides));
        EXPECT_GE(sides.weight(kBetween), kSide * kSide);
        if (sides.weight(kBetween) > kSide * kSide) ++steps;
    }
    EXPECT_LE(steps, 1);
}

TEST(Dissection, AnyFailingAllocationIsTold)
{
    for (const OwnedGraph& graph : {withTwins(grid(18, 15), 2), grid(19, 19)}) {
        for (int k = 0;; ++k) {
            OwnedOrdering ordering = emptyOrdering(graph);
            const FailingAllocator memory(k, Refused::One);
            const Failure failure = dissect(graph.view(), 2, {ordering.positionOf, ordering.vertexAt});
            if (!memory.hasFailed()) {
                EXPECT_FALSE(failure);
                break;
            }
            ASSERT_EQ(failure.error, Error::Memory) << k;
        }
    }
}

TEST(Dissection, EndsWhereItIsToldTo)
{
    const OwnedGraph graph = grid(100, 100);
    for (const int patience : {0, 1, 2, 5, 20}) {
        Allowance listener(patience);
        const detail::WorkScope scope(listener);
        OwnedOrdering ordering = emptyOrdering(graph);
        const Failure failure = dissect(graph.view(), 2, {ordering.positionOf, ordering.vertexAt});
        EXPECT_EQ(failure.error, stopped().error) << patience;
    }
}

TEST(ThreadedDissectionScope, IsThatOfItsThreadAndMayBeNested)
{
    EXPECT_FALSE(ThreadedDissectionScope::IsInForce());
    {
        const ThreadedDissectionScope outer;
        {
            const ThreadedDissectionScope inner;
            EXPECT_TRUE(ThreadedDissectionScope::IsInForce());
        }
        EXPECT_TRUE(ThreadedDissectionScope::IsInForce());
        std::thread([] { EXPECT_FALSE(ThreadedDissectionScope::IsInForce()); }).join();
    }
    EXPECT_FALSE(ThreadedDissectionScope::IsInForce());
}

} // namespace
} // namespace Velmar::Lintrix::testing
