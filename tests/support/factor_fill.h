#pragma once
/// @file
/// How many entries the Cholesky factor of a graph has under an ordering.

#include <lintrix/engine/analysis/graph/graph.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::testing {

/// Entries of L, diagonal included, and the multiplications with additions of its computation.
struct FactorFill {
    std::int64_t entries = 0;
    double operations = 0;
};

/// Walks the row subtrees of the elimination tree, which grows on the way: row i of L has a column for each
/// vertex on the paths from the neighbours before i up to i. Cost: O(entries of L).
inline FactorFill factorFill(const detail::engine::Graph& graph, const detail::engine::Ordering& ordering)
{
    const auto n = static_cast<std::size_t>(graph.vertices());
    std::vector<int> parent(n, -1), reachedFrom(n, -1);
    std::vector<std::int64_t> below(n, 0); // entries of each column under the diagonal
    for (int i = 0; i < graph.vertices(); ++i) {
        reachedFrom[static_cast<std::size_t>(i)] = i;
        for (const int neighbour : graph.of(ordering.vertexAt[static_cast<std::size_t>(i)])) {
            int j = ordering.positionOf[static_cast<std::size_t>(neighbour)];
            for (; j < i; j = parent[static_cast<std::size_t>(j)]) {
                const auto column = static_cast<std::size_t>(j);
                if (reachedFrom[column] == i) break;
                if (parent[column] == -1) parent[column] = i;
                reachedFrom[column] = i;
                ++below[column];
            }
        }
    }
    FactorFill fill;
    for (const std::int64_t count : below) {
        fill.entries += count + 1;
        fill.operations += static_cast<double>(count) * static_cast<double>(count + 1) / 2;
    }
    return fill;
}

} // namespace Velmar::Lintrix::testing
