#pragma once
/// @file
/// How many entries each column of the factor has, before the factor is known.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Threads that count columns: at most 16, and so few that 8*threads*n <= 512000000.
LINTRIX_TESTABLE int columnCountThreads(int threads, int n) noexcept;

/// `count[j]` entries of column j of the factor, the diagonal among them. `graph` is in elimination order,
/// `parent` its elimination tree. The order need not be a postorder as a whole: parts and separators level by
/// level are none, and so the columns are visited in one made here.
///
/// Gilbert, Ng, Peyton, "An efficient algorithm to compute row and column counts for sparse Cholesky
/// factorization", SIAM J. Matrix Anal. Appl. 15 (1994): column j is a leaf of the row subtree of i if no
/// entry of row i lies in the subtree of j; counts are sums of leaves, less the least common ancestors of
/// successive ones. Each thread takes the rows of one range, with a tree of sets of its own, and the sums are
/// exact whatever their number. When scratch is short, half as many threads try again.
LINTRIX_TESTABLE Failure columnCounts(const Graph& graph, std::span<const int> parent, int threads,
                                      std::span<int> count);

} // namespace Velmar::Lintrix::detail::engine
