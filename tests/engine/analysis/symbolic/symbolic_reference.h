#pragma once
/// @file
/// Graphs for the tests of the symbolic steps, and the slow, plain elimination that they are held against.

#include <lintrix/engine/analysis/graph/graph.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

using detail::engine::Graph;
using detail::engine::Ordering;
using detail::engine::PositionRange;

/// A graph that owns its arrays.
struct OwnedGraph {
    std::vector<int> starts, neighbours;

    Graph view() const { return {starts, neighbours}; }
};

inline OwnedGraph graphOf(int n, const std::set<std::pair<int, int>>& edges)
{
    std::vector<std::set<int>> lists(static_cast<std::size_t>(n));
    for (const auto& [i, j] : edges) {
        if (i == j) continue;
        lists[static_cast<std::size_t>(i)].insert(j);
        lists[static_cast<std::size_t>(j)].insert(i);
    }
    OwnedGraph graph;
    graph.starts.push_back(0);
    for (const auto& list : lists) {
        graph.neighbours.insert(graph.neighbours.end(), list.begin(), list.end());
        graph.starts.push_back(static_cast<int>(graph.neighbours.size()));
    }
    return graph;
}

inline OwnedGraph randomGraph(int n, int edges, unsigned seed)
{
    std::mt19937 random(seed);
    std::set<std::pair<int, int>> set;
    for (int k = 0; k < edges; ++k) {
        set.emplace(static_cast<int>(random() % static_cast<unsigned>(n)),
                    static_cast<int>(random() % static_cast<unsigned>(n)));
    }
    return graphOf(n, set);
}

inline OwnedGraph grid(int rows, int cols)
{
    std::set<std::pair<int, int>> set;
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            const int v = i * cols + j;
            if (i + 1 < rows) set.emplace(v, v + cols);
            if (j + 1 < cols) set.emplace(v, v + 1);
        }
    }
    return graphOf(rows * cols, set);
}

/// The graph `count` times, unconnected.
inline OwnedGraph copies(const OwnedGraph& graph, int count)
{
    OwnedGraph all{{0}, {}};
    const int n = graph.view().vertices();
    for (int c = 0; c < count; ++c) {
        for (int v = 0; v < n; ++v) {
            for (const int u : graph.view().of(v)) all.neighbours.push_back(u + c * n);
            all.starts.push_back(static_cast<int>(all.neighbours.size()));
        }
    }
    return all;
}

struct OwnedOrdering {
    std::vector<int> positionOf, vertexAt;

    Ordering view() { return {positionOf, vertexAt}; }
};

inline OwnedOrdering orderingOf(std::vector<int> vertexAt)
{
    OwnedOrdering ordering{std::vector<int>(vertexAt.size()), std::move(vertexAt)};
    for (std::size_t j = 0; j < ordering.vertexAt.size(); ++j) {
        ordering.positionOf[static_cast<std::size_t>(ordering.vertexAt[j])] = static_cast<int>(j);
    }
    return ordering;
}

inline OwnedOrdering randomOrdering(int n, unsigned seed)
{
    std::vector<int> vertexAt(static_cast<std::size_t>(n));
    std::iota(vertexAt.begin(), vertexAt.end(), 0);
    std::shuffle(vertexAt.begin(), vertexAt.end(), std::mt19937(seed));
    return orderingOf(std::move(vertexAt));
}

/// The rows of each column of the factor, its diagonal first, by eliminating column after column.
inline std::vector<std::vector<int>> eliminated(const Graph& graph, const Ordering& ordering)
{
    const auto n = static_cast<std::size_t>(graph.vertices());
    std::vector<std::set<int>> columns(n);
    for (std::size_t j = 0; j < n; ++j) {
        columns[j].insert(static_cast<int>(j));
        for (const int u : graph.of(ordering.vertexAt[j])) {
            const int row = ordering.positionOf[static_cast<std::size_t>(u)];
            if (row > static_cast<int>(j)) columns[j].insert(row);
        }
    }
    for (std::size_t j = 0; j < n; ++j) {
        const auto below = std::next(columns[j].begin());
        if (below != columns[j].end())
            columns[static_cast<std::size_t>(*below)].insert(below, columns[j].end());
    }
    std::vector<std::vector<int>> rows;
    for (const auto& column : columns) rows.emplace_back(column.begin(), column.end());
    return rows;
}

} // namespace Velmar::Lintrix::testing
