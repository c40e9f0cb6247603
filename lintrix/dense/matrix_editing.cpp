// Whole rows and columns of Matrix: writing, reading, cutting, joining, sorting, deleting, inserting. Data is
// moved and nothing computed.
//
// A column is contiguous, a row is a walk with stride Rows(). What changes the size or the order builds a new
// block and commits it at the end, so that a failure leaves the object as it was.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/sorting.h>
#include <lintrix/dense/vector.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cstdlib>
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
    const int rowStep = endRow < startRow ? -1 : 1, colStep = endCol < startCol ? -1 : 1;
    Matrix part(Uninitialised{}, std::abs(endRow - startRow) + 1, std::abs(endCol - startCol) + 1);
    for (std::int32_t j = 0; j < part.mCols; ++j) {
        const double* source = column(startCol + j * colStep) + startRow;
        double* target = part.column(j);
        for (std::int32_t i = 0; i < part.mRows; ++i) target[i] = source[i * rowStep];
    }
    return part;
}

std::optional<Matrix> Matrix::Concatenate(const Matrix& A, const Matrix& B, ConcatenateMode mode)
{
    if (mode == ConcatenateMode::Horizontally) return Concatenate(A, B);
    if (mode != ConcatenateMode::Vertically) return std::nullopt;
    Matrix joined(Uninitialised{}, std::int64_t{A.mRows} + B.mRows, std::max(A.mCols, B.mCols));
    joined.Clear();
    detail::copyPart(A.cells(), A.mRows, joined.cells(), joined.mRows, A.mRows, A.mCols);
    detail::copyPart(B.cells(), B.mRows, joined.cells() + A.mRows, joined.mRows, B.mRows, B.mCols);
    return joined;
}

Matrix Matrix::Concatenate(const Matrix& A, const Matrix& B)
{
    Matrix joined(Uninitialised{}, std::max(A.mRows, B.mRows), std::int64_t{A.mCols} + B.mCols);
    joined.Clear();
    detail::copyPart(A.cells(), A.mRows, joined.cells(), joined.mRows, A.mRows, A.mCols);
    detail::copyPart(B.cells(), B.mRows, joined.column(A.mCols), joined.mRows, B.mRows, B.mCols);
    return joined;
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
    Matrix fresh(Uninitialised{}, mRows, mCols);
    for (std::int32_t j = 0; j < mCols; ++j) { // column by column: both sides stay in cache
        const double* source = column(j);
        double* target = fresh.column(j);
        for (std::int32_t i = 0; i < mRows; ++i) target[pivots[static_cast<std::size_t>(i)]] = source[i];
    }
    swap(fresh);
}

void Matrix::ReorderCols(std::span<const std::int32_t> pivots)
{
    if (pivots.size() != static_cast<std::size_t>(mCols))
        throw SizeMismatchException("Array size does not match.");
    detail::requirePermutation(pivots);
    Matrix fresh(Uninitialised{}, mRows, mCols);
    for (std::int32_t j = 0; j < mCols; ++j) {
        std::copy_n(column(j), mRows, fresh.column(pivots[static_cast<std::size_t>(j)]));
    }
    swap(fresh);
}

// ---- deleting and inserting

// The tail of a column below the deleted row and the head of the next above it lie next to each other in both
// blocks, so that each such pair moves as one piece.
void Matrix::DeleteRow(std::int32_t row)
{
    requireIndex(row, mRows == 1 ? 0 : mRows);
    const std::int64_t r = mRows, q = r - 1, c = mCols;
    Matrix fresh(Uninitialised{}, mRows - 1, mCols);
    const double* old = cells();
    double* target = fresh.cells();
    std::copy_n(old, row, target);
    for (std::int64_t j = 0; j < c - 1; ++j) std::copy_n(old + r * j + row + 1, q, target + row + j * q);
    std::copy_n(old + r * (c - 1) + row + 1, q - row, target + q * (c - 1) + row);
    swap(fresh);
}

void Matrix::DeleteColumn(std::int32_t column)
{
    requireIndex(column, mCols == 1 ? 0 : mCols);
    Matrix fresh(Uninitialised{}, mRows, mCols - 1);
    double* behind = std::copy(cells(), this->column(column), fresh.cells());
    std::copy(this->column(column + 1), this->column(mCols), behind);
    swap(fresh);
}

void Matrix::InsertRow(std::int32_t index)
{
    requireIndex(index, std::int64_t{mRows} + 1);
    Matrix fresh(Uninitialised{}, std::int64_t{mRows} + 1, mCols);
    for (std::int32_t j = 0; j < mCols; ++j) {
        double* gap = std::copy_n(column(j), index, fresh.column(j));
        *gap = 0.0;
        std::copy(column(j) + index, column(j) + mRows, gap + 1);
    }
    swap(fresh);
}

void Matrix::InsertColumn(std::int32_t index)
{
    requireIndex(index, std::int64_t{mCols} + 1);
    Matrix fresh(Uninitialised{}, mRows, std::int64_t{mCols} + 1);
    double* gap = std::copy(cells(), column(index), fresh.cells());
    double* behind = std::fill_n(gap, mRows, 0.0);
    std::copy(column(index), column(mCols), behind);
    swap(fresh);
}

} // namespace Velmar::Lintrix
