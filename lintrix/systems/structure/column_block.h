#pragma once
/// @file
/// A few long vectors, and the rotations that make them orthogonal.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// `count` vectors of `length` cells, one behind the other without gaps.
template <class Cell>
struct ColumnBlock {
    std::int32_t length = 0, count = 0;
    std::vector<Cell> cells =
        std::vector<Cell>(static_cast<std::size_t>(length) * static_cast<std::size_t>(count));

    Cell* column(std::int32_t j) noexcept { return cells.data() + std::int64_t{length} * j; }
    const Cell* column(std::int32_t j) const noexcept { return cells.data() + std::int64_t{length} * j; }
    /// The first `columns` are kept.
    void shrink(std::int32_t columns)
    {
        count = columns;
        cells.resize(static_cast<std::size_t>(length) * static_cast<std::size_t>(count));
    }
};

/// x^H*y.
template <class Cell>
Cell scalarProduct(std::int32_t length, const Cell* x, const Cell* y);
/// ||x||, whatever the scale of x.
template <class Cell>
LINTRIX_TESTABLE double euclideanNorm(std::int32_t length, const Cell* x);
/// y += factor*x.
template <class Cell>
void addMultiple(std::int32_t length, const Cell& factor, const Cell* x, Cell* y);

/// Turns W into W*J with orthogonal columns, the longest first, J unitary; `companion`, of as many columns,
/// becomes companion*J. @return the lengths: the singular values of W, the small ones to high relative
/// accuracy where W owes its condition to the lengths of its columns.
///
/// Plane rotations of pairs of columns until none is needed any more (M. R. Hestenes, J. SIAM 6 (1958); J.
/// Demmel and K. Veselic, SIAM J. Matrix Anal. Appl. 13 (1992)). @pre W is finite
template <class Cell>
LINTRIX_TESTABLE std::vector<double> orthogonalize(ColumnBlock<Cell>& W,
                                                   ColumnBlock<Cell>* companion = nullptr);

/// Companion becomes companion*J as above, by the triangle of W alone; of more than a few columns by its
/// singular value decomposition, so that the lengths are off by a few roundings of the longest. W is given
/// up. A fraction of the cost above. @return the lengths @pre W is finite
template <class Cell>
LINTRIX_TESTABLE std::vector<double> turnByLengths(ColumnBlock<Cell>& W, ColumnBlock<Cell>& companion);

/// W := W - Q*(Q^H*W), Q orthonormal: what is left is orthogonal to Q, but for rounding of what was there.
template <class Cell>
LINTRIX_TESTABLE void clearOf(const ColumnBlock<Cell>& Q, ColumnBlock<Cell>& W);

/// As `orthogonalize`, each column divided by its length; those of no length are left out, and so are the
/// shortest of more than `length`.
template <class Cell>
LINTRIX_TESTABLE std::vector<double> orthonormalize(ColumnBlock<Cell>& W);

/// Turns W into an orthonormal basis of a space that holds its columns' span: of as many columns, but no more
/// than `length`. By reflections of the columns as they stand, each divided by its length; a fraction of the
/// cost above, whose order of lengths it does without. @pre W is finite
template <class Cell>
LINTRIX_TESTABLE void takeBasis(ColumnBlock<Cell>& W);

} // namespace Velmar::Lintrix::detail
