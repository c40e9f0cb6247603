#pragma once
/// @file
/// Ordering by nested dissection, with the parts and separators for parallel work.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/ordering/subgraphs.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Orders the vertices (orderByMetis) and cuts the order into `parts` parts with their separators (cutTree on
/// its elimination tree), renumbered range after range. METIS's entry gives the permutation alone; its
/// separators stand at the top of the tree. So the number of parts decides how the order is grouped and not
/// what it is: fill is the same for any number of threads.
///
/// Taken are at least 1 part, at most one for every two vertices and as many as `subgraphs` has room for. One
/// part is the order as METIS gives it. Ranges may be empty, where the graph has no separators short of all
/// its vertices.
/// @return  {Reordering, METIS's result}, outOfMemory(Transient); the ordering is then undefined
LINTRIX_TESTABLE Failure nestedDissection(const Graph& graph, int parts, Ordering ordering,
                                          SubgraphList& subgraphs);

} // namespace Velmar::Lintrix::detail::engine
