// Whole rows and columns of Matrix: writing, reading, cutting, joining, sorting, deleting, inserting. Data is
// moved and nothing computed.
//
// A column is contiguous, a row is a walk with stride Rows(). What changes the size or the order builds a new
// block and commits it at the end, so that a failure leaves the object as it was.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/editing.h>
#include <lintrix/dense/detail/sorting.h>
#include <lintrix/dense/vector.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::DenseAccess;

namespace {

std::int32_t shorter(std::int32_t cells, std::size_t length)
{
    return static_cast<std::int32_t>(std::min(static_cast<std::size_t>(cells), length));
}

// Callers compare texts: these four say the default one, not that of the row or the column.
void requireIndex(std::int32_t index, std::int64_t end)
{
    if (index < 0 || index >= end) throw IndexOutOfBoundsException();
}

} // namespace

// ---- writing and reading rows and columns

void Matrix::SetRow(std::int32_t row, const Vector& x)
{
    requireRow(row);
    detail::blas::copy(std::min(mCols, x.Length()), x.cells(), 1, cells() + row, mRows);
}

void Matrix::SetRow(std::int32_t row, std::span<const double> values)
{
    requireRow(row);
    for (std::int32_t j = 0; j < shorter(mCols, values.size()); ++j) {
        column(j)[row] = values[static_cast<std::size_t>(j)];
    }
}

void Matrix::SetRow(std::int32_t row, double start, double step)
{
    requireRow(row);
    for (std::int32_t j = 0; j < mCols; ++j) column(j)[row] = j * step + start;
}

void Matrix::SetRow(std::int32_t row, double value)
{
    requireRow(row);
    for (std::int32_t j = 0; j < mCols; ++j) column(j)[row] = value;
}

void Matrix::SetColumn(std::int32_t col, const Vector& x)
{
    requireColumn(col);
    detail::blas::copy(std::min(mRows, x.Length()), x.cells(), 1, column(col), 1);
}

void Matrix::SetColumn(std::int32_t col, std::span<const double> values)
{
    requireColumn(col);
    std::copy_n(values.begin(), shorter(mRows, values.size()), column(col));
}

void Matrix::SetColumn(std::int32_t col, double start, double step)
{
    requireColumn(col);
    double* x = column(col);
    for (std::int32_t i = 0; i < mRows; ++i) x[i] = i * step + start;
}

void Matrix::SetColumn(std::int32_t col, double value)
{
    requireColumn(col);
    std::fill_n(column(col), mRows, value);
}

Vector Matrix::RowVector(std::int32_t row) const
{
    requireRow(row);
    return DenseAccess::strided(cells() + row, mCols, mRows);
}

Vector Matrix::ColVector(std::int32_t col) const
{
    requireColumn(col);
    return DenseAccess::strided(column(col), mRows, 1);
}

Vector Matrix::Diagonal() const
{
    return DenseAccess::strided(cells(), std::min(mRows, mCols), std::int64_t{mRows} + 1);
}

void Matrix::SwapRows(std::int32_t row1, std::int32_t row2)
{
    requireRow(row1);
    requireRow(row2);
    detail::blas::swap(mCols, cells() + row1, mRows, cells() + row2, mRows);
}

void Matrix::SwapCols(std::int32_t col1, std::int32_t col2)
{
    requireColumn(col1);
    requireColumn(col2);
    detail::blas::swap(mRows, column(col1), 1, column(col2), 1);
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
    if (pivots.size() != static_cast<std::size_t>(mRows))
        throw SizeMismatchException("Array size does not match.");
    detail::requirePermutation(pivots);
    commit(detail::withRowsMoved(view(), pivots), mRows, mCols);
}

void Matrix::ReorderCols(std::span<const std::int32_t> pivots)
{
    if (pivots.size() != static_cast<std::size_t>(mCols))
        throw SizeMismatchException("Array size does not match.");
    detail::requirePermutation(pivots);
    commit(detail::withColumnsMoved(view(), pivots), mRows, mCols);
}

// ---- deleting and inserting

void Matrix::DeleteRow(std::int32_t row)
{
    requireIndex(row, mRows == 1 ? 0 : mRows);
    commit(detail::withoutRow(view(), row), std::int64_t{mRows} - 1, mCols);
}

void Matrix::DeleteColumn(std::int32_t column)
{
    requireIndex(column, mCols == 1 ? 0 : mCols);
    commit(detail::withoutColumn(view(), column), mRows, std::int64_t{mCols} - 1);
}

void Matrix::InsertRow(std::int32_t index)
{
    requireIndex(index, std::int64_t{mRows} + 1);
    commit(detail::withRow(view(), index), std::int64_t{mRows} + 1, mCols);
}

void Matrix::InsertColumn(std::int32_t index)
{
    requireIndex(index, std::int64_t{mCols} + 1);
    commit(detail::withColumn(view(), index), mRows, std::int64_t{mCols} + 1);
}

} // namespace Velmar::Lintrix
