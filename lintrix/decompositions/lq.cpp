#include <lintrix/decompositions/lq.h>

#include <lintrix/dense/access.h>
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

using detail::Block;
using detail::DenseAccess;
using detail::leadingDimension;
using Workspace = detail::Workspace<double>;

LQ::LQ(const Matrix& matrix)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(DenseAccess::count(matrix)),
      a(Block<double>::copyOf(DenseAccess::cells(matrix), mCells))
{
    const Workspace work(detail::kBlockSize * mRows);
    tau = Block<double>(std::max(mRows, mCols)); // more than is used, and so counted in the memory total
    int info = 0;
    detail::lapack::gelqf(mRows, mCols, a.get(), leadingDimension(mRows), tau.get(), work.get(), work.lwork,
                          info);
}

const double* LQ::packed() const
{
    return detail::kept(a);
}

Matrix LQ::L() const
{
    const std::int32_t p = std::min(mRows, mCols);
    Matrix l(mRows, p);
    detail::copyLower(packed(), mRows, p, DenseAccess::cells(l));
    return l;
}

Matrix LQ::Q() const
{
    const std::int32_t p = std::min(mRows, mCols);
    const Workspace work(detail::kBlockSize * p);
    auto q = Block<double>::copyOf(packed(), mCells);
    int info = 0;
    detail::lapack::orglq(p, mCols, p, q.get(), leadingDimension(mRows), tau.get(), work.get(), work.lwork,
                          info);
    if (mRows <= mCols) return DenseAccess::adopt(std::move(q), p, mCols);

    Matrix square = DenseAccess::uninitialised(mCols, mCols); // the rows past n are left out
    detail::copyPart(q.get(), mRows, DenseAccess::cells(square), mCols, mCols, mCols);
    return square;
}

Matrix LQ::Solve(const Matrix& rightHands) const
{
    if (rightHands.Rows() != mRows) throw SizeMismatchException();
    if (mRows > mCols) throw SizeMismatchException("Overdetermined system.");

    // A flat copy: the right-hand sides stand at a column stride of m. The cells behind them are zero, which
    // makes the solution for a single right-hand side the shortest one.
    const std::int32_t nrhs = rightHands.Cols(), lda = leadingDimension(mRows), ldc = leadingDimension(mCols);
    auto block = Block<double>::zeroed(detail::resultCells(mCols, nrhs));
    std::copy_n(DenseAccess::cells(rightHands), DenseAccess::count(rightHands), block.get());

    detail::blas::trsm('L', 'L', 'N', 'N', mRows, nrhs, 1.0, packed(), lda, block.get(), lda);
    // block := Q'*block, with leading dimension n, though the step before left the columns at a stride of m:
    // so only the first column of a wide system is a solution. Callers compare the further ones with stored
    // results, so the two strides stay as they are. LWORK = 64*n; the routine asks for as many cells as it is
    // given columns, and so a block of more columns goes in parts.
    const Workspace work(detail::kBlockSize * mCols);
    int info = 0;
    for (std::int32_t j = 0, columns; j < nrhs; j += columns) {
        columns = std::min(nrhs - j, work.lwork);
        detail::lapack::ormlq('L', 'T', mCols, columns, mRows, packed(), lda, tau.get(),
                              block.get() + std::int64_t{mCols} * j, ldc, work.get(), work.lwork, info);
    }
    return DenseAccess::adopt(std::move(block), mCols, nrhs);
}

void LQ::Dispose() noexcept
{
    a.reset();
    tau.reset();
}

} // namespace Velmar::Lintrix
