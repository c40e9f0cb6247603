#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/parts.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/detail/transpose_squares.h>

#include <complex>
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

CMatrix::CMatrix(const Matrix& real, const Matrix& imaginary)
    : CMatrix(paired(real, imaginary), real.Rows(), real.Cols())
{
}

CMatrix Matrix::ToCMatrix() const
{
    const double* re = cells();
    auto block = detail::generated<Complex>(mCells, [re](std::int64_t k) { return Complex(re[k], 0.0); });
    return detail::ComplexAccess::adopt(std::move(block), mRows, mCols);
}

// ---- parts

Matrix CMatrix::Real() const
{
    return DenseAccess::adopt(detail::realParts(cells(), mCells), mRows, mCols);
}

Matrix CMatrix::Imag() const
{
    return DenseAccess::adopt(detail::imaginaryParts(cells(), mCells), mRows, mCols);
}

CMatrix CMatrix::Conjugate() const
{
    return {detail::mapped(cells(), mCells, [](const Complex& x) { return std::conj(x); }), mRows, mCols};
}

CMatrix CMatrix::Adjoint() const
{
    CMatrix adjoint(Uninitialised{}, mCols, mRows);
    const auto rows = static_cast<std::uint64_t>(mRows), cols = static_cast<std::uint64_t>(mCols);
    detail::adjointSquares().chosen()(rows, cols, cells(), rows, adjoint.cells(), cols);
    return adjoint;
}

// ---- deleting

// Also the only one; Matrix differs here.
void CMatrix::DeleteRow(std::int32_t row)
{
    deleteRow(row, mRows);
}

void CMatrix::DeleteColumn(std::int32_t column)
{
    deleteColumn(column, mCols);
}

} // namespace Velmar::Lintrix
