#include <lintrix/decompositions/lu.h>

#include <lintrix/decompositions/detail/workspace.h>
#include <lintrix/dense/access.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;

LU::LU(const Matrix& matrix)
    : a(Block<double>::copyOf(DenseAccess::cells(matrix), DenseAccess::count(matrix))),
      ipiv(std::min(matrix.Rows(), matrix.Cols())), mRows(matrix.Rows()), mCols(matrix.Cols()),
      mCells(DenseAccess::count(matrix)), np(std::min(mRows, mCols))
{
    detail::lapack::getrf(mRows, mCols, a.get(), mRows, ipiv.get(), inf);
}

const double* LU::packed() const
{
    if constexpr (detail::kHardened) {
        if (!a) detail::raiseReleased();
    }
    return a.get();
}

Matrix LU::L() const
{
    Matrix l(mRows, np);
    double* target = DenseAccess::cells(l);
    const double* source = packed();
    for (std::int64_t j = 0; j < np; ++j) {
        const std::int64_t diagonal = j + mRows * j, end = mRows + mRows * j;
        target[diagonal] = 1.0;
        std::copy(source + diagonal + 1, source + end, target + diagonal + 1);
    }
    return l;
}

Matrix LU::U() const
{
    Matrix u(np, mCols);
    double* target = DenseAccess::cells(u);
    const double* source = packed();
    for (std::int64_t j = 0; j < mCols; ++j) {
        std::copy_n(source + mRows * j, std::min<std::int64_t>(j + 1, np), target + np * j);
    }
    return u;
}

std::vector<std::int32_t> LU::GetPivots() const
{
    packed();
    std::vector<std::int32_t> rows(static_cast<std::size_t>(mRows));
    std::iota(rows.begin(), rows.end(), 0);
    for (std::int32_t i = 0; i < np; ++i) {
        std::swap(rows[static_cast<std::size_t>(i)], rows[static_cast<std::size_t>(ipiv[i] - 1)]);
    }
    return rows;
}

Matrix LU::P() const
{
    const std::vector<std::int32_t> rows = GetPivots();
    Matrix p(mRows, mRows);
    for (std::int32_t i = 0; i < mRows; ++i) p(rows[static_cast<std::size_t>(i)], i) = 1.0;
    return p;
}

Matrix LU::Solve(const Matrix& rightHands) const
{
    if (mRows != mCols) throw NotSquareMatrixException();
    if (IsSingular()) throw SingularMatrixException();
    if (rightHands.Rows() != mRows) throw SizeMismatchException();

    Matrix x(rightHands);
    int info = 0;
    detail::lapack::getrs('N', mRows, rightHands.Cols(), packed(), mRows, ipiv.get(), DenseAccess::cells(x),
                          rightHands.Rows(), info);
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

    // LWORK = 64*n; by contract the buffer is one cell longer than LWORK says.
    const detail::Workspace work(detail::kBlockSize * mRows + 1);
    const std::int32_t lwork = work.lwork - 1;
    auto inverse = Block<double>::copyOf(packed(), mCells);
    int info = 0;
    detail::lapack::getri(mRows, inverse.get(), mRows, ipiv.get(), work.get(), lwork, info);
    if (info != 0) throw MatrixException("Undefined Error.");
    return DenseAccess::adopt(std::move(inverse), mRows, mRows);
}

void LU::Dispose() noexcept
{
    a.reset();
    ipiv.reset();
}

} // namespace Velmar::Lintrix
