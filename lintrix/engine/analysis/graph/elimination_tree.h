#pragma once
/// @file
/// The elimination tree: whom each column of the factor updates first.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

inline constexpr int kRoot = -1;

/// `parent[j]`, by position: the row of the first entry below the diagonal in column j of the factor, kRoot
/// if there is none. Row by row with path compression; Liu, "The role of elimination trees in sparse
/// factorization", SIAM J. Matrix Anal. Appl. 11 (1990). The tree of a part that no entry joins to another
/// part is found from its own entries alone, so that one pass over the whole order serves all parts.
/// Cost: nearly linear in the edges.
LINTRIX_TESTABLE Failure eliminationTree(const Graph& graph, const Ordering& ordering, std::span<int> parent);

} // namespace Velmar::Lintrix::detail::engine
