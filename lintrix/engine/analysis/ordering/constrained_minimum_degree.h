#pragma once
/// @file
/// Ordering by minimum degree in two passes, with parts and separators for parallel work.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/ordering/subgraphs.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// The first pass, plain minimum degree, gives an elimination tree, which is cut into `parts` parts and their
/// separators (cutTree). The second orders anew within them: minimum degree on the vertices of the parts,
/// with the separators counting in the degrees but kept back, then minimum degree on the separator nodes,
/// those of the finest cut first. The positions are numbered range after range.
///
/// Taken are at least 1 part, at most one for every two vertices and as many as `subgraphs` has room for. One
/// part is the order of the first pass. Ranges may be empty, where the tree does not branch.
/// `delta` as for minimumDegree. Cost and workspace: twice those of minimumDegree at most.
/// @return  outOfMemory(Transient), overflow() as there; the ordering is then undefined
LINTRIX_TESTABLE Failure constrainedMinimumDegree(const Graph& graph, int delta, int parts, Ordering ordering,
                                                  SubgraphList& subgraphs);

} // namespace Velmar::Lintrix::detail::engine
