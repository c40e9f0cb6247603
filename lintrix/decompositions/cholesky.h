#pragma once
/// @file
/// Cholesky decomposition.

#include <lintrix/dense/matrix.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

/// A = L*L' of a symmetric positive definite A (`dpotrf`; Golub and Van Loan, Matrix Computations, 4th ed.,
/// section 4.2).
///
/// A is n x n. Only the lower triangle is read; symmetry is not tested. Works on a private copy, once, in the
/// constructor; after that the object does not change. A matrix that is not positive definite is a state, not
/// a failure: see Succeeded(). Any member may raise NotEnoughMemoryException with its default message. A
/// finished object may be read from several threads. Cost: n^3/3 operations.
class LINTRIX_EXPORT Cholesky {
public:
    /// @throws NotSquareMatrixException  before anything is allocated:
    ///         "Cholesky decomposition is possible only for a square matrix."
    explicit Cholesky(const Matrix& matrix);
    Cholesky(Cholesky&&) noexcept = default;
    Cholesky& operator=(Cholesky&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True exactly when the lower triangle of A is finite and `dpotrf` met no pivot that is zero or
    /// negative: A is positive definite to working precision.
    bool Succeeded() const noexcept { return inf == 0; }
    /// n x n, lower triangular with a zero upper part; empty when not Succeeded().
    std::optional<Matrix> L() const;

    /// X with A*X = rightHands (n x nrhs); 2 n^2 nrhs operations. Checks, in this order:
    /// @throws SingularMatrixException  not Succeeded(): "This operation requires a non-singular matrix."
    /// @throws SizeMismatchException    rightHands.Rows() != n: "Matrix sizes do not match."
    Matrix Solve(const Matrix& rightHands) const;

    /// The inverse, both triangles; 2/3 n^3 operations, the factor stays.
    /// @throws SingularMatrixException  not Succeeded(): "This operation requires a non-singular matrix."
    Matrix Inverse() const;

    /// Releases the buffer at once; may be repeated.
    void Dispose() noexcept { a.reset(); }

private:
    const double* packed() const;

    std::int32_t n;
    std::int32_t inf = 0;    ///< what dpotrf returned
    detail::Block<double> a; ///< the factor in the lower triangle, the input's cells above it
};

static_assert(Disposable<Cholesky>);

} // namespace Velmar::Lintrix
