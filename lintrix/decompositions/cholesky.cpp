#include <lintrix/decompositions/cholesky.h>

#include <lintrix/dense/access.h>
#include <lintrix/services/lapack.h>

#include <algorithm>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;

Cholesky::Cholesky(const Matrix& matrix) : n(matrix.Rows())
{
    if (!matrix.IsSquare()) {
        throw NotSquareMatrixException("Cholesky decomposition is possible only for a square matrix.");
    }
    a = Block<double>::copyOf(DenseAccess::cells(matrix), DenseAccess::count(matrix));
    detail::lapack::potrf('L', n, a.get(), n, inf);
}

const double* Cholesky::packed() const
{
    if constexpr (detail::kHardened) {
        if (!a) detail::raiseReleased();
    }
    return a.get();
}

std::optional<Matrix> Cholesky::L() const
{
    if (!Succeeded()) return std::nullopt;
    Matrix l(n, n);
    double* target = DenseAccess::cells(l);
    const double* source = packed();
    for (std::int64_t i = 0; i < n; ++i) {
        std::copy(source + i + n * i, source + n + n * i, target + i + n * i);
    }
    return l;
}

Matrix Cholesky::Solve(const Matrix& rightHands) const
{
    if (!Succeeded()) throw SingularMatrixException();
    if (rightHands.Rows() != n) throw SizeMismatchException();

    Matrix x(rightHands);
    int info = 0;
    detail::lapack::potrs('L', n, x.Cols(), packed(), n, DenseAccess::cells(x), n, info);
    return x;
}

Matrix Cholesky::Inverse() const
{
    if (!Succeeded()) throw SingularMatrixException();

    Matrix inverse = DenseAccess::copyOf(packed(), n, n);
    double* x = DenseAccess::cells(inverse);
    int info = 0;
    detail::lapack::potri('L', n, x, n, info);
    for (std::int64_t i = 1; i < n; ++i) { // the routine fills the lower triangle only
        for (std::int64_t j = 0; j < i; ++j) x[j + n * i] = x[i + n * j];
    }
    return inverse;
}

} // namespace Velmar::Lintrix
