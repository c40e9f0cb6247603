// Whole rows and columns of Matrix: writing, reading, cutting, joining, sorting, deleting, inserting. Data is
// moved and nothing computed.
//
// A column is contiguous, a row is a walk with stride Rows(). What changes the size or the order builds a new
// block and commits it at the end, so that a failure leaves the object as it was.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/editing.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/sorting.h>
#include <lintrix/dense/vector.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

// ---- writing and reading rows and columns

void Matrix::SetRow(std::int32_t row, const Vector& x)
{
    detail::write(rowLine(row), x.cells(), static_cast<std::size_t>(x.mCells));
}

void Matrix::SetRow(std::int32_t row, std::span<const double> values)
{
    detail::write(rowLine(row), values.data(), values.size());
}

void Matrix::SetRow(std::int32_t row, double start, double step)
{
    detail::writeRamp(rowLine(row), start, step);
}

void Matrix::SetRow(std::int32_t row, double value)
{
    detail::writeAll(rowLine(row), value);
}

void Matrix::SetColumn(std::int32_t col, const Vector& x)
{
    detail::write(columnLine(col), x.cells(), static_cast<std::size_t>(x.mCells));
}

void Matrix::SetColumn(std::int32_t col, std::span<const double> values)
{
    detail::write(columnLine(col), values.data(), values.size());
}

void Matrix::SetColumn(std::int32_t col, double start, double step)
{
    detail::writeRamp(columnLine(col), start, step);
}

void Matrix::SetColumn(std::int32_t col, double value)
{
    detail::writeAll(columnLine(col), value);
}

Vector Matrix::RowVector(std::int32_t row) const
{
    return {detail::copied(rowLine(row)), mCols};
}

Vector Matrix::ColVector(std::int32_t col) const
{
    return {detail::copied(columnLine(col)), mRows};
}

Vector Matrix::Diagonal() const
{
    return {detail::copied(view().diagonal()), std::min(mRows, mCols)};
}

void Matrix::SwapRows(std::int32_t row1, std::int32_t row2)
{
    const auto x = rowLine(row1), y = rowLine(row2);
    detail::swapCells(x, y);
}

void Matrix::SwapCols(std::int32_t col1, std::int32_t col2)
{
    const auto x = columnLine(col1), y = columnLine(col2);
    detail::swapCells(x, y);
}

// ---- cutting and joining

Matrix Matrix::SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol,
                         std::int32_t endCol) const
{
    requireRow(startRow);
    requireRow(endRow);
    requireColumn(startCol);
    requireColumn(endCol);
    const detail::Stretch rows(startRow, endRow), cols(startCol, endCol);
    return {detail::partOf(view(), rows, cols), rows.count, cols.count};
}

std::optional<Matrix> Matrix::Concatenate(const Matrix& A, const Matrix& B, ConcatenateMode mode)
{
    if (mode == ConcatenateMode::Horizontally) return Concatenate(A, B);
    if (mode != ConcatenateMode::Vertically) return std::nullopt;
    auto joined = detail::joinedDown(A.view(), B.view()); // which refuses a sum past 32 bits
    return Matrix(std::move(joined), A.mRows + B.mRows, std::max(A.mCols, B.mCols));
}

Matrix Matrix::Concatenate(const Matrix& A, const Matrix& B)
{
    auto joined = detail::joinedAcross(A.view(), B.view());
    return {std::move(joined), std::max(A.mRows, B.mRows), A.mCols + B.mCols};
}

// ---- sorting and reordering

void Matrix::SortRows(std::int32_t col, SortOrder order)
{
    std::vector<std::int32_t> pivots;
    SortRows(col, order, pivots);
}

void Matrix::SortRows(std::int32_t col, SortOrder order, std::vector<std::int32_t>& pivots)
{
    requireColumn(col);
    auto places = detail::inverseOf(detail::sortedOrder({column(col), column(col) + mRows}, order));
    ReorderRows(places);
    pivots = std::move(places);
}

void Matrix::SortCols(std::int32_t row, SortOrder order)
{
    std::vector<std::int32_t> pivots;
    SortCols(row, order, pivots);
}

void Matrix::SortCols(std::int32_t row, SortOrder order, std::vector<std::int32_t>& pivots)
{
    requireRow(row);
    std::vector<double> keys(static_cast<std::size_t>(mCols));
    for (std::int32_t j = 0; j < mCols; ++j) keys[static_cast<std::size_t>(j)] = column(j)[row];
    auto places = detail::inverseOf(detail::sortedOrder(std::move(keys), order));
    ReorderCols(places);
    pivots = std::move(places);
}

void Matrix::ReorderRows(std::span<const std::int32_t> pivots)
{
    detail::requirePlaces(pivots, mRows);
    commit(detail::withRowsMoved(view(), pivots), mRows, mCols);
}

void Matrix::ReorderCols(std::span<const std::int32_t> pivots)
{
    detail::requirePlaces(pivots, mCols);
    commit(detail::withColumnsMoved(view(), pivots), mRows, mCols);
}

// ---- deleting and inserting

void Matrix::DeleteRow(std::int32_t row)
{
    detail::requireEditIndex(row, mRows == 1 ? 0 : mRows);
    commit(detail::withoutRow(view(), row), std::int64_t{mRows} - 1, mCols);
}

void Matrix::DeleteColumn(std::int32_t column)
{
    detail::requireEditIndex(column, mCols == 1 ? 0 : mCols);
    commit(detail::withoutColumn(view(), column), mRows, std::int64_t{mCols} - 1);
}

void Matrix::InsertRow(std::int32_t index)
{
    detail::requireEditIndex(index, std::int64_t{mRows} + 1);
    commit(detail::withRow(view(), index), std::int64_t{mRows} + 1, mCols);
}

void Matrix::InsertColumn(std::int32_t index)
{
    detail::requireEditIndex(index, std::int64_t{mCols} + 1);
    commit(detail::withColumn(view(), index), mRows, std::int64_t{mCols} + 1);
}

} // namespace Velmar::Lintrix
