#pragma once
/// @file
/// The graph in elimination order.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Writes `graph` with positions in the place of vertices, lists ascending, into arrays of the same sizes.
/// Position after position puts itself into the lists of its neighbours, which leaves them sorted. Linear.
LINTRIX_TESTABLE Graph permutedGraph(const Graph& graph, const Ordering& ordering, std::span<int> starts,
                                     std::span<int> neighbours);

} // namespace Velmar::Lintrix::detail::engine
