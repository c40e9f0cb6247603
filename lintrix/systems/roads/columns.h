#pragma once
/// @file
/// Right-hand sides and solutions, column by column.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <type_traits>

namespace Velmar::Lintrix::detail::roads {

/// The elements of Matrix or CMatrix.
template <class Block>
using ElementOf = std::conditional_t<std::is_same_v<Block, CMatrix>, Complex, double>;

/// The cells, column by column.
template <class Block>
std::span<const ElementOf<Block>> cellsOf(const Block& matrix)
{
    using Access = AccessTo<ElementOf<Block>>;
    return {Access::cells(matrix), static_cast<std::size_t>(Access::count(matrix))};
}
template <class Block>
std::span<ElementOf<Block>> cellsOf(Block& matrix)
{
    using Access = AccessTo<ElementOf<Block>>;
    return {Access::cells(matrix), static_cast<std::size_t>(Access::count(matrix))};
}

/// Those of column j.
template <class Block>
auto columnCells(Block& block, std::int32_t j)
{
    const auto rows = static_cast<std::size_t>(block.Rows());
    return cellsOf(block).subspan(rows * static_cast<std::size_t>(j), rows);
}

/// Copies all of `source` to the columns of `target` from column j on; the row counts agree.
template <class Block>
void copyColumns(const Block& source, Block& target, std::int32_t j)
{
    const auto before = static_cast<std::size_t>(target.Rows()) * static_cast<std::size_t>(j);
    std::ranges::copy(cellsOf(source), cellsOf(target).subspan(before).begin());
}

/// Column j, Rows() x 1.
template <class Block>
Block columnOf(const Block& block, std::int32_t j)
{
    Block column(block.Rows(), 1);
    std::ranges::copy(columnCells(block, j), cellsOf(column).begin());
    return column;
}

/// The columns of both.
template <class Block>
Block beside(const Block& left, const Block& right)
{
    Block both(left.Rows(), left.Cols() + right.Cols());
    copyColumns(left, both, 0);
    copyColumns(right, both, left.Cols());
    return both;
}

/// Each cell's complex conjugate; of a real matrix a copy.
template <class Block>
Block conjugateOf(const Block& block)
{
    Block copy(block);
    if constexpr (std::is_same_v<Block, CMatrix>)
        for (Complex& cell : cellsOf(copy)) cell = std::conj(cell);
    return copy;
}

/// B - op(A)*X.
template <class Cell>
MatrixOf<Cell> residualOf(const SparseOf<Cell>& A, const MatrixOf<Cell>& X, const MatrixOf<Cell>& B,
                          TransposeMode op)
{
    MatrixOf<Cell> R(B);
    SparseOf<Cell>::Multiply(-1.0, op, A, X, 1.0, R);
    return R;
}

/// op(A)*X.
template <class Cell>
MatrixOf<Cell> productOf(const SparseOf<Cell>& A, const MatrixOf<Cell>& X, TransposeMode op)
{
    MatrixOf<Cell> B(A.Rows(), X.Cols());
    SparseOf<Cell>::Multiply(1.0, op, A, X, 0.0, B);
    return B;
}
template <class Cell>
MatrixOf<Cell> productOf(const MatrixOf<Cell>& A, const MatrixOf<Cell>& X, TransposeMode op)
{
    MatrixOf<Cell> B(op == TransposeMode::NotTransposed ? A.Rows() : A.Cols(), X.Cols());
    MatrixOf<Cell>::Multiply(1.0, op, A, TransposeMode::NotTransposed, X, 0.0, B);
    return B;
}

} // namespace Velmar::Lintrix::detail::roads
