#include <lintrix/decompositions/svd.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;
using detail::leadingDimension;

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
    // With vectors the routine cannot do without 4*mn^2 + 7*mn cells, which LWORK can tell up to mn = 23169.
    const detail::Workspace<double> work(std::max(mx, 4 * mn * (mn + 1)) + 3 * square(mn), // in both forms
                                         singularValuesOnly ? 1 : 4 * square(mn) + 7 * mn);
    const Block<std::int32_t> integers(8 * mn);
    const auto copy = Block<double>::copyOf(DenseAccess::cells(matrix), mCells);
    s = Block<double>(mn);
    if (!singularValuesOnly) {
        u = Block<double>(square(mRows));
        vt = Block<double>(square(mCols));
    }
    if (!detail::allFinite(copy.get(), mCells)) {
        inf = detail::kNotFinite;
        s.clear(mn);
        if (u) u.clear(square(mRows));
        if (vt) vt.clear(square(mCols));
        return;
    }
    const std::int32_t lda = leadingDimension(mRows), ldvt = leadingDimension(mCols);
    detail::lapack::gesdd(singularValuesOnly ? 'N' : 'S', mRows, mCols, copy.get(), lda, s.get(), u.get(),
                          lda, vt.get(), ldvt, work.get(), work.lwork, integers.get(), inf);
}

const double* SVD::values() const
{
    return detail::kept(s);
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
    detail::setDiagonal(values(), smallerSide(), DenseAccess::cells(diagonal), smallerSide());
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
    auto vh = Block<double>::zeroed(detail::resultCells(mCols, mCols)); // also in rows that nobody writes
    detail::copyPart(vt.get(), mCols, vh.get(), mCols, smallerSide(), mCols);
    return DenseAccess::adopt(std::move(vh), mCols, mCols);
}

std::optional<Matrix> SVD::V() const
{
    const std::optional<Matrix> vh = VH();
    if (!vh) return std::nullopt;
    return vh->Transpose();
}

double SVD::defaultTolerance() const
{
    if (smallerSide() == 0) return 0.0; // there is no s[0]
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
    const auto w = Block<double>::zeroed(std::int64_t{mCols} * mn);
    for (std::int64_t i = 0; i < mn; ++i) {
        if (std::abs(value[i]) < t) continue; // one equal to t is kept: Rank differs, and callers know both
        for (std::int64_t k = 0; k < mCols; ++k) w[k + mCols * i] = vt[i + mCols * k] / value[i];
    }
    Matrix inverse = DenseAccess::uninitialised(mCols, mRows);
    const std::int32_t ldw = leadingDimension(mCols);
    detail::blas::gemm('N', 'T', mCols, mRows, mn, 1.0, w.get(), ldw, u.get(), leadingDimension(mRows), 0.0,
                       DenseAccess::cells(inverse), ldw);
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
