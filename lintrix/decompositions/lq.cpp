#include <lintrix/decompositions/lq.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

namespace detail {

template <class Cell>
LqFactors<Cell>::LqFactors(const M& matrix)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(AccessTo<Cell>::count(matrix)),
      tau(std::max(mRows, mCols)) // more than is used, and so counted in the memory total
{
    const std::int32_t lda = leadingDimension(mRows);
    auto factors = withSlack(AccessTo<Cell>::cells(matrix), mCells, lda);
    const Workspace<Cell> work(kBlockSize * mRows);
    int info = 0;
    lapack::gelqf(mRows, mCols, factors.get(), lda, tau.get(), work.get(), work.lwork, info);
    a = withoutSlack(std::move(factors), mCells);
}

template <class Cell>
const Cell* LqFactors<Cell>::packed() const
{
    return kept(a);
}

template <class Cell>
auto LqFactors<Cell>::L() const -> M
{
    const std::int32_t p = std::min(mRows, mCols);
    M l(mRows, p);
    copyLower(packed(), mRows, p, AccessTo<Cell>::cells(l));
    return l;
}

template <class Cell>
auto LqFactors<Cell>::Q() const -> M
{
    const std::int32_t p = std::min(mRows, mCols);
    const Workspace<Cell> work(kBlockSize * p);
    const std::int32_t lda = leadingDimension(mRows);
    auto q = withSlack(packed(), mCells, lda);
    int info = 0;
    lapack::orglq(p, mCols, p, q.get(), lda, tau.get(), work.get(), work.lwork, info);
    if (mRows <= mCols) return AccessTo<Cell>::adopt(withoutSlack(std::move(q), mCells), p, mCols);

    M square = AccessTo<Cell>::uninitialised(mCols, mCols); // the rows past n are left out
    copyPart(q.get(), mRows, AccessTo<Cell>::cells(square), mCols, mCols, mCols);
    return square;
}

// A flat copy: the right-hand sides stand at a column stride of m. The cells behind them are zero, which
// makes the solution for a single right-hand side the shortest one.
template <class Cell>
Block<Cell> LqFactors<Cell>::forwardSubstituted(const M& rightHands) const
{
    if (rightHands.Rows() != mRows) throw SizeMismatchException();
    if (mRows > mCols) throw SizeMismatchException("Overdetermined system.");

    const std::int32_t nrhs = rightHands.Cols(), lda = leadingDimension(mRows);
    auto block = Block<Cell>::zeroed(resultCells(mCols, nrhs));
    std::copy_n(AccessTo<Cell>::cells(rightHands), AccessTo<Cell>::count(rightHands), block.get());
    blas::trsm('L', 'L', 'N', 'N', mRows, nrhs, Cell(1.0), packed(), lda, block.get(), lda);
    return block;
}

template <class Cell>
void LqFactors<Cell>::Dispose() noexcept
{
    a.reset();
    tau.reset();
}

template class LqFactors<double>;
template class LqFactors<Complex>;

} // namespace detail

Matrix LQ::Solve(const Matrix& rightHands) const
{
    auto block = forwardSubstituted(rightHands);
    // block := Q'*block, with leading dimension n, though the step before left the columns at a stride of m:
    // so only the first column of a wide system is a solution. Callers compare the further ones with stored
    // results, so the two strides stay as they are. LWORK = 64*n; the routine asks for as many cells as it is
    // given columns, and so a block of more columns goes in parts.
    const std::int32_t nrhs = rightHands.Cols(), lda = detail::leadingDimension(Rows());
    const detail::Workspace<double> work(detail::kBlockSize * Cols());
    int info = 0;
    for (std::int32_t j = 0, columns; j < nrhs; j += columns) {
        columns = std::min(nrhs - j, work.lwork);
        detail::lapack::ormlq('L', 'T', Cols(), columns, Rows(), packed(), lda, reflectorScalars(),
                              block.get() + std::int64_t{Cols()} * j, detail::leadingDimension(Cols()),
                              work.get(), work.lwork, info);
    }
    return detail::DenseAccess::adopt(std::move(block), Cols(), nrhs);
}

// The routine that would apply Q is not called: see CQR::Solve.
CMatrix CLQ::Solve(const CMatrix& rightHands) const
{
    return detail::AccessTo<Complex>::adopt(forwardSubstituted(rightHands), Cols(), rightHands.Cols());
}

} // namespace Velmar::Lintrix
