#pragma once
/// @file
/// LQ decomposition.

#include <lintrix/dense/matrix.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// A = L*Q by Householder reflections from the right (`dgelqf`), the mirror of `QR` without a pivoted form.
///
/// A is m x n, p = min(m, n): L is m x p lower trapezoidal, Q is p x n with orthonormal rows. Works on a
/// private copy, once, in the constructor; after that the object does not change. There is no failure state:
/// a NaN or an infinity in A runs through the factors. A diagonal of L below 5.6e-309, whose reciprocal
/// overflows, acts as a zero in Solve(); multiply A and the right-hand sides by a power of two, and X is the
/// same. Each property builds a new matrix. Any member may raise NotEnoughMemoryException with its default
/// message. Cost: 2 m^2 (n - m/3) operations for m <= n.
class LINTRIX_EXPORT LQ {
public:
    /// Factorizes any shape.
    explicit LQ(const Matrix& matrix);
    /// Takes the factors over and leaves the source released.
    LQ(LQ&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    LQ& operator=(LQ&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n

    Matrix L() const; ///< m x p, lower trapezoidal
    Matrix Q() const; ///< p x n, orthonormal rows

    /// X (n x nrhs) with A*X = rightHands, m <= n; for m < n and a single right-hand side the shortest one.
    /// Give a wide system with several right-hand sides in single columns: of X, the first column alone
    /// solves its equations, without being the shortest solution, and further columns are no solutions (the
    /// two steps of the solution walk the columns at strides of m and n). Callers compare X with stored
    /// results, so it stays. A singular L gives what the triangular solve produced, infinities and NaNs
    /// included. Checks, in this order:
    /// @throws SizeMismatchException  rightHands.Rows() != m: "Matrix sizes do not match."
    /// @throws SizeMismatchException  m > n: "Overdetermined system."
    /// @throws NotEnoughMemoryException  n*nrhs is more than 2147483647
    Matrix Solve(const Matrix& rightHands) const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    const double* packed() const;

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    detail::Block<double> a;   ///< L on and below the diagonal, the Householder vectors above it
    detail::Block<double> tau; ///< max(m, n) cells, of which p are used
};

static_assert(Disposable<LQ>);

} // namespace Velmar::Lintrix
