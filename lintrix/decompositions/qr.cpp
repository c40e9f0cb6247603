#include <lintrix/decompositions/qr.h>

#include <lintrix/decompositions/detail/workspace.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;
using detail::Workspace;

QR::QR(const Matrix& matrix, bool pivoting)
    : mRows(matrix.Rows()), mCols(matrix.Cols()), mCells(DenseAccess::count(matrix)),
      a(Block<double>::copyOf(DenseAccess::cells(matrix), mCells))
{
    const Workspace work(std::max<std::int64_t>(1, 3 * std::int64_t{mCols} + 1)); // serves both routines
    tau = Block<double>(std::min(mRows, mCols));
    jpvt = Block<std::int32_t>::zeroed(mCols); // 0: the column is free
    int info = 0;
    if (pivoting) {
        detail::lapack::geqp3(mRows, mCols, a.get(), mRows, jpvt.get(), tau.get(), work.get(), work.lwork,
                              info);
    } else {
        detail::lapack::geqrf(mRows, mCols, a.get(), mRows, tau.get(), work.get(), work.lwork, info);
        std::iota(jpvt.get(), jpvt.get() + mCols, 1);
    }
}

const double* QR::packed() const
{
    if constexpr (detail::kHardened) {
        if (!a) detail::raiseReleased();
    }
    return a.get();
}

Matrix QR::R() const
{
    const std::int32_t p = std::min(mRows, mCols);
    Matrix r(p, mCols);
    double* target = DenseAccess::cells(r);
    const double* source = packed();
    for (std::int64_t j = 0; j < mCols; ++j) {
        std::copy_n(source + mRows * j, std::min<std::int64_t>(j + 1, p), target + p * j);
    }
    return r;
}

Matrix QR::Q() const
{
    const std::int32_t p = std::min(mRows, mCols);
    const Workspace work(detail::kBlockSize * p);
    auto q = Block<double>::copyOf(packed(), detail::cellCount(mRows, p));
    int info = 0;
    detail::lapack::orgqr(mRows, p, p, q.get(), mRows, tau.get(), work.get(), work.lwork, info);
    return DenseAccess::adopt(std::move(q), mRows, p);
}

Matrix QR::P() const
{
    packed();
    Matrix p(mCols, mCols);
    for (std::int32_t i = 0; i < mCols; ++i) p(jpvt[i] - 1, i) = 1.0;
    return p;
}

std::vector<std::int32_t> QR::GetPivots() const
{
    packed();
    std::vector<std::int32_t> columns(static_cast<std::size_t>(mCols));
    for (std::int32_t i = 0; i < mCols; ++i) columns[static_cast<std::size_t>(i)] = jpvt[i] - 1;
    return columns;
}

Matrix QR::Solve(const Matrix& rightHands) const
{
    if (rightHands.Rows() != mRows) throw SizeMismatchException("Right hands matrix size does not match.");
    if (mRows < mCols) throw SizeMismatchException("Underdetermined system. Use LQ decomposition instead.");

    const std::int32_t nrhs = rightHands.Cols();
    const auto block = Block<double>::copyOf(DenseAccess::cells(rightHands), DenseAccess::count(rightHands));
    int info = 0;
    { // block := Q'*B
        const Workspace work(detail::kBlockSize * nrhs);
        detail::lapack::ormqr('L', 'T', mRows, nrhs, mCols, packed(), mRows, tau.get(), block.get(), mRows,
                              work.get(), work.lwork, info);
    }
    // block := inv(R)*block. By contract with leading dimension n, though the columns stand at a stride of m:
    // so only the first column of a tall system is settled.
    detail::blas::trsm('L', 'U', 'N', 'N', mCols, nrhs, 1.0, packed(), mRows, block.get(), mCols);

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
