#include <lintrix/decompositions/svd.h>

#include <lintrix/complex/access.h>
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
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {

namespace detail {

namespace {

std::int64_t square(std::int64_t k)
{
    return k * k;
}

/// A = U*S*V' as the routine takes it: the sizes, A, which is destroyed, and where the results go; without
/// vectors `u` and `vt` are null.
template <class Cell>
struct Decomposition {
    std::int32_t m, n;
    Cell* a;
    double* s;
    Cell *u, *vt;

    std::int64_t smaller() const { return std::min(m, n); }
    std::int64_t larger() const { return std::max(m, n); }
    char job() const { return u ? 'S' : 'N'; }
};

// With vectors the routine cannot do without 4*mn^2 + 7*mn cells, which LWORK can tell up to mn = 23169.
int decompose(const Decomposition<double>& A)
{
    const std::int64_t mn = A.smaller();
    const Workspace<double> work(std::max(A.larger(), 4 * mn * (mn + 1)) + 3 * square(mn), // in both forms
                                 A.u ? 4 * square(mn) + 7 * mn : 1);
    const Block<std::int32_t> integers(8 * mn);
    const std::int32_t lda = leadingDimension(A.m), ldvt = leadingDimension(A.n);
    int info = 0;
    lapack::gesdd(A.job(), A.m, A.n, A.a, lda, A.s, A.u, lda, A.vt, ldvt, work.get(), work.lwork,
                  integers.get(), info);
    return info;
}

// LWORK is what the routine cannot do without.
int decompose(const Decomposition<Complex>& A)
{
    const std::int64_t mn = A.smaller(), length = (A.u ? mn + 2 : 2) * mn + A.larger();
    const Workspace<Complex> work(length, length);
    const Block<double> reals((5 * mn + 7) * mn);
    const Block<std::int32_t> integers(8 * mn);
    const std::int32_t lda = leadingDimension(A.m), ldvt = leadingDimension(A.n);
    int info = 0;
    lapack::gesdd(A.job(), A.m, A.n, A.a, lda, A.s, A.u, lda, A.vt, ldvt, work.get(), work.lwork, reals.get(),
                  integers.get(), info);
    return info;
}

double dividedConjugate(double x, double s)
{
    return x / s;
}
Complex dividedConjugate(const Complex& z, double s)
{
    return {z.real() / s, -(z.imag() / s)};
}

template <class Cell>
constexpr char kAdjoint = std::is_same_v<Cell, Complex> ? 'C' : 'T';

Matrix conjugateTranspose(const Matrix& A)
{
    return A.Transpose();
}
CMatrix conjugateTranspose(const CMatrix& A)
{
    return A.Adjoint();
}

} // namespace

template <class Cell>
SvdFactors<Cell>::SvdFactors(const M& matrix, bool singularValuesOnly)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(AccessTo<Cell>::count(matrix)), s(smallerSide())
{
    const std::int64_t vtCells = square(mCols);
    const auto copy = withSlack(AccessTo<Cell>::cells(matrix), mCells, leadingDimension(mRows));
    if (!singularValuesOnly) {
        u = Block<Cell>(square(mRows));
        vt = Block<Cell>(vtCells + slackBehind<Cell>(leadingDimension(mCols)));
    }
    if (allFinite(copy.get(), mCells)) {
        inf = decompose(Decomposition<Cell>{mRows, mCols, copy.get(), s.get(), u.get(), vt.get()});
    } else {
        inf = kNotFinite;
        s.clear(smallerSide());
        if (u) u.clear(square(mRows));
        if (vt) vt.clear(vtCells);
    }
    if (vt) vt = withoutSlack(std::move(vt), vtCells);
}

template <class Cell>
const double* SvdFactors<Cell>::values() const
{
    return kept(s);
}

// The values are always there until the release, which the vectors would not show.
template <class Cell>
bool SvdFactors<Cell>::hasVectors() const
{
    values();
    return u && vt;
}

template <class Cell>
auto SvdFactors<Cell>::U() const -> std::optional<M>
{
    values();
    if (!u) return std::nullopt;
    return AccessTo<Cell>::copyOf(u.get(), mRows, smallerSide());
}

template <class Cell>
Matrix SvdFactors<Cell>::S() const
{
    Matrix diagonal(smallerSide(), mCols);
    setDiagonal(values(), smallerSide(), DenseAccess::cells(diagonal), smallerSide());
    return diagonal;
}

template <class Cell>
Vector SvdFactors<Cell>::SingularValues() const
{
    return DenseAccess::strided(values(), smallerSide(), 1);
}

template <class Cell>
double SvdFactors<Cell>::SingularValue(std::int32_t index) const
{
    if (index < 0 || index >= smallerSide()) throw IndexOutOfBoundsException();
    return values()[index];
}

template <class Cell>
auto SvdFactors<Cell>::VH() const -> std::optional<M>
{
    values();
    if (!vt) return std::nullopt;
    auto vh = Block<Cell>::zeroed(resultCells(mCols, mCols)); // also in rows that nobody writes
    copyPart(vt.get(), mCols, vh.get(), mCols, smallerSide(), mCols);
    return AccessTo<Cell>::adopt(std::move(vh), mCols, mCols);
}

template <class Cell>
auto SvdFactors<Cell>::V() const -> std::optional<M>
{
    const std::optional<M> vh = VH();
    if (!vh) return std::nullopt;
    return conjugateTranspose(*vh);
}

template <class Cell>
double SvdFactors<Cell>::defaultTolerance() const
{
    if (smallerSide() == 0) return 0.0; // there is no s[0]
    return std::max(mRows, mCols) * values()[0] * 2.220446049250313e-16;
}

// W*U^H with W = V*inv(S), restricted to the kept singular values.
template <class Cell>
auto SvdFactors<Cell>::invertedOnRange(double tolerance) const -> M
{
    const double* value = values();
    const double t = std::abs(tolerance);
    const std::int32_t mn = smallerSide();
    const auto w = Block<Cell>::zeroed(std::int64_t{mCols} * mn);
    for (std::int64_t i = 0; i < mn; ++i) {
        if (std::abs(value[i]) < t) continue; // one equal to t is kept: Rank differs, and callers know both
        for (std::int64_t k = 0; k < mCols; ++k) {
            w[k + mCols * i] = dividedConjugate(vt[i + mCols * k], value[i]);
        }
    }
    M inverse = AccessTo<Cell>::uninitialised(mCols, mRows);
    const std::int32_t ldw = leadingDimension(mCols);
    blas::gemm('N', kAdjoint<Cell>, mCols, mRows, mn, Cell(1.0), w.get(), ldw, u.get(),
               leadingDimension(mRows), Cell(0.0), AccessTo<Cell>::cells(inverse), ldw);
    return inverse;
}

template <class Cell>
std::int32_t SvdFactors<Cell>::countAbove(double tolerance) const
{
    const double t = std::abs(tolerance);
    std::int32_t rank = smallerSide();
    while (rank > 0 && !(values()[rank - 1] > t)) --rank;
    return rank;
}

template <class Cell>
void SvdFactors<Cell>::Dispose() noexcept
{
    s.reset();
    u.reset();
    vt.reset();
}

template class SvdFactors<double>;
template class SvdFactors<Complex>;

} // namespace detail

std::optional<Matrix> SVD::PseudoInverse() const
{
    return PseudoInverse(defaultTolerance());
}

std::optional<Matrix> SVD::PseudoInverse(double tolerance) const
{
    if (!hasVectors()) return std::nullopt;
    return invertedOnRange(tolerance);
}

std::optional<CMatrix> CSVD::PseudoInverse() const
{
    return PseudoInverse(defaultTolerance());
}

std::optional<CMatrix> CSVD::PseudoInverse(double tolerance) const
{
    if (!hasVectors() || !Succeeded()) return std::nullopt;
    return invertedOnRange(tolerance);
}

} // namespace Velmar::Lintrix
