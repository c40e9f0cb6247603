#pragma once
/// @file
/// LQ decomposition, real (`LQ`) and complex (`CLQ`): the factors are twins, the solution of systems is not.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>

namespace Velmar::Lintrix {

namespace detail {

/// A = L*Q by Householder reflections from the right (`dgelqf`, `zgelqf`), the mirror of `QrFactors` without
/// a pivoted form.
///
/// A is m x n, p = min(m, n): L is m x p lower trapezoidal, Q is p x n with orthonormal rows. Works on a
/// private copy, once, in the constructor; after that the object does not change. There is no failure state:
/// a NaN or an infinity in A runs through the factors. A diagonal of L below 5.6e-309, whose reciprocal
/// overflows, acts as a zero in Solve(); multiply A and the right-hand sides by a power of two, and X is the
/// same. Each property builds a new matrix. Any member may raise NotEnoughMemoryException with its default
/// message. Cost: 2 m^2 (n - m/3) operations for m <= n, of complex cells four times as many.
template <class Cell>
class LINTRIX_EXPORT LqFactors {
public:
    using M = MatrixOf<Cell>;

    /// Factorizes any shape.
    explicit LqFactors(const M& matrix);
    /// Takes the factors over and leaves the source released.
    LqFactors(LqFactors&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    LqFactors& operator=(LqFactors&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n

    M L() const; ///< m x p, lower trapezoidal
    M Q() const; ///< p x n, orthonormal rows; n x n where m > n

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~LqFactors() = default;

    /// The checks of Solve(), then inv(L)*rightHands at a column stride of m, in a block of n x nrhs cells of
    /// which the others are zero.
    Block<Cell> forwardSubstituted(const M& rightHands) const;
    const Cell* packed() const;
    const Cell* reflectorScalars() const noexcept { return tau.get(); }

private:
    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    Block<Cell> a;   ///< L on and below the diagonal, the Householder vectors above it
    Block<Cell> tau; ///< max(m, n) cells, of which p are used
};

extern template class LqFactors<double>;
extern template class LqFactors<Complex>;

} // namespace detail

/// A = L*Q of a real matrix, and the shortest solution of wide systems.
class LINTRIX_EXPORT LQ : public detail::LqFactors<double> {
public:
    using LqFactors::LqFactors;

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
};

/// A = L*Q of a complex matrix; Q has unitary rows.
class LINTRIX_EXPORT CLQ : public detail::LqFactors<Complex> {
public:
    using LqFactors::LqFactors;

    /// inv(L)*rightHands, n x nrhs, read flat: column after column of m cells, then zeros. Q is **not**
    /// applied, and so X is a solution of A*X = rightHands only where Q is the identity: `CQR::Solve` tells
    /// why, and what to take for a solution. Checks and failures are those of `LQ::Solve`.
    CMatrix Solve(const CMatrix& rightHands) const;
};

static_assert(Disposable<LQ> && Disposable<CLQ>);

} // namespace Velmar::Lintrix
