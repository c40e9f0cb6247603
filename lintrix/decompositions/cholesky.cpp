#include <lintrix/decompositions/cholesky.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/detail/triangles.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/lapack.h>

namespace Velmar::Lintrix {

namespace detail {

// potrf compares pivots with zero, and a NaN passes that. What is not finite below the diagonal makes the
// pivot of its row minus infinity or NaN; so the diagonal, before and after, tells of the whole triangle.
// Before, because of a complex one the routine reads the real parts alone.
template <class Cell>
CholeskyFactor<Cell>::CholeskyFactor(const M& matrix) : n(matrix.Rows())
{
    if (!matrix.IsSquare()) {
        throw NotSquareMatrixException("Cholesky decomposition is possible only for a square matrix.");
    }
    a = Block<Cell>::copyOf(AccessTo<Cell>::cells(matrix), AccessTo<Cell>::count(matrix));
    if (diagonalFinite(a.get(), n)) lapack::potrf('L', n, a.get(), leadingDimension(n), inf);
    if (inf == 0 && !diagonalFinite(a.get(), n)) inf = kNotFinite;
}

template <class Cell>
const Cell* CholeskyFactor<Cell>::packed() const
{
    return kept(a);
}

template <class Cell>
auto CholeskyFactor<Cell>::L() const -> std::optional<M>
{
    if (!Succeeded()) return std::nullopt;
    M l(n, n);
    copyLower(packed(), n, n, AccessTo<Cell>::cells(l));
    return l;
}

template <class Cell>
auto CholeskyFactor<Cell>::solved(const M& rightHands) const -> M
{
    if (rightHands.Rows() != n) throw SizeMismatchException();

    M x(rightHands);
    int info = 0;
    lapack::potrs('L', n, x.Cols(), packed(), leadingDimension(n), AccessTo<Cell>::cells(x),
                  leadingDimension(n), info);
    return x;
}

template <class Cell>
auto CholeskyFactor<Cell>::lowerInverse() const -> M
{
    M inverse = AccessTo<Cell>::copyOf(packed(), n, n);
    int info = 0;
    lapack::potri('L', n, AccessTo<Cell>::cells(inverse), leadingDimension(n), info);
    return inverse;
}

template class CholeskyFactor<double>;
template class CholeskyFactor<Complex>;

} // namespace detail

Matrix Cholesky::Solve(const Matrix& rightHands) const
{
    if (!Succeeded()) throw SingularMatrixException();
    return solved(rightHands);
}

Matrix Cholesky::Inverse() const
{
    if (!Succeeded()) throw SingularMatrixException();
    Matrix inverse = lowerInverse();
    detail::mirrorLower(detail::DenseAccess::cells(inverse), Size());
    return inverse;
}

std::optional<CMatrix> CCholesky::Solve(const CMatrix& rightHands) const
{
    if (!Succeeded()) return std::nullopt;
    return solved(rightHands);
}

std::optional<CMatrix> CCholesky::Inverse() const
{
    if (!Succeeded()) return std::nullopt;
    CMatrix inverse = lowerInverse();
    detail::mirrorLower(
        detail::AccessTo<Complex>::cells(inverse), Size(),
        [](const Complex& above, const Complex& below) { return Complex(above.real(), -below.imag()); });
    return inverse;
}

} // namespace Velmar::Lintrix
