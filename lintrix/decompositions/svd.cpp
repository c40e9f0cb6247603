#include <lintrix/decompositions/svd.h>

#include <lintrix/decompositions/detail/workspace.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;

namespace {

std::int64_t square(std::int64_t k)
{
    return k * k;
}

} // namespace

SVD::SVD(const Matrix& matrix, bool singularValuesOnly)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(DenseAccess::count(matrix))
{
    const std::int64_t mn = smallerSide(), mx = std::max(mRows, mCols);
    const detail::Workspace work(std::max(mx, 4 * mn * (mn + 1)) + 3 * square(mn)); // in both forms
    const Block<std::int32_t> integers(8 * mn);
    const auto copy = Block<double>::copyOf(DenseAccess::cells(matrix), mCells);
    s = Block<double>(mn);
    if (!singularValuesOnly) {
        u = Block<double>(square(mRows));
        vt = Block<double>(square(mCols));
    }
    detail::lapack::gesdd(singularValuesOnly ? 'N' : 'S', mRows, mCols, copy.get(), mRows, s.get(), u.get(),
                          mRows, vt.get(), mCols, work.get(), work.lwork, integers.get(), inf);
}

const double* SVD::values() const
{
    if constexpr (detail::kHardened) {
        if (!s) detail::raiseReleased();
    }
    return s.get();
}

std::optional<Matrix> SVD::U() const
{
    values();
    if (!u) return std::nullopt;
    return DenseAccess::copyOf(u.get(), mRows, smallerSide());
}

Matrix SVD::S() const
{
    Matrix diagonal(smallerSide(), mCols);
    const double* value = values();
    for (std::int32_t i = 0; i < smallerSide(); ++i) diagonal(i, i) = value[i];
    return diagonal;
}

Vector SVD::SingularValues() const
{
    return DenseAccess::strided(values(), smallerSide(), 1);
}

double SVD::SingularValue(std::int32_t index) const
{
    if (index < 0 || index >= smallerSide()) throw IndexOutOfBoundsException();
    return values()[index];
}

std::optional<Matrix> SVD::VH() const
{
    values();
    if (!vt) return std::nullopt;
    Matrix vh(mCols, mCols); // zero in the rows that the routine does not write
    detail::copyPart(vt.get(), mCols, DenseAccess::cells(vh), mCols, smallerSide(), mCols);
    return vh;
}

std::optional<Matrix> SVD::V() const
{
    const std::optional<Matrix> vh = VH();
    if (!vh) return std::nullopt;
    return vh->Transpose();
}

double SVD::defaultTolerance() const
{
    return std::max(mRows, mCols) * values()[0] * 2.220446049250313e-16;
}

std::optional<Matrix> SVD::PseudoInverse() const
{
    return PseudoInverse(defaultTolerance());
}

// W*U' with W = V*inv(S), restricted to the kept singular values.
std::optional<Matrix> SVD::PseudoInverse(double tolerance) const
{
    const double* value = values();
    if (!u || !vt) return std::nullopt;
    const double t = std::abs(tolerance);
    const std::int32_t mn = smallerSide();
    auto w = Block<double>::zeroed(detail::cellCount(mCols, mn)); // by contract n x mn cells
    for (std::int64_t i = 0; i < mn; ++i) {
        if (std::abs(value[i]) < t) continue; // by contract a value equal to t is kept
        for (std::int64_t k = 0; k < mCols; ++k) w[k + mCols * i] = vt[i + mCols * k] / value[i];
    }
    Matrix inverse = DenseAccess::uninitialised(mCols, mRows);
    detail::blas::gemm('N', 'T', mCols, mRows, mn, 1.0, w.get(), mCols, u.get(), mRows, 0.0,
                       DenseAccess::cells(inverse), mCols);
    return inverse;
}

std::int32_t SVD::Rank() const
{
    return Rank(defaultTolerance());
}

std::int32_t SVD::Rank(double tolerance) const
{
    const double t = std::abs(tolerance);
    std::int32_t rank = smallerSide();
    while (rank > 0 && !(values()[rank - 1] > t)) --rank;
    return rank;
}

void SVD::Dispose() noexcept
{
    s.reset();
    u.reset();
    vt.reset();
}

} // namespace Velmar::Lintrix
