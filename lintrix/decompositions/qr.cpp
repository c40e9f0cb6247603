#include <lintrix/decompositions/qr.h>

#include <lintrix/dense/access.h>
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

using detail::Block;
using detail::DenseAccess;
using detail::leadingDimension;
using Workspace = detail::Workspace<double>;

QR::QR(const Matrix& matrix, bool pivoting)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(DenseAccess::count(matrix)),
      a(Block<double>::copyOf(DenseAccess::cells(matrix), mCells))
{
    const std::int64_t length = 3 * std::int64_t{mCols} + 1; // serves both routines, and geqp3 needs it all
    const Workspace work(length, pivoting ? length : 1);
    tau = Block<double>(std::min(mRows, mCols));
    jpvt = Block<std::int32_t>::zeroed(mCols); // 0: the column is free
    int info = 0;
    if (pivoting) {
        detail::lapack::geqp3(mRows, mCols, a.get(), leadingDimension(mRows), jpvt.get(), tau.get(),
                              work.get(), work.lwork, info);
    } else {
        detail::lapack::geqrf(mRows, mCols, a.get(), leadingDimension(mRows), tau.get(), work.get(),
                              work.lwork, info);
        std::iota(jpvt.get(), jpvt.get() + mCols, 1);
    }
}

const double* QR::packed() const
{
    return detail::kept(a);
}

Matrix QR::R() const
{
    const std::int32_t p = std::min(mRows, mCols);
    Matrix r(p, mCols);
    detail::copyUpper(packed(), mRows, p, mCols, DenseAccess::cells(r));
    return r;
}

Matrix QR::Q() const
{
    const std::int32_t p = std::min(mRows, mCols);
    const Workspace work(detail::kBlockSize * p);
    auto q = Block<double>::copyOf(packed(), std::int64_t{mRows} * p);
    int info = 0;
    detail::lapack::orgqr(mRows, p, p, q.get(), leadingDimension(mRows), tau.get(), work.get(), work.lwork,
                          info);
    return DenseAccess::adopt(std::move(q), mRows, p);
}

Matrix QR::P() const
{
    auto p = Block<double>::zeroed(detail::resultCells(mCols, mCols)); // A may be one long row
    detail::setPermutation(GetPivots(), p.get());
    return DenseAccess::adopt(std::move(p), mCols, mCols);
}

std::vector<std::int32_t> QR::GetPivots() const
{
    return detail::zeroBased(detail::kept(jpvt), mCols);
}

Matrix QR::Solve(const Matrix& rightHands) const
{
    if (rightHands.Rows() != mRows) throw SizeMismatchException("Right hands matrix size does not match.");
    if (mRows < mCols) throw SizeMismatchException("Underdetermined system. Use LQ decomposition instead.");

    const std::int32_t nrhs = rightHands.Cols(), lda = leadingDimension(mRows);
    const auto block = Block<double>::copyOf(DenseAccess::cells(rightHands), DenseAccess::count(rightHands));
    int info = 0;
    { // block := Q'*B
        const Workspace work(detail::kBlockSize * nrhs);
        detail::lapack::ormqr('L', 'T', mRows, nrhs, mCols, packed(), lda, tau.get(), block.get(), lda,
                              work.get(), work.lwork, info);
    }
    // block := inv(R)*block, with leading dimension n, though the columns stand at a stride of m: so only the
    // first column of a tall system is settled. Callers compare the further ones with stored results, so the
    // two strides stay as they are.
    detail::blas::trsm('L', 'U', 'N', 'N', mCols, nrhs, 1.0, packed(), lda, block.get(),
                       leadingDimension(mCols));

    Matrix x(mCols, nrhs);
    for (std::int64_t j = 0; j < nrhs; ++j) {
        for (std::int32_t i = 0; i < mCols; ++i) {
            x(jpvt[i] - 1, static_cast<std::int32_t>(j)) = block[i + mRows * j];
        }
    }
    return x;
}

void QR::Dispose() noexcept
{
    a.reset();
    tau.reset();
    jpvt.reset();
}

} // namespace Velmar::Lintrix
