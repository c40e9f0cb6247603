#pragma once
/// @file
/// Graphs whose best elimination is known, and plain greedy elimination to be held against.

#include "tests/engine/analysis/symbolic/symbolic_reference.h"

#include <algorithm>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// Vertex `hub` is joined with all others.
inline OwnedGraph star(int n, int hub)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < n; ++v) edges.emplace(hub, v);
    return graphOf(n, edges);
}

inline OwnedGraph cycle(int n)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < n; ++v) edges.emplace(v, (v + 1) % n);
    return graphOf(n, edges);
}

inline OwnedGraph clique(int n)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < n; ++v) {
        for (int u = 0; u < v; ++u) edges.emplace(v, u);
    }
    return graphOf(n, edges);
}

/// The same graph with vertex v called newName[v].
inline OwnedGraph renamed(const OwnedGraph& graph, const std::vector<int>& newName)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < graph.view().vertices(); ++v) {
        for (const int u : graph.view().of(v)) {
            edges.emplace(newName[static_cast<std::size_t>(v)], newName[static_cast<std::size_t>(u)]);
        }
    }
    return graphOf(graph.view().vertices(), edges);
}

/// A k-tree with shuffled names: each vertex after the first k + 1 is joined with a clique of k before it. It
/// is eliminated without fill by taking vertices of degree k. A 1-tree is a tree.
inline OwnedGraph kTree(int n, int k, unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&](std::size_t count) { return random() % count; };
    std::set<std::pair<int, int>> edges;
    std::vector<std::vector<int>> cliques(1); // of k vertices each
    for (int v = 0; v < k; ++v) {
        for (const int u : cliques[0]) edges.emplace(u, v);
        cliques[0].push_back(v);
    }
    for (int v = k; v < n; ++v) {
        std::vector<int> base = cliques[below(cliques.size())];
        for (const int u : base) edges.emplace(u, v);
        for (std::size_t gone = 0; gone < base.size(); ++gone) {
            cliques.push_back(base);
            cliques.back()[gone] = v;
        }
    }
    return renamed(graphOf(n, edges), randomOrdering(n, seed).vertexAt);
}

/// A grid of boxes with side^3 vertices and six neighbours each.
inline OwnedGraph cube(int side)
{
    std::set<std::pair<int, int>> edges;
    for (int v = 0; v < side * side * side; ++v) {
        if ((v + 1) % side != 0) edges.emplace(v, v + 1);
        if (v / side % side + 1 < side) edges.emplace(v, v + side);
        if (v + side * side < side * side * side) edges.emplace(v, v + side * side);
    }
    return graphOf(side * side * side, edges);
}

/// Takes a vertex of exactly the lowest degree, the first by name, and joins its neighbours, until none is
/// left.
inline OwnedOrdering greedyMinimumDegree(const Graph& graph)
{
    const auto n = static_cast<std::size_t>(graph.vertices());
    std::vector<std::set<int>> neighbours;
    for (int v = 0; v < graph.vertices(); ++v) {
        neighbours.emplace_back(graph.of(v).begin(), graph.of(v).end());
    }
    std::vector<bool> gone(n, false);
    std::vector<int> order;
    while (order.size() < n) {
        std::size_t pivot = n;
        for (std::size_t v = 0; v < n; ++v) {
            if (!gone[v] && (pivot == n || neighbours[v].size() < neighbours[pivot].size())) pivot = v;
        }
        gone[pivot] = true;
        order.push_back(static_cast<int>(pivot));
        for (const int u : neighbours[pivot]) {
            auto& list = neighbours[static_cast<std::size_t>(u)];
            list.insert(neighbours[pivot].begin(), neighbours[pivot].end());
            list.erase(u);
            list.erase(static_cast<int>(pivot));
        }
    }
    return orderingOf(order);
}

} // namespace Velmar::Lintrix::testing
