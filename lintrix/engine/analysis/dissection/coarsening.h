#pragma once
/// @file
/// Graphs with half of the vertices.

#include <lintrix/engine/analysis/dissection/weighted_graph.h>
#include <lintrix/engine/analysis/dissection/workspace.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Joins vertices by twos over heavy edges, none above the weight `heaviest` together; where many are left
/// over, also those that have a neighbour in common, and those that have none. coarseOf[v] is the vertex of
/// the coarser graph that stands for v; those are numbered by the first of the vertices that they stand for.
/// Karypis and Kumar, "A fast and high quality multilevel scheme for partitioning irregular graphs", SIAM J.
/// Sci. Comput. 20 (1998).
/// @return  vertices of the coarser graph
int joinVertices(const WeightedGraph& graph, int heaviest, Workspace& work, std::span<int> coarseOf);

/// The coarser graph that comes of it, weights added up. @return  whether there was memory
bool coarsen(const WeightedGraph& graph, std::span<const int> coarseOf, int vertices, Workspace& work,
             WeightedGraph& coarser);

} // namespace Velmar::Lintrix::detail::engine
