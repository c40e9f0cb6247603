#pragma once
/// @file
/// LQ decomposition.

#include <lintrix/dense/matrix.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// A = L*Q by Householder reflections from the right (`dgelqf`), the mirror of `QR` without a pivoted form.
///
/// A is m x n, p = min(m, n): L is m x p lower trapezoidal, Q is p x n with orthonormal rows. Works on a
/// private copy, once, in the constructor; after that the object does not change. There is no failure state.
/// Each property builds a new matrix. Any member may raise NotEnoughMemoryException with its default message.
/// Cost: 2 m^2 (n - m/3) operations for m <= n.
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
    /// By contract a wide system with several is settled in the first column alone, which solves its
    /// equations but is not the shortest solution; further columns are no solutions. A singular L gives what
    /// the triangular solve produced, infinities and NaNs included. Checks, in this order:
    /// @throws SizeMismatchException  rightHands.Rows() != m: "Matrix sizes do not match."
    /// @throws SizeMismatchException  m > n: "Overdetermined system."
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
