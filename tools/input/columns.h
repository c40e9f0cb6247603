#pragma once
// Right-hand sides and solutions, real or complex.

#include <tools/input/sparse_rows.h>

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>

#include <algorithm>
#include <span>
#include <type_traits>

namespace Velmar::Lintrix::tools {

/// Columns of elements of type Cell.
template <class Cell>
using Columns = std::conditional_t<kIsComplex<Cell>, CMatrix, Matrix>;

template <class Block>
std::size_t cellCount(const Block& matrix)
{
    return static_cast<std::size_t>(matrix.Rows()) * static_cast<std::size_t>(matrix.Cols());
}

/// The elements of Matrix or CMatrix.
template <class Block>
using ElementOf = std::conditional_t<std::is_same_v<Block, CMatrix>, ComplexNumber, double>;

/// The cells, column by column.
inline std::span<const double> cellsOf(const Matrix& matrix)
{
    return {reinterpret_cast<const double*>(matrix.DataPtr()), cellCount(matrix)};
}
inline std::span<double> cellsOf(Matrix& matrix)
{
    return {reinterpret_cast<double*>(matrix.DataPtr()), cellCount(matrix)};
}
inline std::span<const ComplexNumber> cellsOf(const CMatrix& matrix)
{
    return {reinterpret_cast<const ComplexNumber*>(matrix.DataPtr()), cellCount(matrix)};
}
inline std::span<ComplexNumber> cellsOf(CMatrix& matrix)
{
    return {reinterpret_cast<ComplexNumber*>(matrix.DataPtr()), cellCount(matrix)};
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

/// All ones, or any other constant.
template <class Block = Matrix>
Block filledWith(double value, std::int32_t rows, std::int32_t cols)
{
    Block block(rows, cols);
    std::ranges::fill(cellsOf(block), value);
    return block;
}

/// B - A*X.
template <class Cell>
Columns<Cell> residualOf(const SparseRows<Cell>& A, const Columns<Cell>& X, const Columns<Cell>& B)
{
    Columns<Cell> R(B);
    SparseRows<Cell>::Multiply(-1.0, TransposeMode::NotTransposed, A, X, 1.0, R);
    return R;
}

} // namespace Velmar::Lintrix::tools
