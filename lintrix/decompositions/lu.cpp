#include <lintrix/decompositions/lu.h>

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

template <class Cell>
LuFactors<Cell>::LuFactors(const M& matrix)
    : a(Block<Cell>::copyOf(AccessTo<Cell>::cells(matrix), AccessTo<Cell>::count(matrix))),
      ipiv(std::min(matrix.Rows(), matrix.Cols())), mRows(matrix.Rows()), mCols(matrix.Cols()),
      mCells(AccessTo<Cell>::count(matrix)), np(std::min(mRows, mCols))
{
    lapack::getrf(mRows, mCols, a.get(), leadingDimension(mRows), ipiv.get(), inf);
}

template <class Cell>
const Cell* LuFactors<Cell>::packed() const
{
    return kept(a);
}

template <class Cell>
auto LuFactors<Cell>::L() const -> M
{
    M l(mRows, np);
    copyUnitLower(packed(), mRows, np, AccessTo<Cell>::cells(l));
    return l;
}

template <class Cell>
auto LuFactors<Cell>::U() const -> M
{
    M u(np, mCols);
    copyUpper(packed(), mRows, np, mCols, AccessTo<Cell>::cells(u));
    return u;
}

template <class Cell>
std::vector<std::int32_t> LuFactors<Cell>::GetPivots() const
{
    return afterInterchanges(kept(ipiv), np, mRows);
}

template <class Cell>
auto LuFactors<Cell>::P() const -> M
{
    auto p = Block<Cell>::zeroed(resultCells(mRows, mRows)); // A may be one long column
    setPermutation(GetPivots(), p.get());
    return AccessTo<Cell>::adopt(std::move(p), mRows, mRows);
}

template <class Cell>
auto LuFactors<Cell>::Solve(const M& rightHands) const -> M
{
    if (mRows != mCols) throw NotSquareMatrixException();
    if (IsSingular()) throw SingularMatrixException();
    if (rightHands.Rows() != mRows) throw SizeMismatchException();

    M x(rightHands);
    int info = 0;
    lapack::getrs('N', mRows, rightHands.Cols(), packed(), leadingDimension(mRows), ipiv.get(),
                  AccessTo<Cell>::cells(x), leadingDimension(rightHands.Rows()), info);
    return x;
}

template <class Cell>
Cell LuFactors<Cell>::Determinant() const
{
    if (mRows != mCols)
        throw NotSquareMatrixException("Determinant can be calculated only for a square matrix.");

    const Cell* pivots = packed();
    Cell determinant = 1.0;
    bool odd = false;
    for (std::int64_t i = 0; i < np; ++i) {
        determinant = ProductOf<Cell>()(determinant, pivots[i + mRows * i]);
        odd ^= ipiv[i] != i + 1;
    }
    return odd ? -determinant : determinant;
}

template <class Cell>
auto LuFactors<Cell>::Inverse() const -> M
{
    if (mRows != mCols) {
        throw NotSquareMatrixException("Matrix inverse can be calculated only for a square matrix.");
    }
    if (IsSingular()) throw SingularMatrixException("Matrix is singular and it can not be inverted.");

    // LWORK = 64*n; the buffer is one cell longer than it says. Callers rely on the memory that an operation
    // takes, so it stays.
    const Workspace<Cell> work(kBlockSize * mRows + 1);
    const std::int32_t lwork = std::max(1, work.lwork - 1);
    auto inverse = Block<Cell>::copyOf(packed(), mCells);
    int info = 0;
    lapack::getri(mRows, inverse.get(), leadingDimension(mRows), ipiv.get(), work.get(), lwork, info);
    if (info != 0) throw MatrixException("Undefined Error.");
    return AccessTo<Cell>::adopt(std::move(inverse), mRows, mRows);
}

template <class Cell>
void LuFactors<Cell>::Dispose() noexcept
{
    a.reset();
    ipiv.reset();
}

template class LuFactors<double>;
template class LuFactors<Complex>;

} // namespace Velmar::Lintrix::detail
