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

/// All ones, or any other constant.
template <class Block = Matrix>
Block filledWith(double value, std::int32_t rows, std::int32_t cols)
{
    Block block(rows, cols);
    std::ranges::fill(cellsOf(block), value);
    return block;
}

} // namespace Velmar::Lintrix::tools
