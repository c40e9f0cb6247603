#include <lintrix/engine/analysis/ordering/light_elimination.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/minimum_degree_order.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/support/factor_fill.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

std::vector<int> positionsOf(const std::vector<int>& vertexAt)
{
    std::vector<int> positions(vertexAt.size(), -7);
    for (std::size_t k = 0; k < vertexAt.size(); ++k) positions[vertexAt[k]] = static_cast<int>(k);
    EXPECT_EQ(std::ranges::count(positions, -7), 0) << "no permutation";
    return positions;
}

// Nothing is left of the graph, and the order has the fill that was counted. @return  entries of L
std::int64_t eliminatedWhole(const OwnedGraph& graph, std::vector<int>& vertexAt)
{
    const int n = graph.view().vertices();
    vertexAt.assign(static_cast<std::size_t>(n), -7);
    LightElimination light;
    EXPECT_FALSE(light.run({graph.starts, graph.neighbours}, vertexAt));
    EXPECT_EQ(light.vertices(), 0);
    EXPECT_EQ(light.entries(), 0);
    EXPECT_EQ(light.eliminated(), n);
    std::vector<int> positionOf = positionsOf(vertexAt);
    EXPECT_EQ(light.cost().lowerNonZeros, factorFill(graph.view(), {positionOf, vertexAt}).entries);
    return light.cost().lowerNonZeros;
}

std::int64_t edgesOf(const OwnedGraph& graph)
{
    return static_cast<std::int64_t>(graph.neighbours.size()) / 2;
}

TEST(LightElimination, TreesAndWhatIsMadeOfTrianglesAreEliminatedWithoutFill)
{
    std::vector<int> order;
    for (const unsigned seed : {1u, 2u, 3u})
        for (const int k : {1, 2})
            for (const int n : {3, 10, 60}) {
                const OwnedGraph graph = kTree(n, k, seed);
                EXPECT_EQ(eliminatedWhole(graph, order), edgesOf(graph) + n) << n << ' ' << k;
            }
}

TEST(LightElimination, ACycleTakesAChordForEachVertexButThree)
{
    std::vector<int> order;
    for (const int n : {3, 4, 5, 100}) EXPECT_EQ(eliminatedWhole(cycle(n), order), n + n + n - 3);
}

// By halves: a substitution along it has few steps that wait for each other.
TEST(LightElimination, ACycleHasALowEliminationTree)
{
    constexpr int n = 1000;
    const OwnedGraph graph = cycle(n);
    std::vector<int> vertexAt, parent(n);
    eliminatedWhole(graph, vertexAt);
    std::vector<int> positionOf = positionsOf(vertexAt), height(n, 1);
    ASSERT_FALSE(eliminationTree(graph.view(), {positionOf, vertexAt}, parent));
    for (int k = 0; k < n; ++k)
        if (parent[k] >= 0 && parent[k] < n) height[parent[k]] = std::max(height[parent[k]], height[k] + 1);
    EXPECT_LE(*std::ranges::max_element(height), 2.0 * std::log2(n));
}

TEST(LightElimination, OfAGraphIsThatOfItsPattern)
{
    for (const OwnedGraph& graph : {kTree(60, 1, 4), cycle(50), randomGraph(300, 350, 5), clique(6)}) {
        const auto n = static_cast<std::size_t>(graph.view().vertices());
        std::vector<int> wanted(n, -7), order(n, -7);
        LightElimination ofPattern, ofGraph;
        ASSERT_FALSE(ofPattern.run({graph.starts, graph.neighbours}, wanted));
        ASSERT_FALSE(ofGraph.runOn(graph.view(), order));
        EXPECT_EQ(order, wanted);
        EXPECT_EQ(ofGraph.eliminated(), ofPattern.eliminated());
        EXPECT_EQ(ofGraph.vertices(), ofPattern.vertices());
        EXPECT_EQ(ofGraph.entries(), ofPattern.entries());
        EXPECT_EQ(ofGraph.cost().lowerNonZeros, ofPattern.cost().lowerNonZeros);
    }
}

TEST(LightElimination, LeavesWhatHasThreeNeighbours)
{
    const OwnedGraph graph = clique(5);
    std::vector<int> order(5);
    LightElimination light;
    ASSERT_FALSE(light.run({graph.starts, graph.neighbours}, order));
    EXPECT_EQ(light.eliminated(), 0);
    ASSERT_EQ(light.vertices(), 5);
    ASSERT_EQ(light.entries(), 20);
    std::vector<int> starts(6), neighbours(20), names(5);
    const Graph rest = light.writeRest(starts, neighbours, names);
    EXPECT_EQ(names, (std::vector<int>{0, 1, 2, 3, 4}));
    for (int v = 0; v < 5; ++v) EXPECT_EQ(rest.degree(v), 4);
}

// Joined with all others: it would be in every list.
TEST(LightElimination, AHubComesLast)
{
    constexpr int n = 2000, hub = 7;
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < n; ++v) edges.emplace(v, (v + 1) % n), edges.emplace(hub, v);
    const OwnedGraph graph = graphOf(n, edges);
    std::vector<int> order(n, -7);
    LightElimination light;
    ASSERT_FALSE(light.run({graph.starts, graph.neighbours}, order));
    EXPECT_EQ(light.eliminated(), n - 1);
    EXPECT_EQ(light.vertices(), 0);
    EXPECT_EQ(order.back(), hub);
    positionsOf(order);
}

// Random networks: chains and leaves hang on a part that is none. Their pattern is told from one side, the
// other side, or both, with loops, and out of order.
TEST(LightElimination, WhatIsLeftIsOrderedBehindIt)
{
    std::mt19937 random(5);
    for (int n : {1, 2, 5, 30, 200}) {
        std::set<std::pair<int, int>> edges;
        for (int v = 1; v < n; ++v) edges.emplace(v, random() % static_cast<unsigned>(v));
        for (int k = 0; k < n; ++k)
            edges.emplace(random() % static_cast<unsigned>(n / 2 + 1),
                          random() % static_cast<unsigned>(n / 2 + 1));
        const OwnedGraph graph = graphOf(n, edges);
        std::vector<int> starts{0}, columns, vertexAt(static_cast<std::size_t>(n));
        for (int v = 0; v < n; ++v) {
            for (const int u : graph.view().of(v))
                if (u < v || random() % 2 == 0) columns.insert(columns.begin() + starts.back(), u);
            columns.push_back(v);
            starts.push_back(static_cast<int>(columns.size()));
        }
        EliminationForecast forecast;
        ASSERT_EQ(MinimumDegreeOrder(starts, columns, vertexAt, &forecast), 0);
        std::vector<int> positionOf = positionsOf(vertexAt);
        const FactorFill fill = factorFill(graph.view(), {positionOf, vertexAt});
        EXPECT_EQ(forecast.lowerNonZeros, fill.entries) << n;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
