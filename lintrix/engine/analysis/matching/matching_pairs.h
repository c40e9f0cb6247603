#pragma once
/// @file
/// Pivots of a symmetric matrix from the cycles of its matching.

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The parts of the pair ordering: positions 0 .. front - 1 hold 1x1 pivots, the next 2 pairs positions the
/// two members of each pair side by side, and what is left over from odd cycles follows as 1x1 pivots.
struct PivotParts {
    int front = 0;
    int pairs = 0;
};

/// Cuts the permutation i -> columnOfRow[i] into cycles. A cycle of one goes to the front, one of two is a
/// pair, a longer even one gives consecutive pairs; an odd one puts its first member, that of the smallest
/// number, at the end, and its others give pairs. Pair k is marked in `split` as two 1x1 pivots when both
/// diagonal entries exceed 1e-8 in magnitude, before any scaling.
/// Source: I. S. Duff, S. Pralet, "Strategies for scaling and pivoting for sparse symmetric indefinite
/// problems", SIAM J. Matrix Anal. Appl. 27 (2005).
///
/// @param columnOfRow n; @param diagonal |a_ii|, n, 0 where there is none
/// @param vertexAt n: receives the order, position k of the elimination holding vertex vertexAt[k]
/// @param split room for n/2 bits, all zero
/// @param marks bvec_new::wordsFor(n) words, all zero, of no use afterwards
/// Fails with Reordering, internal -1, when columnOfRow is no permutation. Cost: O(n).
LINTRIX_TESTABLE Failure orderPairs(std::span<const int> columnOfRow, std::span<const double> diagonal,
                                    std::span<int> vertexAt, bvec_new split, std::span<int> marks,
                                    PivotParts& parts) noexcept;

} // namespace Velmar::Lintrix::detail::engine
