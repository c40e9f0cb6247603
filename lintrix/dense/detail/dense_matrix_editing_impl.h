#pragma once
/// @file
/// Whole rows and columns of `DenseMatrix`: writing, reading, cutting, joining, reordering, deleting,
/// inserting. Data is moved and nothing computed. For the two files that instantiate the class.
///
/// A column is contiguous, a row is a walk with stride Rows(). What changes the size or the order builds a
/// new block and commits it at the end, so that a failure leaves the object as it was.

#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/editing.h>
#include <lintrix/dense/detail/sorting.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

// ---- writing and reading rows and columns

template <class Cell>
void DenseMatrix<Cell>::SetRow(std::int32_t row, const V& x)
{
    write(rowLine(row), x.cells(), static_cast<std::size_t>(x.mCells));
}

template <class Cell>
void DenseMatrix<Cell>::SetRow(std::int32_t row, std::span<const Cell> values)
{
    write(rowLine(row), values.data(), values.size());
}

template <class Cell>
void DenseMatrix<Cell>::SetRow(std::int32_t row, Cell start, Cell step)
{
    writeRamp(rowLine(row), start, step);
}

template <class Cell>
void DenseMatrix<Cell>::SetRow(std::int32_t row, Cell value)
{
    writeAll(rowLine(row), value);
}

template <class Cell>
void DenseMatrix<Cell>::SetColumn(std::int32_t col, const V& x)
{
    write(columnLine(col), x.cells(), static_cast<std::size_t>(x.mCells));
}

template <class Cell>
void DenseMatrix<Cell>::SetColumn(std::int32_t col, std::span<const Cell> values)
{
    write(columnLine(col), values.data(), values.size());
}

template <class Cell>
void DenseMatrix<Cell>::SetColumn(std::int32_t col, Cell start, Cell step)
{
    writeRamp(columnLine(col), start, step);
}

template <class Cell>
void DenseMatrix<Cell>::SetColumn(std::int32_t col, Cell value)
{
    writeAll(columnLine(col), value);
}

template <class Cell>
auto DenseMatrix<Cell>::RowVector(std::int32_t row) const -> V
{
    return {copied(rowLine(row)), mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::ColVector(std::int32_t col) const -> V
{
    return {copied(columnLine(col)), mRows};
}

template <class Cell>
auto DenseMatrix<Cell>::Diagonal() const -> V
{
    return {copied(view().diagonal()), std::min(mRows, mCols)};
}

template <class Cell>
void DenseMatrix<Cell>::SwapRows(std::int32_t row1, std::int32_t row2)
{
    requireRow(row1); // both before the cells, which a released matrix has not
    requireRow(row2);
    swapCells(rowLine(row1), rowLine(row2));
}

template <class Cell>
void DenseMatrix<Cell>::SwapCols(std::int32_t col1, std::int32_t col2)
{
    requireColumn(col1);
    requireColumn(col2);
    swapCells(columnLine(col1), columnLine(col2));
}

// ---- cutting and joining

template <class Cell>
auto DenseMatrix<Cell>::SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol,
                                  std::int32_t endCol) const -> M
{
    requireRow(startRow);
    requireRow(endRow);
    requireColumn(startCol);
    requireColumn(endCol);
    const Stretch rows(startRow, endRow), cols(startCol, endCol);
    return {partOf(view(), rows, cols), rows.count, cols.count};
}

template <class Cell>
auto DenseMatrix<Cell>::Concatenate(const M& A, const M& B, ConcatenateMode mode) -> std::optional<M>
{
    if (mode == ConcatenateMode::Horizontally) return Concatenate(A, B);
    if (mode != ConcatenateMode::Vertically) return std::nullopt;
    auto joined = joinedDown(A.view(), B.view()); // which refuses a sum past 32 bits
    return M(std::move(joined), A.mRows + B.mRows, std::max(A.mCols, B.mCols));
}

template <class Cell>
auto DenseMatrix<Cell>::Concatenate(const M& A, const M& B) -> M
{
    auto joined = joinedAcross(A.view(), B.view());
    return {std::move(joined), std::max(A.mRows, B.mRows), A.mCols + B.mCols};
}

// ---- reordering

template <class Cell>
void DenseMatrix<Cell>::ReorderRows(std::span<const std::int32_t> pivots)
{
    requirePlaces(pivots, mRows);
    commit(withRowsMoved(view(), pivots), mRows, mCols);
}

template <class Cell>
void DenseMatrix<Cell>::ReorderCols(std::span<const std::int32_t> pivots)
{
    requirePlaces(pivots, mCols);
    commit(withColumnsMoved(view(), pivots), mRows, mCols);
}

// ---- deleting and inserting

template <class Cell>
void DenseMatrix<Cell>::deleteRow(std::int32_t row, std::int32_t count)
{
    requireEditIndex(row, count);
    commit(withoutRow(view(), row), std::int64_t{mRows} - 1, mCols);
}

template <class Cell>
void DenseMatrix<Cell>::deleteColumn(std::int32_t column, std::int32_t count)
{
    requireEditIndex(column, count);
    commit(withoutColumn(view(), column), mRows, std::int64_t{mCols} - 1);
}

template <class Cell>
void DenseMatrix<Cell>::InsertRow(std::int32_t index)
{
    requireEditIndex(index, std::int64_t{mRows} + 1);
    commit(withRow(view(), index), std::int64_t{mRows} + 1, mCols);
}

template <class Cell>
void DenseMatrix<Cell>::InsertColumn(std::int32_t index)
{
    requireEditIndex(index, std::int64_t{mCols} + 1);
    commit(withColumn(view(), index), mRows, std::int64_t{mCols} + 1);
}

} // namespace Velmar::Lintrix::detail
