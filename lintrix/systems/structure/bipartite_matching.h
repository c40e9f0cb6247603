#pragma once
/// @file
/// Rows and columns of a pattern brought together in pairs, as many as can be.

#include <lintrix/services/export.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// In place of a partner: there is none.
inline constexpr std::int32_t kUnmatched = -1;

/// Pairs (i, columnOf[i]) = (rowOf[j], j) of the pattern, no row and no column in two of them.
struct BipartiteMatching {
    std::vector<std::int32_t> columnOf; ///< of each row, or kUnmatched
    std::vector<std::int32_t> rowOf;    ///< of each column, or kUnmatched
    std::int32_t size = 0;
};

/// A matching of the largest size there is: the structural rank, which the rank exceeds for no values, and
/// reaches for nearly all (D. Koenig 1931; Duff, Erisman and Reid, Direct Methods for Sparse Matrices, 2nd
/// ed., chapter 6).
///
/// First a greedy matching, which leaves over few rows as a rule that need not be. These are matched along
/// augmenting paths, in phases. Each phase lays the rows in levels, by their distance from a row without a
/// column, down to the first with a free column in reach, and follows as many disjoint shortest paths as it
/// can: O(sqrt(min(m, n))) phases are enough whatever the pattern (J. E. Hopcroft and R. M. Karp, "An n^(5/2)
/// algorithm for maximum matchings in bipartite graphs", SIAM J. Comput. 2 (1973)). Then it follows paths of
/// any length from the rows still left, which spares most phases (I. S. Duff and T. Wiberg, "Remarks on
/// implementation of O(n^(1/2) tau) assignment algorithms", ACM TOMS 14 (1988)). A row looks for a free
/// column of its own first, and since a column once matched stays so, all these looks together are one pass
/// over the entries (I. S. Duff, "On algorithms for obtaining a maximum transversal", ACM TOMS 7 (1981)).
///
/// Cost: O(sqrt(min(m, n))*(m + n + entries)) at worst, a few passes as a rule. Nothing is recursive.
LINTRIX_TESTABLE BipartiteMatching maximumMatching(const SparsePattern& pattern);
/// The same from a given matching: what it pairs stays paired, though perhaps with another.
LINTRIX_TESTABLE BipartiteMatching maximumMatching(const SparsePattern& pattern, BipartiteMatching initial);

} // namespace Velmar::Lintrix::detail
