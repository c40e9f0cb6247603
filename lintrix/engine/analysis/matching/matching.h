#pragma once
/// @file
/// Weighted bipartite matching: a permutation that brings large entries to the diagonal, and the dual
/// variables that scale them to 1.

#include <lintrix/engine/analysis/matching/csr_record.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A matching of rows and columns and its duals, in blocks of the caller, n cells each. Row i is matched to
/// column columnOfRow[i], and rowOfColumn is the inverse; -1 marks what is not matched. P A has its large
/// entries on the diagonal when P moves row i to row columnOfRow[i].
struct Matching {
    std::span<int> columnOfRow;
    std::span<int> rowOfColumn;
    std::span<double> u; ///< of rows; only meaningful when the matching is perfect
    std::span<double> v; ///< of columns
    int size = 0;        ///< matched pairs
};

/// Finds the matching whose product of magnitudes is largest. When it is perfect,
///
///     exp(u_i) |a_ij| exp(v_j) <= 1, with equality on the matched entries,
///
/// up to a few rounding errors of the largest of 1, |u_i|, |ln |a_ij|| and |v_j|. Otherwise its size is the
/// structural rank all the same. Among entries that weigh the same the diagonal is preferred: it keeps the
/// pattern's symmetry. The result depends on the input alone.
///
/// `record` holds magnitudes above zero and none that is not finite. Some rows have costs in their place
/// afterwards, w_ij = ln |a_ij| - ln(largest of column j) <= 0: those that a search has looked at, and those
/// without an entry within 290 decimal orders of its column's largest.
///
/// Failures: -402; Matching with internal -size when not perfect.
/// Cost: a pass or two for most matrices; at worst n shortest paths of O(nnz + n log n) each.
/// Source: I. S. Duff, J. Koster, "On algorithms for permuting large entries to the diagonal of a sparse
/// matrix", SIAM J. Matrix Anal. Appl. 22 (2001).
LINTRIX_TESTABLE Failure matchMaximumProduct(csr_new& record, Matching& matching) noexcept;

} // namespace Velmar::Lintrix::detail::engine
