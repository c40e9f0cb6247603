#include <lintrix/decompositions/eigen.h>

#include <lintrix/decompositions/detail/con_eigen.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/kept.h>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;

Eigen::Eigen(const Matrix& matrix, bool rightEigenvectors, bool leftEigenvectors, BalanceType balance)
    : n(matrix.Rows())
{
    if (!matrix.IsSquare()) throw NotSquareMatrixException();

    const std::int64_t cells = DenseAccess::count(matrix);
    a = Block<double>::copyOf(DenseAccess::cells(matrix), cells);
    wr = Block<double>(n);
    wi = Block<double>(n);
    if (rightEigenvectors) vr = Block<double>(cells);
    if (leftEigenvectors) vl = Block<double>(cells);
    scale = Block<double>(n);
    detail::ConEigen(balance, rightEigenvectors, leftEigenvectors, n, a.get(), wr.get(), wi.get(), vl.get(),
                     vr.get(), scale.get(), inf);
}

Complex Eigen::Eigenvalue(std::int32_t index) const
{
    if (index < 0 || index >= n) throw IndexOutOfBoundsException();
    return {detail::kept(wr)[index], detail::kept(wi)[index]};
}

void Eigen::Dispose() noexcept
{
    for (Block<double>* block : {&a, &wr, &wi, &vl, &vr, &scale}) block->reset();
}

} // namespace Velmar::Lintrix
