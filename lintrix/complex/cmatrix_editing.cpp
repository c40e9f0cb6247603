// Whole rows and columns of CMatrix: writing, reading, cutting, joining, reordering, deleting, inserting.
// Data is moved and nothing computed.
//
// A column is contiguous, a row is a walk with stride Rows(). What changes the size or the order builds a new
// block and commits it at the end, so that a failure leaves the object as it was.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/cvector.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/editing.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/sorting.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

// ---- writing and reading rows and columns

void CMatrix::SetRow(std::int32_t row, const CVector& x)
{
    detail::write(rowLine(row), x.cells(), static_cast<std::size_t>(x.mCells));
}

void CMatrix::SetRow(std::int32_t row, std::span<const Complex> values)
{
    detail::write(rowLine(row), values.data(), values.size());
}

void CMatrix::SetRow(std::int32_t row, Complex start, Complex step)
{
    detail::writeRamp(rowLine(row), start, step);
}

void CMatrix::SetRow(std::int32_t row, Complex value)
{
    detail::writeAll(rowLine(row), value);
}

void CMatrix::SetColumn(std::int32_t col, const CVector& x)
{
    detail::write(columnLine(col), x.cells(), static_cast<std::size_t>(x.mCells));
}

void CMatrix::SetColumn(std::int32_t col, std::span<const Complex> values)
{
    detail::write(columnLine(col), values.data(), values.size());
}

void CMatrix::SetColumn(std::int32_t col, Complex start, Complex step)
{
    detail::writeRamp(columnLine(col), start, step);
}

void CMatrix::SetColumn(std::int32_t col, Complex value)
{
    detail::writeAll(columnLine(col), value);
}

CVector CMatrix::RowVector(std::int32_t row) const
{
    return {detail::copied(rowLine(row)), mCols};
}

CVector CMatrix::ColVector(std::int32_t col) const
{
    return {detail::copied(columnLine(col)), mRows};
}

CVector CMatrix::Diagonal() const
{
    return {detail::copied(view().diagonal()), std::min(mRows, mCols)};
}

void CMatrix::SwapRows(std::int32_t row1, std::int32_t row2)
{
    const auto x = rowLine(row1), y = rowLine(row2);
    detail::swapCells(x, y);
}

void CMatrix::SwapCols(std::int32_t col1, std::int32_t col2)
{
    const auto x = columnLine(col1), y = columnLine(col2);
    detail::swapCells(x, y);
}

// ---- cutting and joining

CMatrix CMatrix::SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol,
                           std::int32_t endCol) const
{
    requireRow(startRow);
    requireRow(endRow);
    requireColumn(startCol);
    requireColumn(endCol);
    const detail::Stretch rows(startRow, endRow), cols(startCol, endCol);
    return {detail::partOf(view(), rows, cols), rows.count, cols.count};
}

std::optional<CMatrix> CMatrix::Concatenate(const CMatrix& A, const CMatrix& B, ConcatenateMode mode)
{
    if (mode == ConcatenateMode::Horizontally) return Concatenate(A, B);
    if (mode != ConcatenateMode::Vertically) return std::nullopt;
    auto joined = detail::joinedDown(A.view(), B.view()); // which refuses a sum past 32 bits
    return CMatrix(std::move(joined), A.mRows + B.mRows, std::max(A.mCols, B.mCols));
}

CMatrix CMatrix::Concatenate(const CMatrix& A, const CMatrix& B)
{
    auto joined = detail::joinedAcross(A.view(), B.view());
    return {std::move(joined), std::max(A.mRows, B.mRows), A.mCols + B.mCols};
}

// ---- reordering

void CMatrix::ReorderRows(std::span<const std::int32_t> pivots)
{
    detail::requirePlaces(pivots, mRows);
    commit(detail::withRowsMoved(view(), pivots), mRows, mCols);
}

void CMatrix::ReorderCols(std::span<const std::int32_t> pivots)
{
    detail::requirePlaces(pivots, mCols);
    commit(detail::withColumnsMoved(view(), pivots), mRows, mCols);
}

// ---- deleting and inserting

void CMatrix::DeleteRow(std::int32_t row)
{
    detail::requireEditIndex(row, mRows); // also the only one; Matrix differs here
    commit(detail::withoutRow(view(), row), std::int64_t{mRows} - 1, mCols);
}

void CMatrix::DeleteColumn(std::int32_t column)
{
    detail::requireEditIndex(column, mCols);
    commit(detail::withoutColumn(view(), column), mRows, std::int64_t{mCols} - 1);
}

void CMatrix::InsertRow(std::int32_t index)
{
    detail::requireEditIndex(index, std::int64_t{mRows} + 1);
    commit(detail::withRow(view(), index), std::int64_t{mRows} + 1, mCols);
}

void CMatrix::InsertColumn(std::int32_t index)
{
    detail::requireEditIndex(index, std::int64_t{mCols} + 1);
    commit(detail::withColumn(view(), index), mRows, std::int64_t{mCols} + 1);
}

} // namespace Velmar::Lintrix
