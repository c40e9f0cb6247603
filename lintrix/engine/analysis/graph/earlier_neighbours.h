#pragma once
/// @file
/// The edges of a graph, each at that end of it which is eliminated later.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/services/export.h>

#include <cstddef>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Cells for the lists of `earlierNeighbours`: one for each edge, and one behind the last.
inline std::size_t earlierNeighbourCells(const Graph& graph) noexcept
{
    return graph.neighbours.size() / 2 + 1;
}

/// Of the list of each vertex what has a lower position: a row of the matrix left of its diagonal, by
/// vertices. Renumbering by a postorder changes nothing in it, since neighbours are descendant and ancestor.
/// `starts` has vertices + 1 elements, `neighbours` earlierNeighbourCells(graph). Linear.
LINTRIX_TESTABLE Graph earlierNeighbours(const Graph& graph, std::span<const int> positionOf,
                                         std::span<int> starts, std::span<int> neighbours);

} // namespace Velmar::Lintrix::detail::engine
