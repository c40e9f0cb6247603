#pragma once
/// @file
/// In which blocks and in which order a sparse matrix is eliminated by columns.

#include <lintrix/services/export.h>
#include <lintrix/systems/structure/bipartite_matching.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::sparse_lu {

/// Pairs each column with a row, with one that is large in it where that can be had at no cost: its own of
/// the diagonal if that is within `threshold` of the largest, else the largest that is free; what is left
/// goes along augmenting paths. `sizes` are magnitudes beside `columns.columns`. In `columns` row j lists the
/// rows of column j, and so do the two sides of the result: columnOf[column] = row. Cost: that of
/// maximumMatching, and a pass or two.
LINTRIX_TESTABLE BipartiteMatching strongMatching(const SparsePattern& columns, std::span<const double> sizes,
                                                  double threshold);

/// Which fill an order of columns keeps small.
enum class ColumnOrder {
    AlongDiagonal, ///< of A_k + A_k', pivots being taken from the matched diagonal
    AnyRows,       ///< of A_k^H*A_k, whose factor bounds those of A_k whatever rows are exchanged
};

/// P*A*Q is upper block triangular, with the matched elements on its diagonal and each A_k irreducible.
struct EliminationPlan {
    std::vector<std::int32_t> rowAt{}, columnAt{}; ///< rowAt[position] = row
    std::vector<std::int32_t> blockStarts{}; ///< positions, ascending, and behind the last the order of A
    std::int64_t lowerNonZeros = 0;          ///< forecast for pivots on the diagonal, or for any rows
    double operations = 0.0;                 ///< likewise, of real numbers

    std::int32_t blocks() const noexcept { return static_cast<std::int32_t>(blockStarts.size()) - 1; }
};

/// The blocks are the strong components of the graph in which a row leads to those of its matched column (I.
/// S. Duff and J. K. Reid, "An implementation of Tarjan's algorithm for the block triangularization of a
/// matrix", ACM TOMS 4 (1978)); minimum degree orders them all at once, since no edge joins two. A row of
/// above 10*sqrt(n) entries is left out of A^H*A: it would make that full.
///
/// `matching` is perfect. @throws NotEnoughMemoryException
LINTRIX_TESTABLE EliminationPlan planElimination(const SparsePattern& columns,
                                                 const BipartiteMatching& matching, ColumnOrder order);

} // namespace Velmar::Lintrix::detail::sparse_lu
