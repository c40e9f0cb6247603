#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/parts.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/detail/transpose_tiles.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block, detail::DenseAccess;

namespace {

Block<Complex> paired(const Matrix& real, const Matrix& imaginary)
{
    detail::requireSameShape(real, imaginary);
    const double *re = DenseAccess::cells(real), *im = DenseAccess::cells(imaginary);
    return detail::generated<Complex>(DenseAccess::count(real),
                                      [=](std::int64_t k) { return Complex(re[k], im[k]); });
}

} // namespace

// ---- construction

CMatrix::CMatrix() : CMatrix(Block<Complex>::zeroed(9), 3, 3)
{
}

CMatrix::CMatrix(std::int32_t rows, std::int32_t cols)
    : mCols(cols), mRows(rows), mCells((detail::requireSizes(rows, cols), detail::cellCount(rows, cols))),
      a(Block<Complex>::zeroed(mCells))
{
}

CMatrix::CMatrix(std::int32_t rows, std::int32_t cols, Complex diagonal) : CMatrix(rows, cols)
{
    for (std::int64_t k = 0; k < mCells; k += std::int64_t{rows} + 1) a[k] = diagonal;
}

CMatrix::CMatrix(const Matrix& real, const Matrix& imaginary)
    : CMatrix(paired(real, imaginary), real.Rows(), real.Cols())
{
}

CMatrix::CMatrix(const Array2D<Complex>& array) : CMatrix(array, array.Rows(), array.Cols())
{
}

CMatrix::CMatrix(const Array2D<Complex>& array, std::int32_t rows, std::int32_t cols) : CMatrix(rows, cols)
{
    detail::fillLeading(
        a, rows, std::min(rows, array.Rows()), std::min(cols, array.Cols()),
        [&](std::int64_t r, std::int64_t c) { return array.Row(static_cast<std::int32_t>(r))[c]; });
}

CMatrix::CMatrix(std::span<const Complex> array, std::int32_t rows, std::int32_t cols)
    : CMatrix(array, rows, cols, StorageOrder::RowMajor)
{
}

CMatrix::CMatrix(std::span<const Complex> array, std::int32_t rows, std::int32_t cols, StorageOrder order)
    : CMatrix(rows, cols)
{
    if (order == StorageOrder::RowMajor) {
        // A value is read before the length is looked at, so an empty array is no array of zeros.
        if (array.empty()) throw IndexOutOfRangeException();
        detail::readRowMajor(array, a, rows, cols, static_cast<std::size_t>(mCells));
    } else if (order == StorageOrder::ColumnMajor) {
        std::copy_n(array.begin(), std::min(array.size(), static_cast<std::size_t>(mCells)), a.get());
    }
}

CMatrix::CMatrix(const CMatrix& matrix)
    : mCols(matrix.mCols), mRows(matrix.mRows), mCells(matrix.mCells),
      a(Block<Complex>::copyOf(matrix.cells(), mCells))
{
}

CMatrix::CMatrix(CMatrix&& matrix) noexcept
    : mCols(matrix.mCols), mRows(matrix.mRows), mCells(matrix.mCells), a(std::move(matrix.a))
{
}

CMatrix::CMatrix(Uninitialised, std::int64_t rows, std::int64_t cols)
    : CMatrix(Block<Complex>(detail::resultCells(rows, cols)), static_cast<std::int32_t>(rows),
              static_cast<std::int32_t>(cols))
{
}

CMatrix::CMatrix(Block<Complex>&& block, std::int32_t rows, std::int32_t cols) noexcept
    : mCols(cols), mRows(rows), mCells(detail::wrappingProduct(rows, cols)), a(std::move(block))
{
}

CMatrix& CMatrix::operator=(CMatrix matrix) noexcept
{
    swap(matrix);
    return *this;
}

CMatrix detail::ComplexAccess::copyOf(const Complex* source, std::int32_t rows, std::int32_t cols)
{
    return adopt(Block<Complex>::copyOf(source, resultCells(rows, cols)), rows, cols);
}

CMatrix Matrix::ToCMatrix() const
{
    const double* re = cells();
    auto block = detail::generated<Complex>(mCells, [re](std::int64_t k) { return Complex(re[k], 0.0); });
    return detail::ComplexAccess::adopt(std::move(block), mRows, mCols);
}

// ---- the block

detail::BlockView<Complex> CMatrix::view() const
{
    return {cells(), mRows, mCols};
}

detail::Line<Complex> CMatrix::rowLine(std::int32_t row)
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

detail::Line<const Complex> CMatrix::rowLine(std::int32_t row) const
{
    requireRow(row);
    return {cells() + row, mCols, mRows};
}

detail::Line<Complex> CMatrix::columnLine(std::int32_t col)
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

detail::Line<const Complex> CMatrix::columnLine(std::int32_t col) const
{
    requireColumn(col);
    return {column(col), mRows, 1};
}

void CMatrix::commit(Block<Complex>&& block, std::int64_t rows, std::int64_t cols) noexcept
{
    *this = CMatrix(std::move(block), static_cast<std::int32_t>(rows), static_cast<std::int32_t>(cols));
}

void CMatrix::swap(CMatrix& other) noexcept
{
    std::swap(mCols, other.mCols);
    std::swap(mRows, other.mRows);
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

// ---- access and size

Matrix CMatrix::Real() const
{
    return DenseAccess::adopt(detail::realParts(cells(), mCells), mRows, mCols);
}

Matrix CMatrix::Imag() const
{
    return DenseAccess::adopt(detail::imaginaryParts(cells(), mCells), mRows, mCols);
}

Array2D<Complex> CMatrix::ToArray() const
{
    Array2D<Complex> array(mRows, mCols);
    detail::transposeBlock(cells(), array.Row(0), mRows, mCols); // rows of A are the columns of A'
    return array;
}

void CMatrix::Rows(std::int32_t value)
{
    if (value != mRows) Resize(value, mCols);
}

void CMatrix::Cols(std::int32_t value)
{
    if (value != mCols) Resize(mRows, value);
}

void CMatrix::Resize(std::int32_t rows, std::int32_t cols)
{
    if (rows == mRows && cols == mCols) return;
    detail::requireSizes(rows, cols);
    commit(detail::resized(view(), rows, cols, detail::cellCount(rows, cols)), rows, cols);
}

void CMatrix::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    detail::fillRandom(detail::partsOf(cells()), 2 * std::int64_t{mCells}, lowerBound, upperBound, decimals);
}

} // namespace Velmar::Lintrix
