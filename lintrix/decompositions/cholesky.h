#pragma once
/// @file
/// Cholesky decomposition, real (`Cholesky`) and complex (`CCholesky`): the factors are twins; what follows a
/// failure, and the inverse, are not.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

namespace detail {

/// A = L*L' of a symmetric, or complex Hermitian, positive definite A (`dpotrf`, `zpotrf`; Golub and Van
/// Loan, Matrix Computations, 4th ed., section 4.2).
///
/// A is n x n. Only the lower triangle is read, of a complex diagonal the real parts; symmetry is not tested.
/// Works on a private copy, once, in the constructor; after that the object does not change. A matrix that is
/// not positive definite is a state, not a failure: see Succeeded(). Any member may raise
/// NotEnoughMemoryException with its default message. A finished object may be read from several threads.
/// Cost: n^3/3 operations, of complex cells four times as many.
template <class Cell>
class LINTRIX_EXPORT CholeskyFactor {
public:
    using M = MatrixOf<Cell>;

    /// @throws NotSquareMatrixException  before anything is allocated:
    ///         "Cholesky decomposition is possible only for a square matrix."
    explicit CholeskyFactor(const M& matrix);
    CholeskyFactor(CholeskyFactor&&) noexcept = default;
    CholeskyFactor& operator=(CholeskyFactor&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True exactly when the lower triangle of A is finite and the routine met no pivot that is zero or
    /// negative: A is positive definite to working precision.
    bool Succeeded() const noexcept { return inf == 0; }
    /// n x n, lower triangular with a zero upper part; empty when not Succeeded().
    std::optional<M> L() const;

    /// Releases the buffer at once; may be repeated.
    void Dispose() noexcept { a.reset(); }

protected:
    ~CholeskyFactor() = default;

    /// inv(A)*rightHands after the check of its rows.
    M solved(const M& rightHands) const;
    /// The lower triangle of inv(A); above it the cells that the copy of A has there.
    M lowerInverse() const;

private:
    const Cell* packed() const;

    std::int32_t n;
    std::int32_t inf = 0; ///< what potrf returned
    Block<Cell> a;        ///< the factor in the lower triangle, the input's cells above it
};

extern template class CholeskyFactor<double>;
extern template class CholeskyFactor<Complex>;

} // namespace detail

/// A = L*L' of a real matrix.
class LINTRIX_EXPORT Cholesky : public detail::CholeskyFactor<double> {
public:
    using CholeskyFactor::CholeskyFactor;

    /// X with A*X = rightHands (n x nrhs); 2 n^2 nrhs operations. Checks, in this order:
    /// @throws SingularMatrixException  not Succeeded(): "This operation requires a non-singular matrix."
    /// @throws SizeMismatchException    rightHands.Rows() != n: "Matrix sizes do not match."
    Matrix Solve(const Matrix& rightHands) const;

    /// The inverse, both triangles; 2/3 n^3 operations, the factor stays.
    /// @throws SingularMatrixException  not Succeeded(): "This operation requires a non-singular matrix."
    Matrix Inverse() const;
};

/// A = L*L^H of a complex Hermitian matrix.
class LINTRIX_EXPORT CCholesky : public detail::CholeskyFactor<Complex> {
public:
    using CholeskyFactor::CholeskyFactor;

    /// X with A*X = rightHands (n x nrhs); empty, whatever the size of rightHands, when not Succeeded():
    /// callers try a Cholesky decomposition first and go on to another where there is no X.
    /// @throws SizeMismatchException  rightHands.Rows() != n: "Matrix sizes do not match."
    std::optional<CMatrix> Solve(const CMatrix& rightHands) const;

    /// The inverse in its lower triangle with the diagonal; empty when not Succeeded(). Above the diagonal
    /// the imaginary parts mirror those below it, while the **real parts are those of A**, from which the
    /// factor was made. Callers who need the whole inverse take the lower triangle, or `CMatrix::Inverse`.
    std::optional<CMatrix> Inverse() const;
};

static_assert(Disposable<Cholesky> && Disposable<CCholesky>);

} // namespace Velmar::Lintrix
