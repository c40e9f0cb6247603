#pragma once
/// @file
/// Reductions and tests of `DenseMatrix`. For the two files that instantiate the class.

#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/norm.h>

namespace Velmar::Lintrix::detail {

// ---- reductions

template <class Cell>
double DenseMatrix<Cell>::Norm(NormType type) const
{
    return normOf(type, view());
}

template <class Cell>
Cell DenseMatrix<Cell>::Trace() const
{
    return sumOf(view().diagonal());
}

template <class Cell>
Cell DenseMatrix<Cell>::RowSum(std::int32_t rowIndex) const
{
    return sumOf(rowLine(rowIndex));
}

template <class Cell>
Cell DenseMatrix<Cell>::ColSum(std::int32_t colIndex) const
{
    return sumOf(columnLine(colIndex));
}

template <class Cell>
Cell DenseMatrix<Cell>::RowsDotProduct(std::int32_t row1, std::int32_t row2) const
{
    const auto x = rowLine(row1), y = rowLine(row2);
    return dotProduct(x, y);
}

template <class Cell>
Cell DenseMatrix<Cell>::ColsDotProduct(std::int32_t col1, std::int32_t col2) const
{
    const auto x = columnLine(col1), y = columnLine(col2);
    return dotProduct(x, y);
}

// ---- tests

template <class Cell>
bool DenseMatrix<Cell>::IsSymmetric(double tolerance) const
{
    return IsSquare() && eachPairPasses(view(), [tolerance](const Cell& below, const Cell& above) {
               return isClose(below, above, tolerance);
           });
}

template <class Cell>
bool DenseMatrix<Cell>::IsEqual(const M& A, double tolerance) const
{
    return closeCells(cells(), A.cells(), mCells, A.mCells, tolerance);
}

template <class Cell>
bool DenseMatrix<Cell>::HasINFs() const
{
    return anyInfinite(cells(), mCells);
}

template <class Cell>
bool DenseMatrix<Cell>::HasNaNs() const
{
    return anyNaN(cells(), mCells);
}

} // namespace Velmar::Lintrix::detail
