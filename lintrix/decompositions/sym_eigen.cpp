#include <lintrix/decompositions/sym_eigen.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

// Eigenvalues of the lower triangle of `a` in rising order, with job 'V' the eigenvectors in its place.
int diagonalize(char job, std::int32_t n, double* a, double* w)
{
    const Workspace<double> work(66 * std::int64_t{n});
    int info = 0;
    lapack::syev(job, 'L', n, a, leadingDimension(n), w, work.get(), work.lwork, info);
    return info;
}
int diagonalize(char job, std::int32_t n, Complex* a, double* w)
{
    const Workspace<Complex> work(65 * std::int64_t{n});
    const Block<double> reals(3 * std::int64_t{n});
    int info = 0;
    lapack::syev(job, 'L', n, a, leadingDimension(n), w, work.get(), work.lwork, reals.get(), info);
    return info;
}

} // namespace

template <class Cell>
HermitianEigen<Cell>::HermitianEigen(const M& matrix, bool eigenvectors) : n(matrix.Rows())
{
    if (!matrix.IsSquare()) throw NotSquareMatrixException();

    auto vectors = Block<Cell>::copyOf(AccessTo<Cell>::cells(matrix), AccessTo<Cell>::count(matrix));
    w = Block<double>(n);
    if (lowerFinite(vectors.get(), n)) {
        inf = diagonalize(eigenvectors ? 'V' : 'N', n, vectors.get(), w.get());
    } else {
        inf = kNotFinite;
        vectors.clear(AccessTo<Cell>::count(matrix));
        w.clear(n);
    }
    std::reverse(w.get(), w.get() + n); // the routine's order rises
    if (!eigenvectors) return;
    for (std::int64_t i = 0; i < n / 2; ++i) {
        blas::swap(n, vectors.get() + n * i, 1, vectors.get() + n * (n - 1 - i), 1);
    }
    a = std::move(vectors);
}

template <class Cell>
const double* HermitianEigen<Cell>::values() const
{
    return kept(w);
}

template <class Cell>
void HermitianEigen<Cell>::requireIndex(std::int32_t index) const
{
    if (index < 0 || index >= n) throw IndexOutOfBoundsException();
}

template <class Cell>
Vector HermitianEigen<Cell>::Eigenvalues() const
{
    return DenseAccess::strided(values(), n, 1);
}

template <class Cell>
double HermitianEigen<Cell>::Eigenvalue(std::int32_t index) const
{
    requireIndex(index);
    return values()[index];
}

template <class Cell>
auto HermitianEigen<Cell>::Eigenvectors() const -> std::optional<M>
{
    values();
    if (!a) return std::nullopt;
    return AccessTo<Cell>::copyOf(a.get(), n, n);
}

template <class Cell>
auto HermitianEigen<Cell>::Eigenvector(std::int32_t index) const -> std::optional<VectorOf<Cell>>
{
    requireIndex(index);
    values();
    if (!a) return std::nullopt;
    return AccessTo<Cell>::strided(a.get() + std::int64_t{n} * index, n, 1);
}

template <class Cell>
Matrix HermitianEigen<Cell>::D() const
{
    Matrix diagonal(n, n);
    setDiagonal(values(), n, DenseAccess::cells(diagonal), n);
    return diagonal;
}

template <class Cell>
void HermitianEigen<Cell>::Dispose() noexcept
{
    a.reset();
    w.reset();
}

template class HermitianEigen<double>;
template class HermitianEigen<Complex>;

} // namespace Velmar::Lintrix::detail
