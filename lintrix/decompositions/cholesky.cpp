#include <lintrix/decompositions/cholesky.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/lapack.h>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;
using detail::leadingDimension;

Cholesky::Cholesky(const Matrix& matrix) : n(matrix.Rows())
{
    if (!matrix.IsSquare()) {
        throw NotSquareMatrixException("Cholesky decomposition is possible only for a square matrix.");
    }
    a = Block<double>::copyOf(DenseAccess::cells(matrix), DenseAccess::count(matrix));
    if (!detail::lowerFinite(a.get(), n)) { // potrf compares pivots with zero, and a NaN passes that
        inf = detail::kNotFinite;
        return;
    }
    detail::lapack::potrf('L', n, a.get(), leadingDimension(n), inf);
}

const double* Cholesky::packed() const
{
    return detail::kept(a);
}

std::optional<Matrix> Cholesky::L() const
{
    if (!Succeeded()) return std::nullopt;
    Matrix l(n, n);
    detail::copyLower(packed(), n, n, DenseAccess::cells(l));
    return l;
}

Matrix Cholesky::Solve(const Matrix& rightHands) const
{
    if (!Succeeded()) throw SingularMatrixException();
    if (rightHands.Rows() != n) throw SizeMismatchException();

    Matrix x(rightHands);
    int info = 0;
    detail::lapack::potrs('L', n, x.Cols(), packed(), leadingDimension(n), DenseAccess::cells(x),
                          leadingDimension(n), info);
    return x;
}

Matrix Cholesky::Inverse() const
{
    if (!Succeeded()) throw SingularMatrixException();

    Matrix inverse = DenseAccess::copyOf(packed(), n, n);
    int info = 0;
    detail::lapack::potri('L', n, DenseAccess::cells(inverse), leadingDimension(n), info);
    detail::mirrorLower(DenseAccess::cells(inverse), n); // the routine fills the lower triangle only
    return inverse;
}

} // namespace Velmar::Lintrix
