#include <lintrix/decompositions/qr.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix {

namespace detail {

namespace {

// A*P = Q*R in place by the routine of either cell type; jpvt is all 0 on entry: every column is free. One
// size of work space serves both forms, and pivoting needs all of it.
void factorize(bool pivoting, std::int32_t m, std::int32_t n, double* a, std::int32_t* jpvt, double* tau)
{
    const std::int64_t length = 3 * std::int64_t{n} + 1;
    const Workspace<double> work(length, pivoting ? length : 1);
    const std::int32_t lda = leadingDimension(m);
    int info = 0;
    if (pivoting) {
        lapack::geqp3(m, n, a, lda, jpvt, tau, work.get(), work.lwork, info);
    } else {
        lapack::geqrf(m, n, a, lda, tau, work.get(), work.lwork, info);
    }
}

void factorize(bool pivoting, std::int32_t m, std::int32_t n, Complex* a, std::int32_t* jpvt, Complex* tau)
{
    const std::int64_t length = std::int64_t{n} + 1;
    const Workspace<Complex> work(length, pivoting ? length : 1);
    const Block<double> reals(2 * std::int64_t{n}); // in both forms, though pivoting alone takes it
    const std::int32_t lda = leadingDimension(m);
    int info = 0;
    if (pivoting) {
        lapack::geqp3(m, n, a, lda, jpvt, tau, work.get(), work.lwork, reals.get(), info);
    } else {
        lapack::geqrf(m, n, a, lda, tau, work.get(), work.lwork, info);
    }
}

} // namespace

template <class Cell>
QrFactors<Cell>::QrFactors(const M& matrix, bool pivoting)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(AccessTo<Cell>::count(matrix)),
      a(Block<Cell>::copyOf(AccessTo<Cell>::cells(matrix), mCells)), tau(std::min(mRows, mCols)),
      jpvt(Block<std::int32_t>::zeroed(mCols))
{
    factorize(pivoting, mRows, mCols, a.get(), jpvt.get(), tau.get());
    if (!pivoting) std::iota(jpvt.get(), jpvt.get() + mCols, 1);
}

template <class Cell>
const Cell* QrFactors<Cell>::packed() const
{
    return kept(a);
}

template <class Cell>
auto QrFactors<Cell>::R() const -> M
{
    const std::int32_t p = std::min(mRows, mCols);
    M r(p, mCols);
    copyUpper(packed(), mRows, p, mCols, AccessTo<Cell>::cells(r));
    return r;
}

template <class Cell>
auto QrFactors<Cell>::Q() const -> M
{
    const std::int32_t p = std::min(mRows, mCols);
    const Workspace<Cell> work(kBlockSize * p);
    auto q = Block<Cell>::copyOf(packed(), std::int64_t{mRows} * p);
    int info = 0;
    lapack::orgqr(mRows, p, p, q.get(), leadingDimension(mRows), tau.get(), work.get(), work.lwork, info);
    return AccessTo<Cell>::adopt(std::move(q), mRows, p);
}

template <class Cell>
auto QrFactors<Cell>::P() const -> M
{
    auto p = Block<Cell>::zeroed(resultCells(mCols, mCols)); // A may be one long row
    setPermutation(GetPivots(), p.get());
    return AccessTo<Cell>::adopt(std::move(p), mCols, mCols);
}

template <class Cell>
std::vector<std::int32_t> QrFactors<Cell>::GetPivots() const
{
    return zeroBased(kept(jpvt), mCols);
}

template <class Cell>
Block<Cell> QrFactors<Cell>::rightHandSides(const M& rightHands) const
{
    if (rightHands.Rows() != mRows) throw SizeMismatchException("Right hands matrix size does not match.");
    if (mRows < mCols) throw SizeMismatchException("Underdetermined system. Use LQ decomposition instead.");
    return Block<Cell>::copyOf(AccessTo<Cell>::cells(rightHands), AccessTo<Cell>::count(rightHands));
}

// The leading dimension is n, though the columns stand at a stride of m: so only the first column of a tall
// system is settled. Callers compare the further ones with stored results, so the two strides stay as they
// are.
template <class Cell>
auto QrFactors<Cell>::backSubstituted(const Block<Cell>& block, std::int32_t nrhs) const -> M
{
    blas::trsm('L', 'U', 'N', 'N', mCols, nrhs, Cell(1.0), packed(), leadingDimension(mRows), block.get(),
               leadingDimension(mCols));
    M x(mCols, nrhs);
    for (std::int64_t j = 0; j < nrhs; ++j) {
        for (std::int32_t i = 0; i < mCols; ++i) {
            x(jpvt[i] - 1, static_cast<std::int32_t>(j)) = block[i + mRows * j];
        }
    }
    return x;
}

template <class Cell>
void QrFactors<Cell>::Dispose() noexcept
{
    a.reset();
    tau.reset();
    jpvt.reset();
}

template class QrFactors<double>;
template class QrFactors<Complex>;

} // namespace detail

Matrix QR::Solve(const Matrix& rightHands) const
{
    const auto block = rightHandSides(rightHands);
    const std::int32_t nrhs = rightHands.Cols(), lda = detail::leadingDimension(Rows());
    int info = 0;
    { // block := Q'*B
        const detail::Workspace<double> work(detail::kBlockSize * nrhs);
        detail::lapack::ormqr('L', 'T', Rows(), nrhs, Cols(), packed(), lda, reflectorScalars(), block.get(),
                              lda, work.get(), work.lwork, info);
    }
    return backSubstituted(block, nrhs);
}

// The routine that would apply Q refuses the letter that asks for its plain transpose, and leaves the block
// alone. It would also complain on the standard error stream, and need not return, and so it is not called.
CMatrix CQR::Solve(const CMatrix& rightHands) const
{
    return backSubstituted(rightHandSides(rightHands), rightHands.Cols());
}

} // namespace Velmar::Lintrix
