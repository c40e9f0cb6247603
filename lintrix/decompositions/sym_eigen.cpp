#include <lintrix/decompositions/sym_eigen.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::DenseAccess;

SymEigen::SymEigen(const Matrix& matrix, bool eigenvectors) : n(matrix.Rows())
{
    if (!matrix.IsSquare()) throw NotSquareMatrixException();

    auto vectors = Block<double>::copyOf(DenseAccess::cells(matrix), DenseAccess::count(matrix));
    w = Block<double>(n);
    const detail::Workspace<double> work(66 * std::int64_t{n});
    if (detail::lowerFinite(vectors.get(), n)) {
        detail::lapack::syev(eigenvectors ? 'V' : 'N', 'L', n, vectors.get(), detail::leadingDimension(n),
                             w.get(), work.get(), work.lwork, inf);
    } else {
        inf = detail::kNotFinite;
        vectors.clear(DenseAccess::count(matrix));
        w.clear(n);
    }
    std::reverse(w.get(), w.get() + n); // the routine's order rises
    if (!eigenvectors) return;
    for (std::int64_t i = 0; i < n / 2; ++i) {
        detail::blas::swap(n, vectors.get() + n * i, 1, vectors.get() + n * (n - 1 - i), 1);
    }
    a = std::move(vectors);
}

const double* SymEigen::values() const
{
    return detail::kept(w);
}

void SymEigen::requireIndex(std::int32_t index) const
{
    if (index < 0 || index >= n) throw IndexOutOfBoundsException();
}

Vector SymEigen::Eigenvalues() const
{
    return DenseAccess::strided(values(), n, 1);
}

double SymEigen::Eigenvalue(std::int32_t index) const
{
    requireIndex(index);
    return values()[index];
}

std::optional<Matrix> SymEigen::Eigenvectors() const
{
    values();
    if (!a) return std::nullopt;
    return DenseAccess::copyOf(a.get(), n, n);
}

std::optional<Vector> SymEigen::Eigenvector(std::int32_t index) const
{
    requireIndex(index);
    values();
    if (!a) return std::nullopt;
    return DenseAccess::strided(a.get() + std::int64_t{n} * index, n, 1);
}

Matrix SymEigen::D() const
{
    Matrix diagonal(n, n);
    detail::setDiagonal(values(), n, DenseAccess::cells(diagonal), n);
    return diagonal;
}

void SymEigen::Dispose() noexcept
{
    a.reset();
    w.reset();
}

} // namespace Velmar::Lintrix
