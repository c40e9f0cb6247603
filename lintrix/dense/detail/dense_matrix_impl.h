#pragma once
/// @file
/// Life, access and size of `DenseMatrix`. For the two files that instantiate the class.

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/dense_matrix.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

// ---- construction

template <class Cell>
DenseMatrix<Cell>::DenseMatrix() : DenseMatrix(Block<Cell>::zeroed(9), 3, 3)
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(std::int32_t rows, std::int32_t cols)
    : mRows(rows), mCols(cols), mCells((requireSizes(rows, cols), cellCount(rows, cols))),
      a(Block<Cell>::zeroed(mCells))
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(std::int32_t rows, std::int32_t cols, Cell diagonal) : DenseMatrix(rows, cols)
{
    for (std::int64_t k = 0; k < mCells; k += std::int64_t{rows} + 1) a[k] = diagonal;
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(const Array2D<Cell>& array) : DenseMatrix(array, array.Rows(), array.Cols())
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(const Array2D<Cell>& array, std::int32_t rows, std::int32_t cols)
    : DenseMatrix(rows, cols)
{
    fillLeading(a, rows, std::min(rows, array.Rows()), std::min(cols, array.Cols()),
                [&](std::int64_t r, std::int64_t c) { return array.Row(static_cast<std::int32_t>(r))[c]; });
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(std::span<const Cell> array, std::int32_t rows, std::int32_t cols)
    : DenseMatrix(array, rows, cols, StorageOrder::RowMajor)
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(std::span<const Cell> array, std::int32_t rows, std::int32_t cols,
                               StorageOrder order)
    : DenseMatrix(rows, cols)
{
    if (order == StorageOrder::RowMajor) {
        // A value is read before the length is looked at, so an empty array is no array of zeros.
        if (array.empty()) throw IndexOutOfRangeException();
        readRowMajor(array, a, rows, cols, static_cast<std::size_t>(mCells));
    } else if (order == StorageOrder::ColumnMajor) {
        std::copy_n(array.begin(), std::min(array.size(), static_cast<std::size_t>(mCells)), a.get());
    }
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(const DenseMatrix& matrix)
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells),
      a(Block<Cell>::copyOf(matrix.cells(), mCells))
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(Uninitialised, std::int64_t rows, std::int64_t cols)
    : DenseMatrix(Block<Cell>(resultCells(rows, cols)), static_cast<std::int32_t>(rows),
                  static_cast<std::int32_t>(cols))
{
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(Block<Cell>&& block, std::int32_t rows, std::int32_t cols) noexcept
    : mRows(rows), mCols(cols), mCells(wrappingProduct(rows, cols)), a(std::move(block))
{
}

template <class Cell>
auto AccessTo<Cell>::copyOf(const Cell* source, std::int32_t rows, std::int32_t cols) -> M
{
    return adopt(Block<Cell>::copyOf(source, resultCells(rows, cols)), rows, cols);
}

// ---- the block

template <class Cell>
BlockView<Cell> DenseMatrix<Cell>::view() const
{
    return {cells(), mRows, mCols};
}

template <class Cell>
Line<Cell> DenseMatrix<Cell>::rowLine(std::int32_t row)
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

template <class Cell>
Line<const Cell> DenseMatrix<Cell>::rowLine(std::int32_t row) const
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

template <class Cell>
Line<Cell> DenseMatrix<Cell>::columnLine(std::int32_t col)
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

template <class Cell>
Line<const Cell> DenseMatrix<Cell>::columnLine(std::int32_t col) const
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

template <class Cell>
void DenseMatrix<Cell>::commit(Block<Cell>&& block, std::int64_t rows, std::int64_t cols) noexcept
{
    DenseMatrix fresh(std::move(block), static_cast<std::int32_t>(rows), static_cast<std::int32_t>(cols));
    swap(fresh);
}

template <class Cell>
void DenseMatrix<Cell>::swap(DenseMatrix& other) noexcept
{
    std::swap(mRows, other.mRows);
    std::swap(mCols, other.mCols);
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

// ---- access and size

template <class Cell>
Array2D<Cell> DenseMatrix<Cell>::ToArray() const
{
    Array2D<Cell> array(mRows, mCols);
    transposeCells(cells(), array.Row(0), mRows, mCols); // rows of A are the columns of A'
    return array;
}

template <class Cell>
void DenseMatrix<Cell>::Rows(std::int32_t value)
{
    if (value != mRows) Resize(value, mCols);
}

template <class Cell>
void DenseMatrix<Cell>::Cols(std::int32_t value)
{
    if (value != mCols) Resize(mRows, value);
}

template <class Cell>
void DenseMatrix<Cell>::Resize(std::int32_t rows, std::int32_t cols)
{
    resizeTo(rows, cols, cellCount);
}

template <class Cell>
void DenseMatrix<Cell>::resizeTo(std::int32_t rows, std::int32_t cols, CellCount count)
{
    if (rows == mRows && cols == mCols) return;
    requireSizes(rows, cols);
    commit(resized(view(), rows, cols, count(rows, cols)), rows, cols);
}

template <class Cell>
void DenseMatrix<Cell>::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    fillRandom(cells(), mCells, lowerBound, upperBound, decimals);
}

} // namespace Velmar::Lintrix::detail
