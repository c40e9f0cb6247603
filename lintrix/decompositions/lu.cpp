#include <lintrix/decompositions/lu.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;
using detail::leadingDimension;

LU::LU(const Matrix& matrix)
    : a(Block<double>::copyOf(DenseAccess::cells(matrix), DenseAccess::count(matrix))),
      ipiv(std::min(matrix.Rows(), matrix.Cols())), mRows(matrix.Rows()), mCols(matrix.Cols()),
      mCells(DenseAccess::count(matrix)), np(std::min(mRows, mCols))
{
    detail::lapack::getrf(mRows, mCols, a.get(), leadingDimension(mRows), ipiv.get(), inf);
}

const double* LU::packed() const
{
    return detail::kept(a);
}

Matrix LU::L() const
{
    Matrix l(mRows, np);
    detail::copyUnitLower(packed(), mRows, np, DenseAccess::cells(l));
    return l;
}

Matrix LU::U() const
{
    Matrix u(np, mCols);
    detail::copyUpper(packed(), mRows, np, mCols, DenseAccess::cells(u));
    return u;
}

std::vector<std::int32_t> LU::GetPivots() const
{
    return detail::afterInterchanges(detail::kept(ipiv), np, mRows);
}

Matrix LU::P() const
{
    auto p = Block<double>::zeroed(detail::resultCells(mRows, mRows)); // A may be one long column
    detail::setPermutation(GetPivots(), p.get());
    return DenseAccess::adopt(std::move(p), mRows, mRows);
}

Matrix LU::Solve(const Matrix& rightHands) const
{
    if (mRows != mCols) throw NotSquareMatrixException();
    if (IsSingular()) throw SingularMatrixException();
    if (rightHands.Rows() != mRows) throw SizeMismatchException();

    Matrix x(rightHands);
    int info = 0;
    detail::lapack::getrs('N', mRows, rightHands.Cols(), packed(), leadingDimension(mRows), ipiv.get(),
                          DenseAccess::cells(x), leadingDimension(rightHands.Rows()), info);
    return x;
}

double LU::Determinant() const
{
    if (mRows != mCols)
        throw NotSquareMatrixException("Determinant can be calculated only for a square matrix.");

    const double* pivots = packed();
    double determinant = 1.0;
    bool odd = false;
    for (std::int64_t i = 0; i < np; ++i) {
        determinant = pivots[i + mRows * i] * determinant;
        odd ^= ipiv[i] != i + 1;
    }
    return odd ? -determinant : determinant;
}

Matrix LU::Inverse() const
{
    if (mRows != mCols) {
        throw NotSquareMatrixException("Matrix inverse can be calculated only for a square matrix.");
    }
    if (IsSingular()) throw SingularMatrixException("Matrix is singular and it can not be inverted.");

    // LWORK = 64*n; the buffer is one cell longer than it says. Callers rely on the memory that an operation
    // takes, so it stays.
    const detail::Workspace<double> work(detail::kBlockSize * mRows + 1);
    const std::int32_t lwork = std::max(1, work.lwork - 1);
    auto inverse = Block<double>::copyOf(packed(), mCells);
    int info = 0;
    detail::lapack::getri(mRows, inverse.get(), leadingDimension(mRows), ipiv.get(), work.get(), lwork, info);
    if (info != 0) throw MatrixException("Undefined Error.");
    return DenseAccess::adopt(std::move(inverse), mRows, mRows);
}

void LU::Dispose() noexcept
{
    a.reset();
    ipiv.reset();
}

} // namespace Velmar::Lintrix
