#include <lintrix/dense/matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/transposition.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;

void detail::raiseReleased()
{
    throw InvalidOperationException("The object was used after its release.");
}
void detail::raiseRowIndex()
{
    throw IndexOutOfBoundsException("Row index exceeds matrix size.");
}
void detail::raiseColumnIndex()
{
    throw IndexOutOfBoundsException("Column index exceeds matrix size.");
}

// ---- construction

Matrix::Matrix() : Matrix(Block<double>::zeroed(9), 3, 3)
{
}

Matrix::Matrix(std::int32_t rows, std::int32_t cols)
    : mRows(rows), mCols(cols), mCells((detail::requireSizes(rows, cols), detail::cellCount(rows, cols))),
      a(Block<double>::zeroed(mCells))
{
}

Matrix::Matrix(std::int32_t rows, std::int32_t cols, double diagonal) : Matrix(rows, cols)
{
    for (std::int64_t k = 0; k < mCells; k += std::int64_t{rows} + 1) a[k] = diagonal;
}

Matrix::Matrix(const Array2D<double>& array) : Matrix(array, array.Rows(), array.Cols())
{
}

Matrix::Matrix(const Array2D<double>& array, std::int32_t rows, std::int32_t cols) : Matrix(rows, cols)
{
    detail::fillLeading(
        a, rows, std::min(rows, array.Rows()), std::min(cols, array.Cols()),
        [&](std::int64_t r, std::int64_t c) { return array.Row(static_cast<std::int32_t>(r))[c]; });
}

Matrix::Matrix(std::span<const double> array, std::int32_t rows, std::int32_t cols)
    : Matrix(array, rows, cols, StorageOrder::RowMajor)
{
}

Matrix::Matrix(std::span<const double> array, std::int32_t rows, std::int32_t cols, StorageOrder order)
    : Matrix(rows, cols)
{
    if (order == StorageOrder::RowMajor) {
        // A value is read before the length is looked at, so an empty array is no array of zeros.
        if (array.empty()) throw IndexOutOfRangeException();
        detail::readRowMajor(array, a, rows, cols, static_cast<std::size_t>(mCells));
    } else if (order == StorageOrder::ColumnMajor) {
        std::copy_n(array.begin(), std::min(array.size(), static_cast<std::size_t>(mCells)), a.get());
    }
}

Matrix::Matrix(const Matrix& matrix)
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells),
      a(Block<double>::copyOf(matrix.cells(), mCells))
{
}

Matrix::Matrix(Matrix&& matrix) noexcept
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells), a(std::move(matrix.a))
{
}

Matrix::Matrix(Uninitialised, std::int64_t rows, std::int64_t cols)
    : Matrix(Block<double>(detail::resultCells(rows, cols)), static_cast<std::int32_t>(rows),
             static_cast<std::int32_t>(cols))
{
}

Matrix::Matrix(Block<double>&& block, std::int32_t rows, std::int32_t cols) noexcept
    : mRows(rows), mCols(cols), mCells(detail::wrappingProduct(rows, cols)), a(std::move(block))
{
}

Matrix& Matrix::operator=(Matrix matrix) noexcept
{
    swap(matrix);
    return *this;
}

detail::BlockView<double> Matrix::view() const
{
    return {cells(), mRows, mCols};
}

detail::Line<double> Matrix::rowLine(std::int32_t row)
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

detail::Line<const double> Matrix::rowLine(std::int32_t row) const
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

detail::Line<double> Matrix::columnLine(std::int32_t col)
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

detail::Line<const double> Matrix::columnLine(std::int32_t col) const
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

void Matrix::commit(Block<double>&& block, std::int64_t rows, std::int64_t cols) noexcept
{
    *this = Matrix(std::move(block), static_cast<std::int32_t>(rows), static_cast<std::int32_t>(cols));
}

void Matrix::swap(Matrix& other) noexcept
{
    std::swap(mRows, other.mRows);
    std::swap(mCols, other.mCols);
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

// ---- access and size

Array2D<double> Matrix::ToArray() const
{
    Array2D<double> array(mRows, mCols);
    detail::vmr_transo(cells(), array.Row(0), mRows, mCols); // rows of A are the columns of A'
    return array;
}

void Matrix::Rows(std::int32_t value)
{
    if (value != mRows) Resize(value, mCols);
}

void Matrix::Cols(std::int32_t value)
{
    if (value != mCols) Resize(mRows, value);
}

void Matrix::Resize(std::int32_t rows, std::int32_t cols)
{
    resizeTo(rows, cols, detail::cellCount);
}

void Matrix::resizeTo(std::int32_t rows, std::int32_t cols, CellCount count)
{
    if (rows == mRows && cols == mCols) return;
    detail::requireSizes(rows, cols);
    commit(detail::resized(view(), rows, cols, count(rows, cols)), rows, cols);
}

void Matrix::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    detail::fillRandom(cells(), mCells, lowerBound, upperBound, decimals);
}

Matrix detail::DenseAccess::copyOf(const double* source, std::int32_t rows, std::int32_t cols)
{
    return adopt(Block<double>::copyOf(source, resultCells(rows, cols)), rows, cols);
}

} // namespace Velmar::Lintrix
