#pragma once
/// @file
/// Right-hand sides and solutions, column by column.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/foundation/block.h>
#include <lintrix/services/work.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

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

/// work(begin, end) for so many cells in stretches, some milliseconds of fresh memory each.
/// @throws as `WorkScope::tell`, before each of them
template <class Work>
void inPieces(std::size_t cells, const Work& work)
{
    constexpr std::size_t kPiece = std::size_t{1} << 19;
    for (std::size_t begin = 0; begin < cells; begin += kPiece) {
        WorkScope::tell();
        work(begin, std::min(begin + kPiece, cells));
    }
}

/// `target` := `source`, as long as this. @throws as `inPieces`
template <class Cell>
void copyCells(std::span<const Cell> source, std::span<Cell> target)
{
    inPieces(source.size(), [&](std::size_t begin, std::size_t end) {
        std::copy(source.begin() + begin, source.begin() + end, target.begin() + begin);
    });
}

/// A block of zeros. @throws as `inPieces`, NotEnoughMemoryException
template <class Cell>
MatrixOf<Cell> zeroColumns(std::int32_t rows, std::int32_t cols)
{
    const std::int64_t count = std::int64_t{rows} * cols;
    Block<Cell> cells(count);
    inPieces(static_cast<std::size_t>(count), [&cells](std::size_t begin, std::size_t end) {
        std::fill(cells.get() + begin, cells.get() + end, Cell());
    });
    return AccessTo<Cell>::adopt(std::move(cells), rows, cols);
}

/// The cells of a block. @throws as `inPieces`, NotEnoughMemoryException
template <class Cell>
MatrixOf<Cell> copyOfColumns(const Cell* source, std::int32_t rows, std::int32_t cols)
{
    const std::int64_t count = std::int64_t{rows} * cols;
    Block<Cell> cells(count);
    copyCells<Cell>({source, static_cast<std::size_t>(count)},
                    {cells.get(), static_cast<std::size_t>(count)});
    return AccessTo<Cell>::adopt(std::move(cells), rows, cols);
}
template <class M>
M copyOfColumns(const M& source)
{
    return copyOfColumns(cellsOf(source).data(), source.Rows(), source.Cols());
}

/// Copies all of `source` to the columns of `target` from column j on; the row counts agree.
template <class M>
void copyColumns(const M& source, M& target, std::int32_t j)
{
    const auto before = static_cast<std::size_t>(target.Rows()) * static_cast<std::size_t>(j);
    copyCells(cellsOf(source), cellsOf(target).subspan(before));
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
    Block both = zeroColumns<ElementOf<Block>>(left.Rows(), left.Cols() + right.Cols());
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

/// The columns from `begin` to before `end`.
template <class Block>
Block columnsOf(const Block& block, std::int32_t begin, std::int32_t end)
{
    return copyOfColumns(columnCells(block, begin).data(), block.Rows(), end - begin);
}

/// work(begin, end) for so many columns in stretches of some milliseconds; a column takes `each`
/// multiplications. @throws as `WorkScope::tell`, between them
template <class Work>
void inStretches(std::int32_t columns, double each, const Work& work)
{
    constexpr double kMost = 2e7; // some 20 ms
    const auto stretch = static_cast<std::int32_t>(std::clamp(kMost / std::max(each, 1.0), 1.0, 1e6));
    for (std::int32_t begin = 0; begin < columns; begin += stretch) {
        WorkScope::tell();
        work(begin, std::min(begin + stretch, columns));
    }
}

/// Y := alpha*op(A)*X + beta*Y.
template <class Cell>
void multiplyColumns(double alpha, TransposeMode op, const SparseOf<Cell>& A, const MatrixOf<Cell>& X,
                     double beta, MatrixOf<Cell>& Y)
{
    const double each = A.NumElements() + A.Rows();
    inStretches(X.Cols(), each, [&](std::int32_t begin, std::int32_t end) {
        if (end - begin == X.Cols()) return SparseOf<Cell>::Multiply(alpha, op, A, X, beta, Y);
        MatrixOf<Cell> own = columnsOf(Y, begin, end);
        SparseOf<Cell>::Multiply(alpha, op, A, columnsOf(X, begin, end), beta, own);
        copyColumns(own, Y, begin);
    });
}

/// B - op(A)*X.
template <class Cell>
MatrixOf<Cell> residualOf(const SparseOf<Cell>& A, const MatrixOf<Cell>& X, const MatrixOf<Cell>& B,
                          TransposeMode op)
{
    MatrixOf<Cell> R = copyOfColumns(B);
    multiplyColumns<Cell>(-1.0, op, A, X, 1.0, R);
    return R;
}

/// op(A)*X.
template <class Cell>
MatrixOf<Cell> productOf(const SparseOf<Cell>& A, const MatrixOf<Cell>& X, TransposeMode op)
{
    MatrixOf<Cell> B = zeroColumns<Cell>(A.Rows(), X.Cols());
    multiplyColumns<Cell>(1.0, op, A, X, 0.0, B);
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
