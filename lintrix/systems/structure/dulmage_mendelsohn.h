#pragma once
/// @file
/// Which part of a pattern has too many columns, which too many rows, and how the rest falls into blocks.

#include <lintrix/services/export.h>
#include <lintrix/systems/structure/bipartite_matching.h>

#include <array>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Rows and columns permuted so that
///
///              horizontal  square  vertical
///     rows   [     H          *        *    ]   H has more columns than rows, or none: under-determined
///            [     0          S        *    ]   S is square and upper block triangular
///            [     0          0        V    ]   V has more rows than columns, or none: over-determined
///
/// and every matched entry lies on one diagonal: row position p is matched with column position p +
/// surplus(). So H is [free columns, matched ones], V has its unmatched rows at the bottom. Which rows and
/// columns are in H, S, V and in a block of S does not depend on the matching (A. L. Dulmage and N. S.
/// Mendelsohn, "Coverings of bipartite graphs", Canad. J. Math. 10 (1958)): the columns of H are those that
/// some maximum matching leaves out, the rows of V likewise. The blocks of S cannot be parted further: from
/// each of their rows one reaches every other by entries and pairs.
struct DulmageMendelsohn {
    std::vector<std::int32_t> rowAt, columnAt; ///< rowAt[new] = old
    /// Part k (0 horizontal, 1 square, 2 vertical) has the positions parts[k] .. parts[k + 1] - 1.
    std::array<std::int32_t, 4> rowParts{}, columnParts{};
    /// Row positions at which the blocks of S begin, ascending, and behind the last the end of S.
    std::vector<std::int32_t> blockStarts;
    std::int32_t structuralRank = 0;

    std::int32_t blocks() const noexcept { return static_cast<std::int32_t>(blockStarts.size()) - 1; }
    /// Columns of H above its rows.
    std::int32_t surplus() const noexcept { return columnParts[1] - rowParts[1]; }
};

/// The columns of H are reached from those without a row, the rows of V from those without a column, along
/// alternating paths (A. Pothen and C.-J. Fan, "Computing the block triangular form of a sparse matrix", ACM
/// TOMS 16 (1990); T. A. Davis, Direct Methods for Sparse Linear Systems, chapter 7). The blocks of S are the
/// strongly connected components of the graph in which a column leads to the columns of its matched row (R.
/// E. Tarjan, SIAM J. Comput. 1 (1972)). Within H, V and a block columns keep their order: a matrix that is
/// one block keeps all of its columns where they are.
///
/// `matching` must be of maximum size. Cost: O(m + n + entries). Nothing is recursive.
LINTRIX_TESTABLE DulmageMendelsohn dulmageMendelsohn(const SparsePattern& pattern,
                                                     const BipartiteMatching& matching);
inline DulmageMendelsohn dulmageMendelsohn(const SparsePattern& pattern)
{
    return dulmageMendelsohn(pattern, maximumMatching(pattern));
}

} // namespace Velmar::Lintrix::detail
